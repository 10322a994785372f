// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Library/Thumbnails.h"

#include "Support/Error.h"
#include "Support/LongWork.h"

#include <algorithm>
#include <utility>

namespace lumicrate {

namespace {

/// A movie may begin with a gap; a picture up to this time counts as its first.
const CMTime maxGap(10, 1);

Thumbnails::Picture firstPicture(const ImageIO& images, const std::filesystem::path& url, Size size) {
    const auto generator = images.makeImageGenerator(url, size);
    const CGImage* picture = generator->image(CMTime::zero(), maxGap);
    return picture ? std::make_shared<const CGImage>(*picture) : nullptr;
}

}  // namespace

Thumbnails::Thumbnails(Executor& executor, const ImageIO& images, std::unique_ptr<DispatchQueue> queue,
                       Size size)
    : executor_(executor), images_(images), size_(size), queue_(std::move(queue)) {}

Thumbnails::Picture Thumbnails::picture(const Recording& recording) {
    const auto found = byPath_.find(recording.url.native());
    if (found == byPath_.end()) {
        enqueue(recording);
        return nullptr;
    }
    entries_.splice(entries_.begin(), entries_, found->second);
    const Entry& entry = entries_.front();
    if (entry.created != recording.created || entry.size != recording.size) enqueue(recording);
    return entry.picture;
}

void Thumbnails::enqueue(const Recording& recording) {
    if (reading_ == recording.url) return;
    std::erase_if(waiting_, [&recording](const Recording& each) { return each.url == recording.url; });
    waiting_.push_back(recording);
    if (waiting_.size() > maxWaiting) waiting_.erase(waiting_.begin());
    if (!task_.isRunning()) task_ = RunningTask(executor_, readAll());
}

Task<void> Thumbnails::readAll() {
    while (!waiting_.empty()) {
        const Recording next = std::move(waiting_.back());
        waiting_.pop_back();
        reading_ = next.url;
        const std::function<Picture()> work = [&images = images_, url = next.url, size = size_] {
            return firstPicture(images, url, size);
        };
        Picture picture;
        try {
            Task<Picture> reading = inBackground<Picture>(executor_, *queue_, work);
            picture = co_await reading;
        } catch (const LocalizedError&) {
            // No picture: a symbol is shown instead.
        }
        reading_.reset();
        store(next, std::move(picture));
        arrivals_.notify(next.url);
    }
}

void Thumbnails::store(const Recording& recording, Picture picture) {
    if (const auto found = byPath_.find(recording.url.native()); found != byPath_.end()) {
        entries_.erase(found->second);
        byPath_.erase(found);
    }
    entries_.push_front({recording.url.native(), recording.created, recording.size, std::move(picture)});
    byPath_[recording.url.native()] = entries_.begin();
    if (entries_.size() <= capacity) return;
    byPath_.erase(entries_.back().key);
    entries_.pop_back();
}

}  // namespace lumicrate
