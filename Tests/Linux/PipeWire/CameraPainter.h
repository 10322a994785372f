// SPDX-License-Identifier: GPL-3.0-or-later
// CameraPainter: the encoded pictures of a virtual camera.
#pragma once

#include "Tests/Linux/PipeWire/VirtualCamera.h"

#include <cstdint>
#include <memory>
#include <random>
#include <span>
#include <vector>

struct AVCodecContext;
struct AVFrame;
struct AVPacket;

namespace lumicrate::stage {

class CameraPainter {
 public:
    /// Throws std::runtime_error for unknown pixels.
    CameraPainter(const VirtualCamera::Format& format, const VirtualCamera::Options& options);
    ~CameraPainter();
    CameraPainter(const CameraPainter&) = delete;
    CameraPainter& operator=(const CameraPainter&) = delete;

    /// Valid until the next call.
    std::span<const std::uint8_t> paint(int number);
    /// Bytes from one row to the next; 0 for MJPG.
    static int strideOf(const VirtualCamera::Format& format);
    /// The largest number of bytes of a picture.
    static int sizeOf(const VirtualCamera::Format& format);

 private:
    void addNoise();
    void drawNumber(int number);
    void encode();

    const VirtualCamera::Format format_;
    const bool isCompressed_;
    const bool hasHuffmanTables_;
    std::vector<std::uint8_t> clean_;  ///< the luma without noise; empty for a picture without noise
    std::minstd_rand random_;
    std::vector<std::uint8_t> bytes_;
    AVCodecContext* encoder_ = nullptr;
    AVFrame* picture_ = nullptr;  ///< all formats are drawn as planes first
    AVPacket* packet_ = nullptr;
};

}  // namespace lumicrate::stage
