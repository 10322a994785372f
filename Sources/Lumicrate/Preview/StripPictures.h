// SPDX-License-Identifier: GPL-3.0-or-later
// StripPictures: what the trimming strip shows behind its handles: pictures along a movie, or the loudness of
// a recording of sound.
#pragma once

#include "Platform/AVAsset.h"
#include "Support/DispatchQueue.h"
#include "Support/Executor.h"
#include "Support/Geometry.h"
#include "Support/Published.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <stop_token>
#include <vector>

namespace lumicrate {

/// Reads in the background, one picture after the other; stops when it is destroyed. Main thread.
class StripPictures {
 public:
    using Pictures = std::vector<std::shared_ptr<const CGImage>>;

    static constexpr std::size_t maxPictures = 16;
    static constexpr std::size_t levelCount = 240;
    /// Pixels; sharp at a scale factor of 2.
    static constexpr Size maxSize{240, 92};

    /// The references must outlive this object.
    StripPictures(Executor& executor, const AVAssets& assets, const ImageIO& images,
                  std::unique_ptr<DispatchQueue> queue);
    ~StripPictures();
    StripPictures(const StripPictures&) = delete;
    StripPictures& operator=(const StripPictures&) = delete;

    /// At equal distances; grows while they are read.
    Published<Pictures> pictures;
    Published<std::vector<float>> levels;

    /// Forgets everything before. A file that cannot be read leaves the strip empty.
    void read(const std::filesystem::path& url, const AVAssetSummary& summary);

 private:
    Executor& executor_;
    const AVAssets& assets_;
    const ImageIO& images_;
    std::stop_source stop_;
    // Destroyed first: its work uses everything above.
    std::unique_ptr<DispatchQueue> queue_;
};

}  // namespace lumicrate
