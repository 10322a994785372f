// SPDX-License-Identifier: GPL-3.0-or-later
// FittedGIF: an animation of a movie that is just below a given size.
#pragma once

#include "Lumicrate/Preview/GIFExporter.h"
#include "Platform/NSFileManager.h"

#include <cstdint>
#include <filesystem>

namespace lumicrate {

/// The best that exportFittedGIF() chooses unless something smaller is asked for.
inline constexpr GIFSize maxFittedSize{1280, 20};

/// The settings at a position on the way from the smallest animation (0) to `max` (1), for pictures that are
/// `sourceWidth` pixels wide in the movie. From `max` down, first colours are given up, then frames, then
/// width. Never below 320 pixels, 5 frames per second and 32 colours, unless `max` is smaller. The quality of
/// `max` is not used.
GIFSize fittedSizeAt(double position, const GIFSize& max, double sourceWidth);

/// As exportGIF(), but the file has at most `maxBytes`: width, frame rate and quality are chosen for that, at
/// most those of `max`. It makes several animations, measures them and keeps the best one that fits.
/// `destination` is created when it is complete. Throws LocalizedError also when even the smallest animation
/// does not fit; the sentence says how much of the movie would.
void exportFittedGIF(const AVAssets& assets, const ImageIO& images, NSFileManager& files,
                     const std::filesystem::path& url, const std::filesystem::path& destination,
                     const GIFSize& max, std::uint64_t maxBytes, const LongWork& work);

}  // namespace lumicrate
