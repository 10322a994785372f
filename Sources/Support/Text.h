// SPDX-License-Identifier: GPL-3.0-or-later
// User-visible texts and number formats.
#pragma once

#include "Support/Geometry.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace lumicrate {

/// The text in the user's language. Every user-visible text passes through here. No catalogue
/// is installed yet, so the text is returned unchanged.
std::string localized(std::string_view text);

/// Elapsed seconds, truncated: "01:05" below an hour, "1:02:05" above. `seconds` must be finite.
std::string formatElapsed(double seconds);

/// Elapsed seconds, truncated, always with hours: "00:01:05", "100:00:00". `seconds` must be finite.
std::string formatClock(double seconds);

/// A size in points as pixels: "1920 × 1080". `scale` is the number of pixels per point.
std::string formatPixels(const Size& points, double scale);

/// A number of bytes in a suitable unit: "812 kB", "3.4 MB", "1.2 GB".
std::string formatByteCount(std::uintmax_t bytes);

}  // namespace lumicrate
