// OwnEncoder: finds the encoder of ours that pictures in a file come from.
#pragma once

#include "Linux/Media/Encoding/VideoEncoder.h"

#include <memory>

extern "C" {
#include <libavcodec/codec_par.h>
}

namespace lumicrate::media {

/// An encoder whose pictures go with the file's parameter sets, or nothing where none of ours does. Throws
/// PlatformError.
std::unique_ptr<VideoEncoder> ownEncoderFor(const AVCodecParameters& pictures);

}  // namespace lumicrate::media
