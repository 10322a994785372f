// SPDX-License-Identifier: GPL-3.0-or-later
// Recognizes pictures that the recorder itself encoded, and key pictures in them.
#pragma once

#include "Linux/Media/Encoding/VideoEncoder.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

extern "C" {
#include <libavcodec/codec_par.h>
#include <libavcodec/packet.h>
}

namespace lumicrate::media {

/// An encoder with the settings that a file's pictures were encoded with, found by comparing parameter sets;
/// its pictures can be decoded with those sets. Null when the recorder did not encode them. Throws
/// PlatformError.
std::unique_ptr<VideoEncoder> matchingEncoder(const AVCodecParameters& pictures);

/// Whether the picture is an IDR picture: no later picture refers to one before it. The packet has NAL units
/// with four-byte lengths.
bool isInstantRefresh(const AVCodecParameters& pictures, const AVPacket& packet);

/// The idr_pic_id of an IDR picture of the recorder, which must differ between consecutive IDR pictures of
/// H.264. Nothing for HEVC, which has none.
std::optional<int> idrPictureId(const AVCodecParameters& pictures, std::span<const std::uint8_t> sample);

}  // namespace lumicrate::media
