// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/VideoEncoder.h"

#include "Support/Error.h"
#include "Support/Log.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <thread>

namespace lumicrate::media {

namespace {

/// Quantizers above the quality level at which the difference is visible.
constexpr int clearlyCoarser = 2;
/// Quantizers that a refinement must gain if it does not reach the quality level.
constexpr int worthwhile = 8;
/// Up to this quantizer, block edges are not visible.
constexpr int blocksShowAbove = 22;
/// A level saves a fifth to a tenth of the time of a picture in motion.
constexpr int quantizersPerLevel = 4;
constexpr int maxThreads = 8;

double pixelRate(const VideoEncoder::Settings& settings) {
    return static_cast<double>(settings.width) * settings.height * std::max(settings.framesPerSecond, 1);
}

/// A plane whose pixels have that many bytes, enlarged by repeating the last column and row.
template <std::size_t bytes>
void pad(const std::uint8_t* plane, int stride, PixelSize from, PixelSize to,
         std::vector<std::uint8_t>& enlarged) {
    const std::size_t width = static_cast<std::size_t>(from.width) * bytes;
    const std::size_t paddedWidth = static_cast<std::size_t>(to.width) * bytes;
    enlarged.resize(paddedWidth * static_cast<std::size_t>(to.height));
    std::uint8_t* into = enlarged.data();
    for (int row = 0; row < to.height; ++row, into += paddedWidth) {
        std::memcpy(into, plane + std::ptrdiff_t{std::min(row, from.height - 1)} * stride, width);
        for (std::size_t column = width; column < paddedWidth; ++column)
            into[column] = into[column - bytes];
    }
}

}  // namespace

const CVPixelBuffer& PaddedPicture::of(const CVPixelBuffer& picture, int width, int height) {
    if (width == picture.width && height == picture.height) return picture;
    padded_ = picture;
    padded_.width = padded_.lumaStride = width;
    padded_.height = height;
    pad<1>(picture.luma, picture.lumaStride, {picture.width, picture.height}, {width, height}, luma_);
    padded_.luma = luma_.data();
    // The chroma planes of odd sizes are rounded up already.
    const PixelSize pairs{evenSide(picture.width) / 2, evenSide(picture.height) / 2};
    const PixelSize paddedPairs{width / 2, height / 2};
    if (pairs == paddedPairs) return padded_;
    pad<2>(picture.chroma, picture.chromaStride, pairs, paddedPairs, chroma_);
    padded_.chroma = chroma_.data();
    padded_.chromaStride = width;
    return padded_;
}

VideoEncoder::VideoEncoder(const Settings& settings, int minSide)
    : settings_(settings),
      minSide_(minSide),
      rate_(settings.bitRate, pixelRate(settings), settings.framesPerSecond),
      blocks_(settings.width, settings.height),
      scrolls_(settings.width, settings.height),
      uncovered_(settings.width, settings.height) {
    log(LogArea::encoder, settings.width, " × ", settings.height, " pixels, ", settings.framesPerSecond,
        " frames a second, at most ", settings.bitRate, " bits a second, quality quantizer ",
        qualityQuantizer(), ", key picture every ", settings.keyFrameInterval, " frames");
}

/// At every quantizer at which the filter works at all, it visibly smears strokes near the edges of intra
/// blocks. So it should start only where block edges would be visible, and never at the quality level. In
/// both standards it starts at quantizer 16, and one unit of offset moves that by two.
int VideoEncoder::deblockingOffset() const {
    const int untouched = std::max(qualityQuantizer() + clearlyCoarser, blocksShowAbove);
    return std::clamp(-((untouched - 14) / 2), -6, 0);
}

int VideoEncoder::threadsFor(double pixelsPerThread) const {
    const int cores = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
    return std::clamp(static_cast<int>(std::ceil(pixelRate(settings_) / pixelsPerThread)), 1,
                      std::min(cores, maxThreads));
}

EncodedPicture VideoEncoder::encode(const CVPixelBuffer& picture, std::int64_t time,
                                    const std::optional<SCStreamFrameInfo>& info) {
    if (picture.width != settings_.width || picture.height != settings_.height)
        throw PlatformError(localized("The captured picture doesn't have the movie's size."));
    rate_.advanceTo(static_cast<double>(time) / videoTimescale);
    blocks_.begin(info);
    std::optional<ScrollDistance> scroll;
    // A camera's noise hides any.
    if (!settings_.isNaturalVideo) scroll = scrolls_.update(picture, blocks_.changes());
    if (scroll) blocks_.addScroll(scrolls_, *scroll);
    PictureWork work = blocks_.work(keyPictureIsDue(time) || rate_.finerKeyIsDue());
    work.isCopy = findUncovered(picture, work.key);
    int quantizer = rate_.quantizerFor(work);
    if (saving_ > 0)
        quantizer = std::max(quantizer,
                             std::min(qualityQuantizer() + quantizersPerLevel * saving_, coarsestQuantizer));
    return encodeBegun(picture, time, work, quantizer, scroll);
}

/// Whether the begun picture is mostly a copy, moved, and its uncovered blocks are known. A key picture is
/// only kept, for the comparison with the first copy of it.
bool VideoEncoder::findUncovered(const CVPixelBuffer& picture, bool key) {
    const bool isCopying = key ? rate_.movesWhatIsShown() : rate_.isCopying();
    if (key || !isCopying || saving_ > 0) uncovered_.forget();
    if (!isCopying || saving_ > 0) return false;
    uncovered_.update(picture, blocks_.constantBlocks());
    return !uncovered_.flags().empty();
}

EncodedPicture VideoEncoder::encodeAtBest(const CVPixelBuffer& picture, std::int64_t time, bool key) {
    const Order order{padded_.of(picture, codedWidth(), codedHeight()),
                      time,
                      key,
                      qualityQuantizer(),
                      false,
                      false,
                      {},
                      {},
                      {},
                      0};
    return {code(order), key, order.quantizer, false};
}

std::optional<EncodedPicture> VideoEncoder::refine(const CVPixelBuffer& picture, std::int64_t time,
                                                   double idleSeconds) {
    rate_.advanceTo(static_cast<double>(time) / videoTimescale + idleSeconds);
    blocks_.beginAgain();
    const PictureWork work = blocks_.work(keyPictureIsDue(time));
    const int quantizer = rate_.quantizerWhenIdle(work);
    const bool crisp = quantizer <= rate_.qualityQuantizer() + clearlyCoarser;
    if (!crisp && quantizer > blocks_.coarsest() - worthwhile && !rate_.isFull()) return std::nullopt;
    return encodeBegun(picture, time, work, quantizer, std::nullopt);
}

bool VideoEncoder::isCoarse() const {
    return blocks_.coarsest() > rate_.qualityQuantizer() + clearlyCoarser;
}

bool VideoEncoder::keyPictureIsDue(std::int64_t time) const {
    if (!lastKey_) return true;
    if (blocks_.isRepeat())
        return static_cast<double>(time - *lastKey_) >= settings_.repeatedKeyInterval * videoTimescale;
    const std::int64_t interval = std::int64_t{std::max(settings_.keyFrameInterval, 1)} * videoTimescale /
                                  std::max(settings_.framesPerSecond, 1);
    return time - *lastKey_ >= interval;
}

EncodedPicture VideoEncoder::encodeBegun(const CVPixelBuffer& picture, std::int64_t time, PictureWork work,
                                         int quantizer, std::optional<ScrollDistance> scroll) {
    Order order{padded_.of(picture, codedWidth(), codedHeight()),
                time,
                work.key,
                quantizer,
                rate_.isStrained() && saving_ == 0,
                rate_.movesWhatIsShown() && saving_ == 0,
                scroll,
                {},
                work.isCopy ? uncovered_.flags() : std::span<const std::uint8_t>{},
                work.codedBlocks(quantizer)};
    if (blocks_.hasConstantBlocks()) order.constantBlocks = blocks_.constantBlocks();
    if (!order.key && !canContinue(order)) {
        work = blocks_.work(true);
        order.key = true;
        order.quantizer = std::max(rate_.quantizerFor(work), quantizer);
    }
    const std::span<const std::uint8_t> data = code(order);
    if (order.key) lastKey_ = time;
    blocks_.coded(order.key, order.quantizer, order.uncoveredBlocks);
    rate_.coded(work, order.quantizer, static_cast<std::int64_t>(data.size()) * 8);
    return {data, order.key, order.quantizer, blocks_.isRepeat()};
}

}  // namespace lumicrate::media
