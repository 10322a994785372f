#include "Linux/Media/H264Encoder.h"

#include "Support/Error.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <thread>

namespace lumicrate::media {

namespace {

/// Above the quality level by this much is seen.
constexpr int clearlyCoarser = 2;
/// A refinement that does not reach the quality level must gain this much.
constexpr int worthwhile = 8;
/// Up to here, edges of blocks are not seen.
constexpr int blocksShowAbove = 22;
/// What one thread is trusted to keep up with: 1080p at 30 a second, and a little.
constexpr double pixelRateOfThread = 1920.0 * 1088 * 32;

[[noreturn]] void fail(const char* sentence) {
    throw PlatformError(localized(sentence));
}

int threadsFor(double pixelRate) {
    const int cores = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
    return std::clamp(static_cast<int>(std::ceil(pixelRate / pixelRateOfThread)), 1, std::min(cores, 8));
}

/// The filter strength with which pictures up to `quantizer` are not deblocked. The standard's filter sets in
/// at 16, and an offset counts twice.
int deblockingOffset(int quantizer) {
    return std::clamp(-((quantizer - 14) / 2), -6, 0);
}

double pixelRate(const H264Encoder::Settings& settings) {
    return static_cast<double>(settings.width) * settings.height * std::max(settings.framesPerSecond, 1);
}

void append16(std::vector<std::uint8_t>& bytes, std::size_t value) {
    bytes.push_back(static_cast<std::uint8_t>(value >> 8));
    bytes.push_back(static_cast<std::uint8_t>(value & 0xff));
}

}  // namespace

H264Encoder::H264Encoder(const Settings& settings)
    : settings_(settings),
      rate_(settings.bitRate, pixelRate(settings), settings.framesPerSecond),
      blocks_(settings.width, settings.height) {
    x264_param_t parameters;
    fillParameters(parameters);
    encoder_.reset(x264_encoder_open(&parameters));
    if (!encoder_) fail("The H.264 encoder couldn't be started.");
    readHeaders();
}

void H264Encoder::fillParameters(x264_param_t& parameters) const {
    if (x264_param_default_preset(&parameters, "superfast", nullptr) < 0)
        fail("The H.264 encoder couldn't be set up.");
    parameters.i_log_level = X264_LOG_NONE;
    parameters.i_width = codedWidth();
    parameters.i_height = codedHeight();
    parameters.i_csp = X264_CSP_NV12;

    // Slices instead of pictures in parallel: a picture's sample is then never held back.
    parameters.i_threads = threadsFor(pixelRate(settings_));
    parameters.b_sliced_threads = parameters.i_threads > 1;
    parameters.i_bframe = 0;
    parameters.i_sync_lookahead = 0;
    parameters.rc.i_lookahead = 0;
    parameters.rc.b_mb_tree = 0;
    parameters.analyse.i_weighted_pred = X264_WEIGHTP_NONE;
    parameters.analyse.b_mb_info = 1;

    // Key pictures are placed here, by media time; the encoder only counts pictures.
    parameters.i_keyint_max = X264_KEYINT_MAX_INFINITE;
    parameters.i_scenecut_threshold = 0;

    // The times pass through as they are. With VFR input declared the encoder would hold each picture back
    // until it knows the next one's time, which only its own rate control would make use of.
    parameters.b_vfr_input = 0;
    parameters.i_fps_num = static_cast<std::uint32_t>(std::max(settings_.framesPerSecond, 1));
    parameters.i_fps_den = 1;

    // Every picture is given its quantizer by RateControl. The encoder's own rate control analyses a reduced
    // copy of each picture first, a quarter of the cost of a picture in which little changed, and does not
    // know of times of rest. The factor of key pictures merely opens the range
    // of quantizers that may be given.
    parameters.rc.i_rc_method = X264_RC_CQP;
    parameters.rc.i_qp_constant = rate_.qualityQuantizer();
    parameters.rc.f_ip_factor =
        static_cast<float>(std::exp2((rate_.qualityQuantizer() - coarsestQuantizer) / 6.0));

    // The deblocking filter smears strokes near the edges of intra blocks visibly, at any quantizer at which
    // it works at all: it is to set in only where blocks would be seen, and never at the quality level.
    const int deblocking =
        deblockingOffset(std::max(rate_.qualityQuantizer() + clearlyCoarser, blocksShowAbove));
    parameters.i_deblocking_filter_alphac0 = deblocking;
    parameters.i_deblocking_filter_beta = deblocking;

    parameters.b_annexb = 0;
    parameters.b_aud = 0;
    parameters.b_repeat_headers = 0;
    parameters.vui.b_fullrange = 0;
    parameters.vui.i_colorprim = 1;  // BT.709
    parameters.vui.i_transfer = 1;
    parameters.vui.i_colmatrix = 1;
    if (x264_param_apply_profile(&parameters, "high") < 0) fail("The H.264 encoder couldn't be set up.");
}

/// Writes the decoder configuration record from the sequence and the picture parameter set.
void H264Encoder::readHeaders() {
    x264_nal_t* units = nullptr;
    int count = 0;
    if (x264_encoder_headers(encoder_.get(), &units, &count) < 0)
        fail("The H.264 encoder couldn't be started.");
    constexpr int length = 4;
    std::span<const std::uint8_t> sequence;
    std::span<const std::uint8_t> picture;
    for (const x264_nal_t& unit : std::span(units, static_cast<std::size_t>(count))) {
        const std::span<const std::uint8_t> body(unit.p_payload + length,
                                                 static_cast<std::size_t>(unit.i_payload - length));
        if (unit.i_type == NAL_SPS) sequence = body;
        if (unit.i_type == NAL_PPS) picture = body;
    }
    if (sequence.size() < 4 || picture.empty()) fail("The H.264 encoder couldn't be started.");
    extradata_ = {1, sequence[1], sequence[2], sequence[3], 0xfc | (length - 1), 0xe0 | 1};
    append16(extradata_, sequence.size());
    extradata_.insert(extradata_.end(), sequence.begin(), sequence.end());
    extradata_.push_back(1);
    append16(extradata_, picture.size());
    extradata_.insert(extradata_.end(), picture.begin(), picture.end());
    // The High profile's tail: 4:2:0, 8 bits, no extensions.
    extradata_.insert(extradata_.end(), {0xfc | 1, 0xf8, 0xf8, 0});
}

EncodedPicture H264Encoder::encode(const CVPixelBuffer& picture, std::int64_t time,
                                   const std::optional<SCStreamFrameInfo>& info) {
    if (picture.width != settings_.width || picture.height != settings_.height)
        fail("The captured picture doesn't have the movie's size.");
    rate_.advanceTo(static_cast<double>(time) / videoTimescale);
    blocks_.begin(info);
    const PictureWork work = blocks_.work(keyPictureIsDue(time));
    return encodeBegun(picture, time, work, rate_.quantizerFor(work));
}

std::optional<EncodedPicture> H264Encoder::refine(const CVPixelBuffer& picture, std::int64_t time,
                                                  double rested) {
    rate_.advanceTo(static_cast<double>(time) / videoTimescale + rested);
    blocks_.beginAgain();
    const PictureWork work = blocks_.work(keyPictureIsDue(time));
    const int quantizer = rate_.quantizerAtRest(work);
    const bool crisp = quantizer <= rate_.qualityQuantizer() + clearlyCoarser;
    if (!crisp && quantizer > blocks_.coarsest() - worthwhile && !rate_.isFull()) return std::nullopt;
    return encodeBegun(picture, time, work, quantizer);
}

bool H264Encoder::isCoarse() const {
    return blocks_.coarsest() > rate_.qualityQuantizer() + clearlyCoarser;
}

bool H264Encoder::keyPictureIsDue(std::int64_t time) const {
    if (!lastKey_) return true;
    const std::int64_t interval = std::int64_t{std::max(settings_.keyFrameInterval, 1)} * videoTimescale /
                                  std::max(settings_.framesPerSecond, 1);
    return time - *lastKey_ >= interval;
}

EncodedPicture H264Encoder::encodeBegun(const CVPixelBuffer& picture, std::int64_t time,
                                        const PictureWork& work, int quantizer) {
    x264_picture_t input;
    x264_picture_init(&input);
    fillPlanes(picture, input.img);
    input.i_pts = time;
    input.i_type = work.key ? X264_TYPE_IDR : X264_TYPE_P;
    input.i_qpplus1 = quantizer + 1;
    if (!work.key && blocks_.hasConstantBlocks()) {
        // The map's flags are x264's; it only reads them, and nothing is delayed beyond this call.
        static_assert(X264_MBINFO_CONSTANT == 1);
        input.prop.mb_info = const_cast<std::uint8_t*>(blocks_.constantBlocks().data());
    }

    x264_nal_t* units = nullptr;
    int count = 0;
    x264_picture_t output;
    const int size = x264_encoder_encode(encoder_.get(), &units, &count, &input, &output);
    if (size <= 0 || count <= 0) fail("A picture couldn't be encoded.");
    if (work.key) lastKey_ = time;
    blocks_.coded(work.key, quantizer);
    rate_.coded(work, quantizer, std::int64_t{size} * 8);
    return {{units[0].p_payload, static_cast<std::size_t>(size)}, work.key, quantizer};
}

void H264Encoder::fillPlanes(const CVPixelBuffer& picture, x264_image_t& image) {
    image.i_csp = X264_CSP_NV12;
    image.i_plane = 2;
    // x264 only reads the planes.
    image.plane[0] = const_cast<std::uint8_t*>(picture.luma);
    image.i_stride[0] = picture.lumaStride;
    image.plane[1] = const_cast<std::uint8_t*>(picture.chroma);
    image.i_stride[1] = picture.chromaStride;
    if (picture.width == codedWidth() && picture.height == codedHeight()) return;
    padLuma(picture);
    image.plane[0] = paddedLuma_.data();
    image.i_stride[0] = codedWidth();
}

/// The luma plane with its last column and row repeated to even numbers. The chroma planes of odd sizes are
/// rounded up already.
void H264Encoder::padLuma(const CVPixelBuffer& picture) {
    const auto stride = static_cast<std::size_t>(codedWidth());
    const auto width = static_cast<std::size_t>(picture.width);
    paddedLuma_.resize(stride * static_cast<std::size_t>(codedHeight()));
    for (int row = 0; row < codedHeight(); ++row) {
        const std::uint8_t* from =
            picture.luma + std::ptrdiff_t{std::min(row, picture.height - 1)} * picture.lumaStride;
        std::uint8_t* to = paddedLuma_.data() + static_cast<std::size_t>(row) * stride;
        std::memcpy(to, from, width);
        if (stride > width) to[width] = from[width - 1];
    }
}

}  // namespace lumicrate::media
