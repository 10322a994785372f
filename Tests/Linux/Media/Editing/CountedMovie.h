// CountedMovie: a recording whose every picture and every sample of sound tells its place.
#pragma once

#include "Platform/AVAssetWriter.h"
#include "Tests/Linux/Media/TestPicture.h"
#include "Tests/Stage/Picture.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::test {

struct CountedPicture {
    int number = 0;
    std::int64_t time = 0;  ///< ticks of 1 ⁄ 90000 s
};

struct CountedRecipe {
    AVVideoCodecType codec = AVVideoCodecType::h264;
    AVFileType type = AVFileType::mpeg4;
    int width = 160;
    int height = 96;
    int bitRate = 1'000'000;
    int fps = 30;
    double seconds = 20;
    bool pictures = true;
    std::vector<int> channels = {2};  ///< of each sound track
    double soundBegins = 0;           ///< seconds
};

/// Pictures come in bursts at the full rate, at odd times, and after stretches of seconds in which nothing
/// moves. Sound is a rising tone, of which no two places are alike.
struct CountedMovie {
    std::filesystem::path path;
    std::vector<CountedPicture> pictures;

    /// Writes it at `path`.
    static CountedMovie make(const std::filesystem::path& path, const CountedRecipe& recipe);
};

/// A picture that shows `number`, below 1024.
TestPicture drawNumber(int number, int width, int height);
/// What it shows; nothing when that cannot be told for sure.
std::optional<int> readNumber(const stage::Picture& picture);

}  // namespace lumicrate::test
