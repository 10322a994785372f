// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Linux/PipeWire/CameraPainter.h"

#include "Tests/Stage/Scene/FrameNumber.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <stdexcept>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
#include <libavutil/opt.h>
}

namespace lumicrate::stage {

namespace {

Color colorOf(const Rgb& rgb) {
    return color(rgb.red, rgb.green, rgb.blue);
}

/// Y, Cb and Cr of BT.601.
std::array<std::uint8_t, 3> yuvOf(Color pixel, bool isFullRange) {
    const double red = static_cast<double>(pixel >> 16 & 0xff) / 255;
    const double green = static_cast<double>(pixel >> 8 & 0xff) / 255;
    const double blue = static_cast<double>(pixel & 0xff) / 255;
    const double luma = 0.299 * red + 0.587 * green + 0.114 * blue;
    const auto byte = [](double value) {
        return static_cast<std::uint8_t>(std::clamp(std::lround(value), 0L, 255L));
    };
    const double range = isFullRange ? 255 : 224;
    return {byte(isFullRange ? 255 * luma : 16 + 219 * luma), byte(128 + range * (blue - luma) / 1.772),
            byte(128 + range * (red - luma) / 1.402)};
}

Image paintBackground(int width, int height) {
    Image image(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int shade = 90 + 40 * x / width + 40 * y / height;
            image.set(x, y, color(shade, shade, shade));
        }
    }
    const int side = VirtualCamera::squareSide(height);
    image.fill({width - side, 0, side, side}, colorOf(VirtualCamera::topRight));
    image.fill({0, height - side, side, side}, colorOf(VirtualCamera::bottomLeft));
    image.fill({width - side, height - side, side, side}, colorOf(VirtualCamera::bottomRight));
    return image;
}

/// Removes the tables that a camera's pictures may lack.
void removeHuffmanTables(std::vector<std::uint8_t>& jpeg) {
    constexpr std::uint8_t startOfScan = 0xda;
    constexpr std::uint8_t tables = 0xc4;
    std::size_t at = 2;
    while (at + 4 <= jpeg.size() && jpeg[at] == 0xff && jpeg[at + 1] != startOfScan) {
        const std::size_t size = 2 + (std::size_t{jpeg[at + 2]} << 8 | jpeg[at + 3]);
        if (jpeg[at + 1] == tables) {
            const auto begin = jpeg.begin() + static_cast<std::ptrdiff_t>(at);
            jpeg.erase(begin, begin + static_cast<std::ptrdiff_t>(size));
        } else {
            at += size;
        }
    }
}

}  // namespace

int CameraPainter::strideOf(const VirtualCamera::Format& format) {
    if (format.pixels == "YUY2") return 2 * format.width;
    if (format.pixels == "BGRx") return 4 * format.width;
    return format.pixels == "MJPG" ? 0 : format.width;
}

int CameraPainter::sizeOf(const VirtualCamera::Format& format) {
    const int pixels = format.width * format.height;
    if (format.pixels == "YUY2" || format.pixels == "MJPG") return 2 * pixels;
    return format.pixels == "BGRx" ? 4 * pixels : pixels * 3 / 2;
}

CameraPainter::CameraPainter(const VirtualCamera::Format& format, const VirtualCamera::Options& options)
    : format_(format), isCompressed_(format.pixels == "MJPG"), hasHuffmanTables_(options.hasHuffmanTables) {
    const auto [pixels, width, height, rate] = format_;
    bytes_.resize(static_cast<std::size_t>(sizeOf(format)));
    const Image image = paintBackground(width, height);
    const auto yuv = [&](int x, int y) { return yuvOf(image.at(x, y), isCompressed_); };
    if (isCompressed_) {
        const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
        encoder_ = avcodec_alloc_context3(codec);
        encoder_->width = width;
        encoder_->height = height;
        encoder_->pix_fmt = AV_PIX_FMT_YUVJ422P;
        encoder_->time_base = {1, rate};
        encoder_->flags |= AV_CODEC_FLAG_QSCALE;
        encoder_->global_quality = 4 * FF_QP2LAMBDA;
        encoder_->thread_count = 1;
        // The tables that every decoder knows.
        av_opt_set(encoder_->priv_data, "huffman", "default", 0);
        if (avcodec_open2(encoder_, codec, nullptr) < 0) throw std::runtime_error("No JPEG encoder");
        packet_ = av_packet_alloc();
        picture_ = av_frame_alloc();
        picture_->format = AV_PIX_FMT_YUVJ422P;
        picture_->width = width;
        picture_->height = height;
        picture_->quality = encoder_->global_quality;
        av_frame_get_buffer(picture_, 0);
    }
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const auto [luma, cb, cr] = yuv(x, y);
            const auto at =
                static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x);
            const auto area = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
            const auto half = static_cast<std::size_t>(y / 2) * static_cast<std::size_t>(width / 2) +
                              static_cast<std::size_t>(x / 2);
            if (isCompressed_) {
                picture_->data[0][y * picture_->linesize[0] + x] = luma;
                picture_->data[1][y * picture_->linesize[1] + x / 2] = cb;
                picture_->data[2][y * picture_->linesize[2] + x / 2] = cr;
            } else if (pixels == "NV12") {
                bytes_[at] = luma;
                bytes_[area + 2 * half] = cb;
                bytes_[area + 2 * half + 1] = cr;
            } else if (pixels == "I420") {
                bytes_[at] = luma;
                bytes_[area + half] = cb;
                bytes_[area + area / 4 + half] = cr;
            } else if (pixels == "YUY2") {
                bytes_[2 * at] = luma;
                bytes_[2 * at + 1] = x % 2 == 0 ? cb : cr;
            } else if (pixels == "BGRx") {
                const Color pixel = image.at(x, y);
                std::memcpy(&bytes_[4 * at], &pixel, sizeof pixel);
            } else {
                throw std::runtime_error("Unknown pixels: " + pixels);
            }
        }
    }
    if (options.isNoisy && picture_) {
        const std::uint8_t* const luma = picture_->data[0];
        clean_.assign(luma, luma + std::ptrdiff_t{picture_->linesize[0]} * height);
    }
}

CameraPainter::~CameraPainter() {
    av_packet_free(&packet_);
    av_frame_free(&picture_);
    avcodec_free_context(&encoder_);
}

std::span<const std::uint8_t> CameraPainter::paint(int number) {
    if (!clean_.empty()) addNoise();
    drawNumber(number);
    if (isCompressed_) encode();
    return bytes_;
}

void CameraPainter::addNoise() {
    av_frame_make_writable(picture_);
    for (std::size_t i = 0; i < clean_.size(); ++i)
        picture_->data[0][i] = static_cast<std::uint8_t>(clean_[i] + (random_() >> 20) % 7);
}

void CameraPainter::drawNumber(int number) {
    Image bar(FrameNumber::barWidth, FrameNumber::blockSize);
    FrameNumber::draw(bar, number);
    if (picture_) av_frame_make_writable(picture_);
    for (int y = 0; y < bar.height(); ++y) {
        for (int x = 0; x < std::min(bar.width(), format_.width); ++x) {
            const auto [luma, cb, cr] = yuvOf(bar.at(x, y), isCompressed_);
            if (picture_) {
                picture_->data[0][y * picture_->linesize[0] + x] = luma;
                picture_->data[1][y * picture_->linesize[1] + x / 2] = cb;
                picture_->data[2][y * picture_->linesize[2] + x / 2] = cr;
                continue;
            }
            const auto row = static_cast<std::size_t>(y) * static_cast<std::size_t>(strideOf(format_));
            const auto column = static_cast<std::size_t>(x);
            if (format_.pixels == "YUY2") {
                bytes_[row + 2 * column] = luma;
            } else if (format_.pixels == "BGRx") {
                const Color pixel = bar.at(x, y);
                std::memcpy(&bytes_[row + 4 * column], &pixel, sizeof pixel);
            } else {
                bytes_[row + column] = luma;
            }
        }
    }
}

void CameraPainter::encode() {
    if (avcodec_send_frame(encoder_, picture_) < 0 || avcodec_receive_packet(encoder_, packet_) < 0)
        throw std::runtime_error("The camera's picture cannot be encoded");
    bytes_.assign(packet_->data, packet_->data + packet_->size);
    av_packet_unref(packet_);
    if (!hasHuffmanTables_) removeHuffmanTables(bytes_);
}

}  // namespace lumicrate::stage
