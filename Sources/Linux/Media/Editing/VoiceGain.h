// SPDX-License-Identifier: GPL-3.0-or-later
// VoiceGain: how much louder a voice must become to be as loud as listeners expect.
#pragma once

#include "Linux/Media/Editing/CleanVoice.h"
#include "Support/LongWork.h"

#include <optional>

namespace lumicrate::media {

/// The gain, in dB, with which VoiceLevel brings the clean voice to its target; none if it is silent or too
/// short. Decodes and cleans everything twice: the limiter of VoiceLevel takes some loudness away again, most
/// from a voice with high peaks, so several gains are tried. Throws PlatformError and CancelledError.
std::optional<double> gainOfVoice(const VoiceInput& voice, const LongWork& work);

}  // namespace lumicrate::media
