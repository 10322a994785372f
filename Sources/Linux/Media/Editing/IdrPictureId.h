// IdrPictureId: what tells key pictures that follow each other apart in H.264, and what makes a key picture
// one that nothing refers across.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

extern "C" {
#include <libavcodec/codec_par.h>
#include <libavcodec/packet.h>
}

namespace lumicrate::media {

/// Whether nothing from this picture on refers to what was before it. The packet holds units with four-byte
/// lengths, as our encoders give them.
bool isInstantRefresh(const AVCodecParameters& pictures, const AVPacket& packet);

/// The idr_pic_id of such a picture in H.264, of the kind that our encoder makes; nothing in HEVC, which has
/// none.
std::optional<int> idrPictureId(const AVCodecParameters& pictures, std::span<const std::uint8_t> sample);

}  // namespace lumicrate::media
