// Assignment: what is asked of every recorder alike, and what of one for one recording.
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
    std::string quality = "native";  // or "p1080", "p720": that many lines at most
    int framesPerSecond = 30;
    double seconds = 10;
};

struct PixelSize {
    int width = 0;
    int height = 0;
};

struct Assignment {
    Setting setting;
    std::string display;       // ":N"
    stage::Area frame;         // what is recorded, pixels of the screen
    std::uint32_t window = 0;  // of Source::Window
    std::filesystem::path file;

    // How large the movie becomes.
    PixelSize pictureSize() const;
    // Of a movie of its size: 1 when nothing is scaled.
    double scale() const { return static_cast<double>(pictureSize().height) / frame.height; }
    bool isScaled() const { return pictureSize().height != frame.height; }
    // The rate that the encoding quality "high" allows, so that all stand under the same ceiling; bits a
    // second.
    std::int64_t bitRate() const;
};

// Lines at most, or none for a name that is not one of them.
std::optional<int> linesOfQuality(const std::string& quality);

}  // namespace lumicrate::bench
