// SPDX-License-Identifier: GPL-3.0-or-later
// HevcEncoder: encodes pictures in HEVC, Main profile, with libx265.
#pragma once

#include "Linux/Media/Encoding/VideoEncoder.h"

#include <x265.h>

#include <memory>
#include <string>
#include <vector>

namespace lumicrate::media {

/// The encoder cannot be told which blocks are unchanged and compares them all, so a picture in which little
/// changed costs several times as much as in H.264.
class HevcEncoder final : public VideoEncoder {
 public:
    /// Minimum coded width and height, pixels.
    static constexpr int minSide = 16;

    /// Throws PlatformError when the encoder cannot be set up.
    explicit HevcEncoder(const Settings& settings);

 private:
    void fillParameters();
    void tuneForScreens();
    void readHeaders();
    void splitChroma(const CVPixelBuffer& picture);
    std::span<const std::uint8_t> code(const Order& order) override;

    const x265_api& library_;
    /// The number of threads as text; the parameters point to it.
    std::string threads_;
    std::unique_ptr<x265_param, void (*)(x265_param*)> parameters_;
    std::unique_ptr<x265_encoder, void (*)(x265_encoder*)> encoder_;
    std::vector<std::uint8_t> cb_;
    std::vector<std::uint8_t> cr_;
    std::vector<std::uint8_t> sample_;
};

}  // namespace lumicrate::media
