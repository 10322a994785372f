// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Preview/StripPictures.h"

#include "Support/Error.h"
#include "Support/LongWork.h"

#include <cmath>
#include <cstdint>
#include <functional>
#include <utility>

namespace lumicrate {

namespace {

/// The middle of that part of the recording.
CMTime middleOf(std::size_t part, double duration) {
    const double share = (static_cast<double>(part) + 0.5) / static_cast<double>(StripPictures::maxPictures);
    return CMTime::fromSeconds(duration * share);
}

/// Hands over one picture at a time.
void readPictures(const ImageIO& images, const std::filesystem::path& url, double duration,
                  const LongWork& work, const std::function<void(std::shared_ptr<const CGImage>)>& found) {
    const auto generator = images.makeImageGenerator(url, StripPictures::maxSize);
    for (std::size_t part = 0; part < StripPictures::maxPictures; ++part) {
        work.reach(0);
        if (const CGImage* image = generator->keyImage(middleOf(part, duration)))
            found(std::make_shared<const CGImage>(*image));
    }
}

}  // namespace

StripPictures::StripPictures(Executor& executor, const AVAssets& assets, const ImageIO& images,
                             std::unique_ptr<DispatchQueue> queue)
    : executor_(executor), assets_(assets), images_(images), queue_(std::move(queue)) {}

StripPictures::~StripPictures() {
    stop_.request_stop();
}

void StripPictures::read(const std::filesystem::path& url, const AVAssetSummary& summary) {
    stop_.request_stop();
    stop_ = std::stop_source();
    pictures = Pictures();
    levels = std::vector<float>();
    const std::stop_token stop = stop_.get_token();
    // Results that arrive after a stop are dropped on the main thread, where stops are requested.
    const auto deliver = [&executor = executor_, stop](std::function<void()> result) {
        executor.post([stop, result = std::move(result)] {
            if (!stop.stop_requested()) result();
        });
    };
    queue_->async([this, url, summary, stop, deliver] {
        const LongWork work{nullptr, stop};
        try {
            if (summary.videoSize) {
                readPictures(images_, url, summary.duration, work, [&](std::shared_ptr<const CGImage> image) {
                    deliver([this, image] {
                        Pictures grown = *pictures;
                        grown.push_back(image);
                        pictures = std::move(grown);
                    });
                });
            } else {
                deliver([this, read = assets_.loudness(url, levelCount, work)] { levels = read; });
            }
        } catch (const LocalizedError&) {
            // The strip stays empty, and trimming works without it.
        }
    });
}

}  // namespace lumicrate
