// SPDX-License-Identifier: GPL-3.0-or-later
// GifQuality: the similarity of a GIF to the movie that it was made of.
#pragma once

#include <filesystem>
#include <string>

namespace lumicrate::bench {

struct GifQuality {
    int frames = 0;
    double noise = 0;       // mean peak signal-to-noise ratio of red, green and blue, in dB
    double similarity = 0;  // mean structural similarity of green
    double seenNoise = 0;   // as `noise`, after averaging 4 × 4 pixels, as the eye does from a distance
    double seenSimilarity = 0;
};

// Compares each frame with the movie's picture, which FFmpeg selects and scales with the filter `scaling`.
// `folder` is for temporary files. Throws std::runtime_error when the numbers of frames and pictures differ.
GifQuality judgeGif(const std::filesystem::path& gif, const std::filesystem::path& movie,
                    const std::string& scaling, const std::filesystem::path& folder);

}  // namespace lumicrate::bench
