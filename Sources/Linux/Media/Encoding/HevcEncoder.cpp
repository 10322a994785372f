// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/HevcEncoder.h"

#include "Linux/Media/Encoding/DecoderConfiguration.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <algorithm>

namespace lumicrate::media {

namespace {

/// One thread is given a quarter of 1080p at 30 frames a second. Motion takes one and a half times that; a
/// key picture takes ten times as long as others and must not delay those that follow.
constexpr double pixelsPerThread = 1920.0 * 1088 * 8;
constexpr int bitsOfSample = 8;
constexpr std::size_t bytesOfLength = 4;
/// Motion takes a tenth less time than in blocks of 64.
constexpr int largestBlock = 32;
/// In narrower pictures, of a single column of blocks, decoders once disagreed with libx265 after patches.
constexpr int minPatchedWidth = 128;
/// The part of a picture up to which a patch is small and quick to code.
constexpr double maxPatched = 0.03;
/// And the part of a scrolled picture that may be new.
constexpr double maxNew = 0.25;
/// A difference between pixels that only edges of letters and lines have.
constexpr int sharpEdge = 64;
/// Ticks without larger changes after which more of the same is expected.
constexpr std::int64_t calmTime = videoTimescale;

[[noreturn]] void fail(const char* sentence) {
    throw PlatformError(localized(sentence));
}

const x265_api& library() {
    const x265_api* api = x265_api_get(bitsOfSample);
    if (api == nullptr) fail(translatable("The HEVC encoder isn't available."));
    return *api;
}

/// Splits Cb, Cr, Cb, Cr … into two planes.
void split(const std::uint8_t* pairs, std::size_t count, std::uint8_t* cb, std::uint8_t* cr) {
    for (std::size_t i = 0; i < count; ++i) {
        cb[i] = pairs[2 * i];
        cr[i] = pairs[2 * i + 1];
    }
}

}  // namespace

HevcEncoder::HevcEncoder(const Settings& settings)
    : VideoEncoder(settings, minSide),
      library_(library()),
      threads_(std::to_string(threadsFor(pixelsPerThread))),
      parameters_(library_.param_alloc(), library_.param_free),
      encoder_(nullptr, library_.encoder_close) {
    if (!parameters_) fail(translatable("The HEVC encoder couldn't be set up."));
    fillParameters();
    encoder_.reset(library_.encoder_open(parameters_.get()));
    if (!encoder_) fail(translatable("The HEVC encoder couldn't be started."));
    readHeaders();
    log(LogArea::encoder, "libx265 ", library_.version_str, ", preset ultrafast, ", threads_, " threads");
}

void HevcEncoder::fillParameters() {
    x265_param& parameters = *parameters_;
    // No look-ahead, no reordering, one picture at a time: samples are not delayed.
    if (library_.param_default_preset(&parameters, "ultrafast", "zerolatency") < 0)
        fail(translatable("The HEVC encoder couldn't be set up."));
    parameters.logLevel = X265_LOG_NONE;
    parameters.sourceWidth = codedWidth();
    parameters.sourceHeight = codedHeight();
    parameters.internalCsp = X265_CSP_I420;
    parameters.fpsNum = static_cast<std::uint32_t>(std::max(settings().framesPerSecond, 1));
    parameters.fpsDenom = 1;
    parameters.numaPools = threads_.c_str();

    // A picture must be at least as large as the largest block.
    const bool isTiny = std::min(codedWidth(), codedHeight()) < largestBlock;
    parameters.maxCUSize = isTiny ? minSide : largestBlock;
    parameters.maxTUSize = parameters.maxCUSize;
    // Noise would be searched for text and scrolling in every picture.
    if (!settings().isNaturalVideo) tuneForScreens();
    parameters.psyRd = 0;  // it would preserve the look of grain at the cost of accuracy

    // Motion of the previous picture would depend on how pictures are numbered.
    parameters.bEnableTemporalMvp = 0;

    // We place key pictures by media time; the encoder would count pictures.
    parameters.keyframeMax = -1;
    parameters.bOpenGOP = 0;

    // RateControl sets each picture's quantizer.
    parameters.rc.rateControlMode = X265_RC_CQP;
    parameters.rc.qp = qualityQuantizer();
    parameters.deblockingFilterTCOffset = deblockingOffset();
    parameters.deblockingFilterBetaOffset = deblockingOffset();

    parameters.bAnnexB = 0;
    parameters.bRepeatHeaders = 0;
    parameters.bEmitInfoSEI = 0;
    parameters.bEmitVUITimingInfo = 0;  // the frame rate varies
    parameters.vui.bEnableVideoSignalTypePresentFlag = 1;
    parameters.vui.bEnableVideoFullRangeFlag = 0;
    parameters.vui.bEnableColorDescriptionPresentFlag = 1;
    parameters.vui.colorPrimaries = 1;  // BT.709
    parameters.vui.transferCharacteristics = 1;
    parameters.vui.matrixCoeffs = 1;
    if (library_.param_apply_profile(&parameters, "main") < 0)
        fail(translatable("The HEVC encoder couldn't be set up."));
}

void HevcEncoder::tuneForScreens() {
    x265_param& parameters = *parameters_;
    // Blocks of 8 pixels, which the preset omits, halve the bits of text and take more time in key pictures
    // only.
    parameters.minCUSize = 8;
    parameters.bEnableSplitRdSkip = 1;  // key pictures take a quarter less time, at the same bits
    // When a page scrolls further between two pictures than the preset's search reaches, a picture takes six
    // times as long; then pictures are dropped, and the next one has scrolled even further.
    parameters.searchMethod = X265_UMH_SEARCH;
    parameters.searchRange = 128;
}

void HevcEncoder::readHeaders() {
    x265_nal* units = nullptr;
    std::uint32_t count = 0;
    if (library_.encoder_headers(encoder_.get(), &units, &count) < 0)
        fail(translatable("The HEVC encoder couldn't be started."));
    NalUnit video;
    NalUnit sequence;
    NalUnit picture;
    for (const x265_nal& unit : std::span(units, count)) {
        const NalUnit body = NalUnit(unit.payload, unit.sizeBytes).subspan(bytesOfLength);
        if (unit.type == NAL_UNIT_VPS) video = body;
        if (unit.type == NAL_UNIT_SPS) sequence = body;
        if (unit.type == NAL_UNIT_PPS) picture = body;
    }
    sequence_ = parseHevcSequence(sequence, picture);
    if (sequence_ && codedWidth() >= minPatchedWidth) {
        patches_.emplace(*sequence_);
        bands_.emplace(library_, *parameters_, *sequence_, std::vector(picture.begin(), picture.end()));
        if (!bands_->isPossible()) bands_.reset();
    }
    const std::vector<std::uint8_t> patchSet = patches_ ? patchParameterSet() : std::vector<std::uint8_t>{};
    setConfiguration(hevcConfiguration(video, sequence, picture, patchSet));
}

void HevcEncoder::splitChroma(const CVPixelBuffer& picture) {
    const auto width = static_cast<std::size_t>(picture.width / 2);
    const auto height = static_cast<std::size_t>(picture.height / 2);
    cb_.resize(width * height);
    cr_.resize(width * height);
    for (std::size_t row = 0; row < height; ++row) {
        const std::uint8_t* pairs = picture.chroma + static_cast<std::ptrdiff_t>(row) * picture.chromaStride;
        split(pairs, width, cb_.data() + row * width, cr_.data() + row * width);
    }
}

/// Whether a key picture takes libx265 most of a second. Letters have strong edges.
bool HevcEncoder::isFullOfText(const CVPixelBuffer& picture) {
    constexpr int side = 8;
    int sharp = 0;
    int all = 0;
    for (int y = 0; y + side <= picture.height; y += side) {
        for (int x = 0; x + side <= picture.width; x += side, ++all) {
            const std::uint8_t* line = picture.luma + std::ptrdiff_t{y} * picture.lumaStride + x;
            const auto [least, most] = std::minmax_element(line, line + side);
            sharp += *most - *least > sharpEdge ? 1 : 0;
        }
    }
    return sharp * 3 > all;
}

int HevcEncoder::changedBlocks(const Order& order) {
    return static_cast<int>(std::count(order.constantBlocks.begin(), order.constantBlocks.end(), 0));
}

/// Whether so little changed that it can be coded as a patch.
bool HevcEncoder::isPatch(const Order& order) const {
    if (!patches_ || order.scroll || order.constantBlocks.empty()) return false;
    const int changed = changedBlocks(order);
    const auto most = static_cast<double>(order.constantBlocks.size()) * maxPatched;
    // Unchanged blocks that become finer are many. A key picture codes all.
    return changed <= most && (order.key || order.codedBlocks <= changed || !numberAnew_);
}

bool HevcEncoder::isCalm(const Order& order) const {
    return bands_ && isPatch(order) && order.time - calmSince_ >= calmTime;
}

/// Whether our own coder codes a key picture: the first one if that takes libx265 too long, and those between
/// patches and scrolled pictures. libx265 cannot go on from it.
bool HevcEncoder::isOwnKey(const Order& order) const {
    if (!patches_ || order.codedBlocks == 0) return false;  // encodeAtBest() goes on with libx265
    if (!anewAt_ && lastNumber_ < 0) return isFullOfText(order.picture);
    return (order.scroll || isPatch(order)) && (!anewAt_ || order.time - *anewAt_ >= calmTime);
}

bool HevcEncoder::canContinue(const Order& order) const {
    return numberAnew_.has_value() || isPatch(order) || (patches_ && order.scroll);
}

std::span<const std::uint8_t> HevcEncoder::code(const Order& order) {
    sample_.clear();
    if (bands_) bands_->note(order.constantBlocks);
    if (!isPatch(order)) calmSince_ = order.time;
    if (order.key) {
        if (isCalm(order) && codeBands(order)) return sample_;
        if (isOwnKey(order)) {
            patches_->codeKey(order.picture, order.quantizer, sample_);
            lastNumber_ = 0;
            numberAnew_.reset();
            return sample_;
        }
    } else if (codePatch(order)) {
        return sample_;
    }
    codeAnew(order);
    anewAt_ = order.time;
    return sample_;
}

/// Returns false if libx265 codes the picture better.
bool HevcEncoder::codePatch(const Order& order) {
    if (!isPatch(order) && (!patches_ || !order.scroll)) return false;
    HevcPlace place{lastNumber_ + 1, 1, std::nullopt};
    if (numberAnew_ == lastNumber_) {
        patches_->setReference(decoded_, 0, sequence_->height);
    } else if (numberAnew_) {
        place.kept = place.number - *numberAnew_;
    }
    const bool isFiner = order.codedBlocks > changedBlocks(order);
    const int fresh =
        patches_->compare(order.picture, isFiner ? std::span<const std::uint8_t>() : order.constantBlocks,
                          order.scroll, order.quantizer);
    const int blocks = sequence_->width / HevcBlock::side * (sequence_->height / HevcBlock::side);
    if (order.scroll && numberAnew_ && fresh > blocks * maxNew) return false;
    patches_->code(order.picture, place, sample_);
    lastNumber_ = place.number;
    isRenumbered_ = true;
    return true;
}

bool HevcEncoder::codeBands(const Order& order) {
    splitChroma(order.picture);
    const int width = order.picture.width / 2;
    if (!bands_->code(
            {{order.picture.luma, cb_.data(), cr_.data()}, {order.picture.lumaStride, width, width}},
            order.quantizer, sample_)) {
        bands_.reset();
        return false;
    }
    bands_->setReference(*patches_);
    lastNumber_ = 0;
    numberAnew_.reset();
    return true;
}

void HevcEncoder::codeAnew(const Order& order) {
    splitChroma(order.picture);
    x265_picture input;
    library_.picture_init(parameters_.get(), &input);
    // x265 copies the planes before it returns.
    input.planes[0] = const_cast<std::uint8_t*>(order.picture.luma);
    input.planes[1] = cb_.data();
    input.planes[2] = cr_.data();
    input.stride[0] = order.picture.lumaStride;
    input.stride[1] = input.stride[2] = order.picture.width / 2;
    input.bitDepth = bitsOfSample;
    input.pts = order.time;
    input.sliceType = order.key ? X265_TYPE_IDR : X265_TYPE_P;
    input.forceqp = order.quantizer + 1;

    x265_nal* units = nullptr;
    std::uint32_t count = 0;
    x265_picture decoded;
    library_.picture_init(parameters_.get(), &decoded);
    if (library_.encoder_encode(encoder_.get(), &units, &count, &input, &decoded) <= 0)
        fail(translatable("A picture couldn't be encoded."));
    for (std::size_t i = 0; i < decoded_.size(); ++i)
        decoded_[i] = {static_cast<const std::uint8_t*>(decoded.planes[i]), decoded.stride[i]};

    if (order.key) {
        lastNumber_ = -1;
        isRenumbered_ = false;
    }
    const int number = lastNumber_ + 1;
    const HevcPlace place{number, number - numberAnew_.value_or(-1), std::nullopt};
    for (const x265_nal& unit : std::span(units, count)) {
        const NalUnit raw(unit.payload, unit.sizeBytes);
        if (!isRenumbered_) {
            sample_.insert(sample_.end(), raw.begin(), raw.end());
        } else if (!appendWithPlace(sample_, raw.subspan(bytesOfLength), *sequence_, place)) {
            fail(translatable("A picture couldn't be encoded."));
        }
    }
    lastNumber_ = number;
    numberAnew_ = number;
}

}  // namespace lumicrate::media
