// SPDX-License-Identifier: GPL-3.0-or-later
// CountedMovie: a recording in which every picture and every sample of sound identifies its place; and the
// checks that a movie presents exactly a part of another one.
#pragma once

#include "Platform/AVAssetWriter.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/MovieProbe.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <vector>

namespace lumicrate::test {

constexpr int clock = 90000;

/// The nearest tick of 1 ⁄ 90000 s.
std::int64_t ticks(double seconds);

struct CountedPicture {
    int number = 0;
    std::int64_t time = 0;  ///< ticks
};

struct CountedRecipe {
    AVVideoCodecType codec = AVVideoCodecType::h264;
    AVFileType type = AVFileType::mpeg4;
    int bitRate = 1'000'000;
    double seconds = 20;
    bool hasPictures = true;
    std::vector<int> channels = {2};  ///< of each sound track
    double soundBegins = 0;           ///< seconds
};

/// Pictures come in bursts of 30 a second, at odd times, and after seconds without any. The sound is a rising
/// tone, of which no two places are alike.
struct CountedMovie {
    std::filesystem::path path;
    std::vector<CountedPicture> pictures;

    double secondsAt(std::size_t picture) const {
        return static_cast<double>(pictures.at(picture).time) / clock;
    }
};
CountedMovie makeCountedMovie(const std::filesystem::path& path, const CountedRecipe& recipe = {});

/// The part of `all` from `from` to `to`, in seconds, as it is presented from time zero.
std::vector<CountedPicture> part(const std::vector<CountedPicture>& all, double from, double to);

/// Everything that a file presents.
struct Presented {
    explicit Presented(const std::filesystem::path& path);

    stage::MovieProbe probe;
    std::vector<CountedPicture> pictures;
    std::vector<stage::Sound> sounds;
};

/// Times may differ by `slack` ticks, for movies with another clock.
void expectSamePictures(const std::vector<CountedPicture>& expected, const std::vector<CountedPicture>& found,
                        std::int64_t slack = 0);
/// `cut` presents what `original` presents from `from` to `to`, in pictures, samples and durations, and
/// nothing else.
void expectPart(const Presented& original, const std::filesystem::path& cut, double from, double to,
                std::int64_t slack = 0);

}  // namespace lumicrate::test
