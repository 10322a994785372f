#include "Linux/Media/Encoding/VideoEncoder.h"

#include "Support/Error.h"

#include <algorithm>
#include <cmath>
#include <thread>

namespace lumicrate::media {

namespace {

/// Above the quality level by this much is seen.
constexpr int clearlyCoarser = 2;
/// A refinement that does not reach the quality level must gain this much.
constexpr int worthwhile = 8;
/// Up to here, edges of blocks are not seen.
constexpr int blocksShowAbove = 22;
constexpr int mostThreads = 8;

double pixelRate(const VideoEncoder::Settings& settings) {
    return static_cast<double>(settings.width) * settings.height * std::max(settings.framesPerSecond, 1);
}

}  // namespace

VideoEncoder::VideoEncoder(const Settings& settings)
    : settings_(settings),
      rate_(settings.bitRate, pixelRate(settings), settings.framesPerSecond),
      blocks_(settings.width, settings.height) {}

/// The filter smears strokes near the edges of intra blocks visibly, at any quantizer at which it works at
/// all: it is to set in only where blocks would be seen, and never at the quality level. Both standards'
/// filters set in at 16, and an offset counts twice.
int VideoEncoder::deblockingOffset() const {
    const int untouched = std::max(qualityQuantizer() + clearlyCoarser, blocksShowAbove);
    return std::clamp(-((untouched - 14) / 2), -6, 0);
}

int VideoEncoder::threadsFor(double pixelRateOfThread) const {
    const int cores = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
    return std::clamp(static_cast<int>(std::ceil(pixelRate(settings_) / pixelRateOfThread)), 1,
                      std::min(cores, mostThreads));
}

EncodedPicture VideoEncoder::encode(const CVPixelBuffer& picture, std::int64_t time,
                                    const std::optional<SCStreamFrameInfo>& info) {
    if (picture.width != settings_.width || picture.height != settings_.height)
        throw PlatformError(localized("The captured picture doesn't have the movie's size."));
    rate_.advanceTo(static_cast<double>(time) / videoTimescale);
    blocks_.begin(info);
    const PictureWork work = blocks_.work(keyPictureIsDue(time));
    return encodeBegun(picture, time, work, rate_.quantizerFor(work));
}

EncodedPicture VideoEncoder::encodeAtBest(const CVPixelBuffer& picture, std::int64_t time, bool key) {
    const Order order{even_.of(picture), time, key, qualityQuantizer(), false, {}};
    return {code(order), key, order.quantizer};
}

std::optional<EncodedPicture> VideoEncoder::refine(const CVPixelBuffer& picture, std::int64_t time,
                                                   double rested) {
    rate_.advanceTo(static_cast<double>(time) / videoTimescale + rested);
    blocks_.beginAgain();
    const PictureWork work = blocks_.work(keyPictureIsDue(time));
    const int quantizer = rate_.quantizerAtRest(work);
    const bool crisp = quantizer <= rate_.qualityQuantizer() + clearlyCoarser;
    if (!crisp && quantizer > blocks_.coarsest() - worthwhile && !rate_.isFull()) return std::nullopt;
    return encodeBegun(picture, time, work, quantizer);
}

bool VideoEncoder::isCoarse() const {
    return blocks_.coarsest() > rate_.qualityQuantizer() + clearlyCoarser;
}

bool VideoEncoder::keyPictureIsDue(std::int64_t time) const {
    if (!lastKey_) return true;
    const std::int64_t interval = std::int64_t{std::max(settings_.keyFrameInterval, 1)} * videoTimescale /
                                  std::max(settings_.framesPerSecond, 1);
    return time - *lastKey_ >= interval;
}

EncodedPicture VideoEncoder::encodeBegun(const CVPixelBuffer& picture, std::int64_t time,
                                         const PictureWork& work, int quantizer) {
    Order order{even_.of(picture), time, work.key, quantizer, rate_.isStrained(), {}};
    if (!work.key && blocks_.hasConstantBlocks()) order.constantBlocks = blocks_.constantBlocks();
    const std::span<const std::uint8_t> data = code(order);
    if (work.key) lastKey_ = time;
    blocks_.coded(work.key, quantizer);
    rate_.coded(work, quantizer, static_cast<std::int64_t>(data.size()) * 8);
    return {data, work.key, quantizer};
}

}  // namespace lumicrate::media
