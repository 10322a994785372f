// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Images/GifDestination.h"

#include "Support/Error.h"
#include "Support/Log.h"

#include <algorithm>

namespace lumicrate::media {

namespace {

constexpr std::size_t bytesAtOnce = 1 << 18;

}  // namespace

GifDestination::GifDestination(const std::filesystem::path& url) : file_(url) {}

void GifDestination::addImage(const CGImage& image, CMTime delay) {
    const bool isFirst = elapsed_ == CMTime::zero();
    const IndexedFrame& frame = quantizer_.add(image);
    if (isFirst) blocks_.begin(image.width, image.height, *frame.palette);
    blocks_.append(frame, roundedDelay(delay));
    if (bytes_.size() >= bytesAtOnce) flush();
}

void GifDestination::finalize() {
    if (elapsed_ == CMTime::zero()) throw PlatformError(localized("The movie has no pictures."));
    blocks_.finish();
    flush();
    file_.publish();
    log(LogArea::movie, "published a GIF of ", elapsed_.seconds(), " s, ", written_, " bytes");
}

int GifDestination::roundedDelay(CMTime delay) {
    constexpr std::int64_t longest = 0xffff;
    elapsed_ = elapsed_ + delay;
    const std::int64_t rounded = std::min(elapsed_.converted(100) - elapsedHundredths_, longest);
    elapsedHundredths_ += rounded;
    return static_cast<int>(rounded);
}

void GifDestination::flush() {
    file_.write(written_, bytes_);
    written_ += bytes_.size();
    bytes_.clear();
}

}  // namespace lumicrate::media
