// SPDX-License-Identifier: GPL-3.0-or-later
// Copies of movies that are encoded for size: what can be sent.
#pragma once

#include "Support/Geometry.h"
#include "Support/LongWork.h"

#include <cstdint>
#include <filesystem>
#include <optional>

namespace lumicrate {

/// How a compact copy is encoded: H.264 with 8 bits, 4:2:0, and AAC.
struct CompactEncoding {
    Size maxSize{1920, 1920};  ///< pixels; pictures are scaled down to fit, never up
    double maxFps = 30;        ///< pictures that follow faster are left out
    /// The average over the movie, bit/s; without it the quality is constant and good.
    std::optional<int> videoBitRate;
    /// What good quality takes, bit/s, where that is known. With it, `videoBitRate` is met more exactly.
    std::optional<int> goodVideoBitRate;
    int soundBitRate = 96'000;
    int soundChannels = 2;  ///< 1 or 2; all tracks are mixed
};

struct CompactResult {
    std::uint64_t bytes = 0;         ///< of the file; 0 when it was given up
    std::uint64_t pictureBytes = 0;  ///< of its pictures
    double part = 1;                 ///< of the movie that was encoded; below 1 when it was given up
};

class AVCompactExport {
 public:
    virtual ~AVCompactExport() = default;

    /// Encodes the first video track, if any, and all sound into a new MPEG-4 file. Gives it up, and leaves
    /// no file, as soon as the pictures take more than `maxBytes`. Blocks; any thread. Requires that
    /// `destination` does not exist. Throws PlatformError and CancelledError, and then leaves no file.
    virtual CompactResult exportCompact(const std::filesystem::path& source,
                                        const std::filesystem::path& destination,
                                        const CompactEncoding& encoding, std::uint64_t maxBytes,
                                        const LongWork& work) const = 0;
};

}  // namespace lumicrate
