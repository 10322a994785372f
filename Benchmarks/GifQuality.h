// GifQuality: how near a GIF comes to the movie that it was made of.
#pragma once

#include <filesystem>
#include <string>

namespace lumicrate::bench {

struct GifQuality {
    int frames = 0;
    double noise = 0;       // mean peak signal-to-noise ratio of red, green and blue, in dB
    double similarity = 0;  // mean structural similarity of green
    double seenNoise = 0;   // as `noise`, of what an eye sees from afar: dots mixed over 4 by 4 pixels
    double seenSimilarity = 0;
};

// Compares each frame with the movie's picture, scaled by FFmpeg with the filter `scaling`, which also
// chooses the pictures. `folder` takes the pictures meanwhile. Throws std::runtime_error when there are not
// as many frames as pictures.
GifQuality judgeGif(const std::filesystem::path& gif, const std::filesystem::path& movie,
                    const std::string& scaling, const std::filesystem::path& folder);

}  // namespace lumicrate::bench
