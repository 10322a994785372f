// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Camera/CameraDecoder.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace lumicrate::media {

namespace {

static_assert(CameraFrame::padding >= AV_INPUT_BUFFER_PADDING_SIZE);

constexpr int maxSide = CameraFormat::maxSide;

AVPixelFormat formatOf(CameraPixels pixels) {
    switch (pixels) {
        case CameraPixels::mjpg:
            return AV_PIX_FMT_NONE;
        case CameraPixels::nv12:
            return AV_PIX_FMT_NV12;
        case CameraPixels::nv21:
            return AV_PIX_FMT_NV21;
        case CameraPixels::i420:
        case CameraPixels::yv12:  // with exchanged planes
            return AV_PIX_FMT_YUV420P;
        case CameraPixels::yuy2:
            return AV_PIX_FMT_YUYV422;
        case CameraPixels::yvyu:
            return AV_PIX_FMT_YVYU422;
        case CameraPixels::uyvy:
            return AV_PIX_FMT_UYVY422;
        case CameraPixels::bgrx:
            return AV_PIX_FMT_BGR0;
        case CameraPixels::rgbx:
            return AV_PIX_FMT_RGB0;
        case CameraPixels::xrgb:
            return AV_PIX_FMT_0RGB;
        case CameraPixels::xbgr:
            return AV_PIX_FMT_0BGR;
        case CameraPixels::rgb:
            return AV_PIX_FMT_RGB24;
        case CameraPixels::bgr:
            return AV_PIX_FMT_BGR24;
        case CameraPixels::gray:
            return AV_PIX_FMT_GRAY8;
    }
    return AV_PIX_FMT_NONE;
}

/// The number of rows of a plane.
int rowsOf(AVPixelFormat format, int plane, int height) {
    const int shift = plane == 0 ? 0 : av_pix_fmt_desc_get(format)->log2_chroma_h;
    return AV_CEIL_RSHIFT(height, shift);
}

/// Where the planes of an uncompressed picture begin, and the bytes from one row to the next.
struct Layout {
    std::array<std::size_t, 4> offsets{};
    std::array<int, 4> strides{};
};

/// Nothing when a row, or the last plane, does not fit.
std::optional<Layout> layoutOf(const CameraFrame& frame, AVPixelFormat format) {
    const auto [width, height] = frame.format.size;
    std::array<int, 4> rowBytes{};
    if (av_image_fill_linesizes(rowBytes.data(), format, width) < 0) return std::nullopt;
    const auto count = static_cast<std::size_t>(av_pix_fmt_count_planes(format));
    const bool isOneBlock = frame.planes.size() == 1;
    if (!isOneBlock && frame.planes.size() < count) return std::nullopt;
    Layout layout;
    std::size_t next = isOneBlock ? frame.planes[0].offset : 0;
    for (std::size_t i = 0; i < count; ++i) {
        const CameraFrame::Plane& block = frame.planes[isOneBlock ? 0 : i];
        int stride = block.stride;
        // In one block only the stride of the first plane is known; the others are proportional to it.
        if (isOneBlock && i > 0 && stride > 0 && rowBytes[i] < rowBytes[0]) stride = (stride + 1) / 2;
        if (stride == 0) stride = rowBytes[i];
        if (stride < rowBytes[i] || stride > std::numeric_limits<int>::max() / maxSide) return std::nullopt;
        const auto rows = static_cast<std::size_t>(rowsOf(format, static_cast<int>(i), height));
        const std::size_t begin = isOneBlock ? next : block.offset;
        // The last row may end before its stride.
        const std::size_t end =
            begin + static_cast<std::size_t>(stride) * (rows - 1) + static_cast<std::size_t>(rowBytes[i]);
        if (end > block.offset + block.size) return std::nullopt;
        layout.offsets[i] = begin;
        layout.strides[i] = stride;
        next = begin + static_cast<std::size_t>(stride) * rows;
    }
    return layout;
}

}  // namespace

CameraDecoder::CameraDecoder() : picture_(makeFrame()), packet_(makePacket()) {}

const AVFrame* CameraDecoder::decode(const CameraFrame& frame, int reduction) {
    const auto [width, height] = frame.format.size;
    if (width < 2 || height < 2 || width > maxSide || height > maxSide || frame.planes.empty())
        return nullptr;
    av_frame_unref(picture_.get());
    return frame.format.isCompressed() ? decodeJpeg(frame, std::clamp(reduction, 0, maxReduction))
                                       : view(frame);
}

const AVFrame* CameraDecoder::view(const CameraFrame& frame) {
    const AVPixelFormat format = formatOf(frame.format.pixels);
    const auto layout = layoutOf(frame, format);
    if (!layout) return nullptr;
    for (std::size_t i = 0; i < layout->strides.size() && layout->strides[i] > 0; ++i) {
        // Only read: libav has no type for a picture that must not be written.
        picture_->data[i] = const_cast<std::uint8_t*>(frame.bytes.data()) + layout->offsets[i];
        picture_->linesize[i] = layout->strides[i];
    }
    if (frame.format.pixels == CameraPixels::yv12) std::swap(picture_->data[1], picture_->data[2]);
    picture_->format = format;
    picture_->width = frame.format.size.width;
    picture_->height = frame.format.size.height;
    picture_->colorspace = frame.colors.isBt709 ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
    picture_->color_range = frame.colors.isFullRange ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    return picture_.get();
}

const AVFrame* CameraDecoder::decodeJpeg(const CameraFrame& frame, int reduction) {
    const CameraFrame::Plane& block = frame.planes[0];
    if (block.size < 4 || block.size > std::numeric_limits<int>::max() / 2) return nullptr;
    if (!openJpegDecoder(frame.format.size, reduction)) return nullptr;
    packet_->data = const_cast<std::uint8_t*>(frame.bytes.data()) + block.offset;
    packet_->size = static_cast<int>(block.size);
    // Sending decodes at once, and a failure may leave a picture of the damaged data behind.
    const int sent = avcodec_send_packet(jpegDecoder_.get(), packet_.get());
    const int received = sent < 0 ? sent : avcodec_receive_frame(jpegDecoder_.get(), picture_.get());
    packet_->data = nullptr;
    packet_->size = 0;
    const auto reduced = [&](int side) { return AV_CEIL_RSHIFT(side, reduction); };
    const bool isGood = received >= 0 && picture_->decode_error_flags == 0 &&
                        (picture_->flags & AV_FRAME_FLAG_CORRUPT) == 0 &&
                        picture_->width == reduced(frame.format.size.width) &&
                        picture_->height == reduced(frame.format.size.height);
    if (isGood) {
        picture_->colorspace = AVCOL_SPC_SMPTE170M;
        picture_->color_range = AVCOL_RANGE_JPEG;
        return picture_.get();
    }
    jpegDecoder_.reset();
    return nullptr;
}

bool CameraDecoder::openJpegDecoder(PixelSize size, int reduction) {
    if (jpegDecoder_ && jpegDecoder_->lowres == reduction && jpegSize_ == size) return true;
    av_log_set_level(AV_LOG_QUIET);
    const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_MJPEG);
    jpegDecoder_.reset(codec ? avcodec_alloc_context3(codec) : nullptr);
    if (!jpegDecoder_) return false;
    jpegSize_ = size;
    jpegDecoder_->lowres = reduction;
    // Rejects half pictures, and headers that claim to be enormous.
    jpegDecoder_->err_recognition = AV_EF_EXPLODE;
    jpegDecoder_->max_pixels = std::int64_t{size.width} * size.height;
    jpegDecoder_->thread_count = 1;
    if (avcodec_open2(jpegDecoder_.get(), codec, nullptr) >= 0) return true;
    jpegDecoder_.reset();
    return false;
}

}  // namespace lumicrate::media
