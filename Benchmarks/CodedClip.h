// SPDX-License-Identifier: GPL-3.0-or-later
// CodedClip: keeps encoded samples, to decode them and compare them with their pictures.
#pragma once

#include "Linux/Media/Encoding/VideoEncoder.h"
#include "Platform/CMSampleBuffer.h"

extern "C" {
#include <libavcodec/codec_id.h>
}

#include <cstdint>
#include <vector>

namespace lumicrate::bench {

class CodedClip {
 public:
    // `configuration` is that of the encoder.
    CodedClip(AVCodecID codec, std::vector<std::uint8_t> configuration);

    // The picture must outlive this object.
    void append(const CVPixelBuffer& picture, const media::EncodedPicture& coded);
    // Mean structural similarity of the luma. Throws std::runtime_error when a sample does not decode to a
    // picture.
    double similarity() const;

 private:
    struct Sample {
        const CVPixelBuffer* picture;
        std::vector<std::uint8_t> data;
    };

    AVCodecID codec_;
    std::vector<std::uint8_t> configuration_;
    std::vector<Sample> samples_;
};

}  // namespace lumicrate::bench
