// HevcEncoder: pictures coded in HEVC, Main profile.
#pragma once

#include "Linux/Media/Encoding/VideoEncoder.h"

#include <x265.h>

#include <memory>
#include <string>
#include <vector>

namespace lumicrate::media {

/// The encoder cannot be told what is the same as before: it finds out by itself, which makes a picture in
/// which little changed cost several times what it does in H.264.
class HevcEncoder final : public VideoEncoder {
 public:
    /// Smaller pictures, in width or height, cannot be coded; pixels.
    static constexpr int leastSide = 16;

    /// Throws PlatformError when the encoder cannot be set up.
    explicit HevcEncoder(const Settings& settings);

 private:
    void fillParameters();
    void readHeaders();
    void splitChroma(const CVPixelBuffer& picture);
    std::span<const std::uint8_t> code(const Order& order) override;

    const x265_api& library_;
    /// Their number; the parameters point to it.
    std::string threads_;
    std::unique_ptr<x265_param, void (*)(x265_param*)> parameters_;
    std::unique_ptr<x265_encoder, void (*)(x265_encoder*)> encoder_;
    std::vector<std::uint8_t> cb_;
    std::vector<std::uint8_t> cr_;
    std::vector<std::uint8_t> sample_;
};

}  // namespace lumicrate::media
