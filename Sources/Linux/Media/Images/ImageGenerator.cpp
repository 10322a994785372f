#include "Linux/Media/Images/ImageGenerator.h"

#include <utility>

namespace lumicrate::media {

ImageGenerator::ImageGenerator(const std::filesystem::path& url, Size maximumSize)
    : frames_(url),
      renderer_(shownSize(frames_.codedSize(), frames_.pixelAspect(), frames_.orientation(), maximumSize),
                frames_.orientation()),
      next_(frames_.next()) {}

const CGImage* ImageGenerator::image(CMTime time, CMTime toleranceAfter) {
    while (next_.picture && next_.begin <= time) {
        shown_ = std::move(next_);
        next_ = frames_.next();
    }
    if (isShownAt(time)) return rendered(shown_);
    const bool beginsSoon = next_.picture && next_.begin <= time + toleranceAfter;
    return beginsSoon ? rendered(next_) : nullptr;
}

bool ImageGenerator::isShownAt(CMTime time) const {
    if (!shown_.picture) return false;
    if (next_.picture) return true;
    // A container may not know its end, or know it wrongly.
    const CMTime end = frames_.end();
    return !end.isValid() || end <= shown_.begin || time < end;
}

const CGImage* ImageGenerator::rendered(const MovieFrame& frame) {
    if (frame.begin != renderedBegin_) {
        renderer_.render(*frame.picture, image_);
        renderedBegin_ = frame.begin;
    }
    return &image_;
}

}  // namespace lumicrate::media
