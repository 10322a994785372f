// SPDX-License-Identifier: GPL-3.0-or-later
// Loudness: how loud a recording is along its length, for drawing a waveform.
#pragma once

#include "Support/LongWork.h"

#include <cstddef>
#include <filesystem>
#include <vector>

namespace lumicrate::media {

/// Implements AVAssets::loudness. Decodes the whole sound; any thread. Throws PlatformError and
/// CancelledError.
std::vector<float> loudnessOf(const std::filesystem::path& url, std::size_t parts, const LongWork& work);

}  // namespace lumicrate::media
