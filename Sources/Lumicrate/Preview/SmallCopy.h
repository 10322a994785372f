// SPDX-License-Identifier: GPL-3.0-or-later
// SmallCopy: a copy of a recording that is just below a given size, as one MP4 file that every program plays.
#pragma once

#include "Platform/AVAsset.h"
#include "Platform/AVCompactExport.h"
#include "Platform/NSFileManager.h"
#include "Support/LongWork.h"

#include <cstdint>
#include <filesystem>

namespace lumicrate {

/// First the movie is encoded in good quality. If that is too large, its size says how much must be given up:
/// bits first, then, where text would no longer be legible, pictures per second and pixels. The second
/// attempt gets an average bit rate, which is corrected at most once. Any thread.
class SmallCopy {
 public:
    /// All must outlive this object.
    SmallCopy(const AVAssets& assets, const AVCompactExport& exporter, NSFileManager& files)
        : assets_(assets), exporter_(exporter), files_(files) {}

    /// Saves the copy as `destination`, which must not exist, or, if that is empty, as "NAME_small.mp4" or
    /// the next free name beside `url`; returns the path. Sound alone gets the extension "m4a". Blocks.
    /// Throws LocalizedError, also when the recording is too long for the size, and CancelledError; then no
    /// file is left.
    std::filesystem::path save(const std::filesystem::path& url, const std::filesystem::path& destination,
                               std::uint64_t maxBytes, const LongWork& work) const;

 private:
    void encode(const std::filesystem::path& url, const std::filesystem::path& to, std::uint64_t maxBytes,
                const LongWork& work) const;

    const AVAssets& assets_;
    const AVCompactExport& exporter_;
    NSFileManager& files_;
};

/// What is given up so that the pictures take `part` of the bytes that they take with `full` and good
/// quality. The bit rate is not set. Nothing when they would not be legible.
std::optional<CompactEncoding> reducedEncoding(const CompactEncoding& full, double part);

}  // namespace lumicrate
