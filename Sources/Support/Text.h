// Texts for people.
#pragma once

#include "Support/Geometry.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace lumicrate {

/// The text in the user's language. Every text that a person reads passes through here; without a catalogue
/// it comes back as it is.
std::string localized(std::string_view text);

/// Elapsed seconds, truncated: "01:05" below an hour, "1:02:05" from there on. `seconds` must be finite.
std::string formatElapsed(double seconds);

/// A size in points as pixels: "1920 × 1080". `scale` is the number of pixels in a point.
std::string formatPixels(const Size& points, double scale);

/// Bytes in the unit that fits: "812 kB", "3.4 MB", "1.2 GB".
std::string formatByteCount(std::uintmax_t bytes);

}  // namespace lumicrate
