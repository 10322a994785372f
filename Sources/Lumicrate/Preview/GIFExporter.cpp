// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Preview/GIFExporter.h"

#include "Support/Error.h"
#include "Support/Log.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace lumicrate {

namespace {

constexpr double maxFramesPerSecond = 50;
constexpr std::int64_t timescale = 600;
constexpr std::int64_t maxReports = 200;

/// 1 ⁄ fps, exact for rates with up to three decimals.
CMTime frameStep(double fps) {
    constexpr std::int64_t thousand = 1000;
    const double rate = std::min(fps, maxFramesPerSecond);
    return {thousand, std::max(std::llround(rate * thousand), 1LL)};
}

[[noreturn]] void failAsDamaged() {
    throw PlatformError(localized("The file couldn't be read because it is damaged."));
}

/// The number of frame times below the duration. Containers round durations to microseconds, which must not
/// add a frame: 0.666667 s at 30 frames per second are 20 frames, not 21.
std::int64_t countFrames(double duration, CMTime step) {
    constexpr double rounding = 1e-4;
    return std::max<std::int64_t>(std::llround(std::ceil(duration / step.seconds() - rounding)), 1);
}

CMTime frameTime(std::int64_t index, CMTime step) {
    return {CMTime(step.value() * index, step.timescale()).converted(timescale), timescale};
}

}  // namespace

GIFFrames::GIFFrames(const AVAssets& assets, const ImageIO& images, const std::filesystem::path& url)
    : images_(images), url_(url), summary_(assets.summary(url)) {
    if (!(summary_.duration > 0)) failAsDamaged();
}

bool GIFFrames::addTo(CGImageDestination& gif, const GIFSize& size, const LongWork& work,
                      const Observer& goesOn) const {
    const CMTime step = frameStep(size.fps);
    const CMTime tolerance(step.converted(timescale), timescale);
    const auto generator = images_.makeImageGenerator(url_, {size.width, 4 * size.width});
    const std::int64_t frames = countFrames(duration(), step);
    log(LogArea::library, "animation of ", frames, " frames, at most ", size.width, " pixels wide, quality ",
        size.encoding.quality);
    bool hasImages = false;
    const LongWork silent{nullptr, work.stop};
    for (std::int64_t i = 0; i < frames; ++i) {
        const bool reports = i % (frames / maxReports + 1) == 0;
        (reports ? work : silent).reach(static_cast<double>(i) / static_cast<double>(frames));
        const CGImage* image = generator->image(frameTime(i, step), tolerance);
        if (image == nullptr) continue;
        gif.addImage(*image, step);
        hasImages = true;
        if (goesOn && !goesOn(static_cast<double>(i + 1) / static_cast<double>(frames))) return false;
    }
    if (!hasImages) failAsDamaged();
    return true;
}

void exportGIF(const AVAssets& assets, const ImageIO& images, const std::filesystem::path& url,
               const std::filesystem::path& destination, const GIFSize& size, const LongWork& work) {
    const GIFFrames frames(assets, images, url);
    const auto gif = images.makeAnimation(destination, size.encoding);
    frames.addTo(*gif, size, work);
    work.reach(1);
    gif->finalize();
}

}  // namespace lumicrate
