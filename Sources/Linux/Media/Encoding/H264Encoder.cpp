// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/H264Encoder.h"

#include "Linux/Media/Encoding/DecoderConfiguration.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace lumicrate::media {

namespace {

// Widths of the motion search, pixels.
constexpr int ordinarySearch = 16;  ///< around the vectors of neighbours and of the previous picture
/// What has just come into view is found elsewhere in the text.
constexpr int minScrollSearch = 64;
/// Beyond, the search costs more than it saves.
constexpr int maxScrollSearch = 256;

/// One thread keeps up with a little more than 1080p at 30 frames a second.
constexpr double pixelsPerThread = 1920.0 * 1088 * 32;

/// Offsets are ignored while quantizers are constant or adaptive quantization is off. So it is on, as weak as
/// it can be. The constant is part of the headers.
///
/// With the narrower dead zone more of the small coefficients of intra blocks, which later pictures copy, are
/// kept: SSIM rises by 0.0003 for a fortieth more bits. Partitions save a twentieth.
void varyQuantizers(x264_param_t& parameters) {
    constexpr int narrow = 4;
    parameters.analyse.i_luma_deadzone[1] = narrow;
    parameters.analyse.inter |= X264_ANALYSE_PSUB16x16;
    parameters.rc.i_rc_method = X264_RC_CRF;
    parameters.rc.f_rf_constant = static_cast<float>(parameters.rc.i_qp_constant);
    parameters.rc.i_aq_mode = X264_AQ_VARIANCE;
    parameters.rc.f_aq_strength = 0.01F;
}

[[noreturn]] void fail(const char* sentence) {
    throw PlatformError(localized(sentence));
}

}  // namespace

H264Encoder::H264Encoder(const Settings& settings) : VideoEncoder(settings, 2) {
    allowCopying();
    open(Mode::ordinary);
    readHeaders();
}

/// The mode of an open encoder cannot be changed. A new encoder writes the same headers and can continue from
/// any key picture.
void H264Encoder::open(Mode mode) {
    x264_param_t parameters;
    fillParameters(parameters);
    parameters.analyse.i_subpel_refine = mode == Mode::subpixelMotion ? 1 : 0;
    if (mode == Mode::variedQuantizers) varyQuantizers(parameters);
    encoder_.reset();
    encoder_.reset(x264_encoder_open(&parameters));
    if (!encoder_) fail(translatable("The H.264 encoder couldn't be started."));
    mode_ = mode;
    search_ = {parameters.analyse.i_me_method, parameters.analyse.i_me_range};
    log(LogArea::encoder, "libx264 ", X264_POINTVER, ", preset superfast, ", parameters.i_threads, " threads",
        mode == Mode::subpixelMotion     ? ", subpixel motion"
        : mode == Mode::variedQuantizers ? ", quantizers of each block"
                                         : "");
}

void H264Encoder::fillParameters(x264_param_t& parameters) const {
    if (x264_param_default_preset(&parameters, "superfast", nullptr) < 0)
        fail(translatable("The H.264 encoder couldn't be set up."));
    parameters.i_log_level = X264_LOG_NONE;
    parameters.i_width = codedWidth();
    parameters.i_height = codedHeight();
    parameters.i_csp = X264_CSP_NV12;

    // Threads share the slices of one picture. Encoding several pictures at once would delay their samples.
    parameters.i_threads = threadsFor(pixelsPerThread);
    parameters.b_sliced_threads = parameters.i_threads > 1;
    parameters.i_bframe = 0;
    parameters.i_sync_lookahead = 0;
    parameters.rc.i_lookahead = 0;
    parameters.rc.b_mb_tree = 0;
    parameters.analyse.i_weighted_pred = X264_WEIGHTP_NONE;
    parameters.analyse.b_mb_info = 1;

    // We place key pictures by media time; the encoder would count pictures.
    parameters.i_keyint_max = X264_KEYINT_MAX_INFINITE;
    parameters.i_scenecut_threshold = 0;

    // Times pass through unchanged. Declared as variable-rate input, each picture would be delayed until the
    // next one's time is known, which only the encoder's own rate control uses.
    parameters.b_vfr_input = 0;
    parameters.i_fps_num = static_cast<std::uint32_t>(std::max(settings().framesPerSecond, 1));
    parameters.i_fps_den = 1;

    // RateControl sets each picture's quantizer. The encoder's own rate control first analyses a downscaled
    // copy, a quarter of the cost of a picture in which little changed, and knows nothing of idle times. The
    // factors of the other kinds of pictures only set the ends of the range that may be ordered. Each may
    // differ by 40 from the constant.
    constexpr int middle = 28;
    const auto factor = [](int quantizers) { return static_cast<float>(std::exp2(quantizers / 6.0)); };
    parameters.rc.i_rc_method = X264_RC_CQP;
    parameters.rc.i_qp_constant = middle;
    parameters.rc.f_ip_factor = factor(middle - coarsestQuantizer);
    parameters.rc.f_pb_factor = factor(finestQuantizer() - middle);

    parameters.i_deblocking_filter_alphac0 = deblockingOffset();
    parameters.i_deblocking_filter_beta = deblockingOffset();

    parameters.b_annexb = 0;
    parameters.b_aud = 0;
    parameters.b_repeat_headers = 0;
    parameters.vui.b_fullrange = 0;
    parameters.vui.i_colorprim = 1;  // BT.709
    parameters.vui.i_transfer = 1;
    parameters.vui.i_colmatrix = 1;
    if (x264_param_apply_profile(&parameters, "high") < 0)
        fail(translatable("The H.264 encoder couldn't be set up."));
}

void H264Encoder::readHeaders() {
    x264_nal_t* units = nullptr;
    int count = 0;
    if (x264_encoder_headers(encoder_.get(), &units, &count) < 0)
        fail(translatable("The H.264 encoder couldn't be started."));
    constexpr int length = 4;
    NalUnit sequence;
    NalUnit picture;
    for (const x264_nal_t& unit : std::span(units, static_cast<std::size_t>(count))) {
        const NalUnit body(unit.p_payload + length, static_cast<std::size_t>(unit.i_payload - length));
        if (unit.i_type == NAL_SPS) sequence = body;
        if (unit.i_type == NAL_PPS) picture = body;
    }
    setConfiguration(avcConfiguration(sequence, picture));
}

/// A scroll is searched for as far as it goes. While it goes on at the same speed, blocks inherit its vector
/// from the previous picture.
void H264Encoder::adaptSearch(const Order& order) {
    MotionSearch search{X264_ME_DIA, ordinarySearch};
    if (order.scroll) {
        const int distance = std::max(std::abs(order.scroll->x), std::abs(order.scroll->y));
        const bool inherited = order.scroll == lastScroll_;
        search = {X264_ME_UMH,
                  inherited ? minScrollSearch : std::clamp(distance + 8, minScrollSearch, maxScrollSearch)};
    }
    lastScroll_ = order.key ? std::nullopt : order.scroll;
    if (search == search_) return;
    x264_param_t parameters;
    x264_encoder_parameters(encoder_.get(), &parameters);
    parameters.analyse.i_me_method = search.method;
    parameters.analyse.i_me_range = search.range;
    if (x264_encoder_reconfig(encoder_.get(), &parameters) < 0)
        fail(translatable("The H.264 encoder couldn't be set up."));
    search_ = search;
}

float* H264Encoder::offsets(std::span<const std::uint8_t> uncovered) {
    offsets_.resize(uncovered.size());
    std::ranges::transform(uncovered, offsets_.begin(),
                           [](std::uint8_t flag) { return flag != 0 ? float{-uncoveredFiner} : 0.0F; });
    return offsets_.data();
}

std::span<const std::uint8_t> H264Encoder::code(const Order& order) {
    const Mode mode = order.isStrained ? Mode::subpixelMotion
                      : order.isCopied ? Mode::variedQuantizers
                                       : Mode::ordinary;
    if (order.key && mode != mode_) open(mode);
    adaptSearch(order);
    x264_picture_t input;
    x264_picture_init(&input);
    // x264 only reads the planes and flags, and is done with them when the call returns.
    input.img.i_csp = X264_CSP_NV12;
    input.img.i_plane = 2;
    input.img.plane[0] = const_cast<std::uint8_t*>(order.picture.luma);
    input.img.i_stride[0] = order.picture.lumaStride;
    input.img.plane[1] = const_cast<std::uint8_t*>(order.picture.chroma);
    input.img.i_stride[1] = order.picture.chromaStride;
    input.i_pts = order.time;
    input.i_type = order.key ? X264_TYPE_IDR : X264_TYPE_P;
    input.i_qpplus1 = order.quantizer + 1;
    static_assert(X264_MBINFO_CONSTANT == 1);
    if (!order.key && !order.constantBlocks.empty())
        input.prop.mb_info = const_cast<std::uint8_t*>(order.constantBlocks.data());
    if (mode_ == Mode::variedQuantizers && !order.uncoveredBlocks.empty())
        input.prop.quant_offsets = offsets(order.uncoveredBlocks);

    x264_nal_t* units = nullptr;
    int count = 0;
    x264_picture_t output;
    const int size = x264_encoder_encode(encoder_.get(), &units, &count, &input, &output);
    if (size <= 0 || count <= 0) fail(translatable("A picture couldn't be encoded."));
    return {units[0].p_payload, static_cast<std::size_t>(size)};
}

}  // namespace lumicrate::media
