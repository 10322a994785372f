// GifMovies: recordings that GIFs are made of.
#pragma once

#include <filesystem>
#include <string>

namespace lumicrate::bench {

// Writes a recording of 1080p at 30 pictures a second with the product's own writer, into a file that does
// not exist. `content` is one of Clip's, or "camera": a moving landscape with the noise of a sensor.
void makeGifMovie(const std::string& content, int seconds, const std::filesystem::path& file);

}  // namespace lumicrate::bench
