// SPDX-License-Identifier: GPL-3.0-or-later
// Assignment: what every recorder is told to record, and one recording of one recorder.
#pragma once

#include "Tests/Stage/Scene/Image.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace lumicrate::bench {

enum class Source { Screen, Area, Window };

struct Setting {
    Source source = Source::Screen;
    stage::Area area;                // of Source::Area, pixels of the screen
    std::string quality = "native";  // or "p1080", "p720": at most that many lines
    int framesPerSecond = 30;
    double seconds = 10;
};

struct PixelSize {
    int width = 0;
    int height = 0;
};

struct Assignment {
    Setting setting;
    std::string display;       // ":N", or "wayland-N"
    stage::Area frame;         // what is recorded, pixels of the screen
    std::uint32_t window = 0;  // of Source::Window
    std::filesystem::path file;

    // The size of the movie.
    PixelSize pictureSize() const;
    // Of the movie: 1 when nothing is scaled.
    double scale() const { return static_cast<double>(pictureSize().height) / frame.height; }
    bool isScaled() const { return pictureSize().height != frame.height; }
    // The ceiling of the encoding quality "high", which all recorders get; bits a second.
    std::int64_t bitRate() const;
};

inline bool isWayland(const std::string& display) {
    return !display.starts_with(":");
}

// The maximum number of lines; nothing for an unknown name.
std::optional<int> linesOfQuality(const std::string& quality);

}  // namespace lumicrate::bench
