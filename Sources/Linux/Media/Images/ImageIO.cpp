// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Images/ImageIO.h"

#include "Linux/Media/Images/MovieFrames.h"
#include "Linux/Media/Images/PictureRenderer.h"

#include <memory>
#include <utility>

namespace lumicrate::media {

namespace {

/// Goes through a movie once. Keeps two decoded pictures: the one that is shown and the one after it.
class ImageGenerator final : public AVAssetImageGenerator {
 public:
    ImageGenerator(const std::filesystem::path& url, Size maximumSize);

    const CGImage* image(CMTime time, CMTime toleranceAfter) override;
    const CGImage* keyImage(CMTime time) override;

 private:
    bool isShownAt(CMTime time) const;
    const CGImage* rendered(const MovieFrame& frame);

    MovieFrames frames_;
    PictureRenderer renderer_;
    MovieFrame shown_;
    MovieFrame next_;
    CGImage image_;
    CMTime renderedBegin_;
};

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

const CGImage* ImageGenerator::keyImage(CMTime time) {
    frames_.seek(time);
    shown_ = frames_.next();
    next_ = {};
    return shown_.picture ? rendered(shown_) : nullptr;
}

bool ImageGenerator::isShownAt(CMTime time) const {
    if (!shown_.picture || (next_.damagedFrom.isValid() && next_.damagedFrom <= time)) return false;
    if (next_.picture) return true;
    // The container may not contain the end, or contain a wrong one.
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

}  // namespace

std::unique_ptr<AVAssetImageGenerator> ImageIO::makeImageGenerator(const std::filesystem::path& url,
                                                                   Size maximumSize) const {
    return std::make_unique<ImageGenerator>(url, maximumSize);
}

std::unique_ptr<CGImageDestination> ImageIO::makeAnimation(const std::filesystem::path& url,
                                                           const AnimationEncoding& encoding) const {
    return encoding.format == AnimationEncoding::Format::webp ? makeWebP(url, encoding.quality)
                                                              : makeGIF(url, encoding.quality);
}

}  // namespace lumicrate::media
