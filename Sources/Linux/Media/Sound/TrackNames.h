// SPDX-License-Identifier: GPL-3.0-or-later
// TrackNames: how the sound tracks of recordings are named in their files.
#pragma once

#include <string_view>

/// Never translated: they tell what a track is, also after it was copied into another file.
namespace lumicrate::media::trackname {

inline constexpr const char* systemAudio = "System audio";
inline constexpr const char* microphone = "Microphone";
/// A microphone whose noise was reduced, and what it was made of.
inline constexpr const char* cleanMicrophone = "Microphone (Clean)";
inline constexpr const char* originalMicrophone = "Microphone (Original)";
/// Several tracks in one.
inline constexpr const char* mixed = "Audio";
/// The same, with a clean microphone.
inline constexpr const char* cleanMixed = "Audio (Clean)";

}  // namespace lumicrate::media::trackname
