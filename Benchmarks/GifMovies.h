// SPDX-License-Identifier: GPL-3.0-or-later
// GifMovies: recordings for the GIF benchmark.
#pragma once

#include <filesystem>
#include <string>

namespace lumicrate::bench {

// Writes a recording of 1080p at 30 pictures a second with the recorder's own writer, into a new file.
// `content` is one of Clip's, or "camera": a moving landscape with the noise of a sensor.
void makeGifMovie(const std::string& content, int seconds, const std::filesystem::path& file);

}  // namespace lumicrate::bench
