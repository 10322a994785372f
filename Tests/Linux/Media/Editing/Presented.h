// What a movie presents, and whether it is the part of another that it should be.
#pragma once

#include "Linux/Media/Editing/Assets.h"
#include "Tests/Linux/Media/Editing/CountedMovie.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/MovieProbe.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace lumicrate::test {

constexpr int clock = 90000;

bool isThorough();
/// The nearest tick of 1 ⁄ 90000 s.
std::int64_t ticks(double seconds);

/// What a player shows, by number and time.
std::vector<CountedPicture> shown(const std::filesystem::path& path);

/// The part of `all` from `from` to `to`, on a line that begins at `from`.
std::vector<CountedPicture> part(const std::vector<CountedPicture>& all, std::int64_t from, std::int64_t to);

/// A file and all that it presents.
struct Presented {
    explicit Presented(const std::filesystem::path& path);

    stage::MovieProbe probe;
    std::vector<CountedPicture> pictures;
    std::vector<stage::Sound> sounds;
};

/// Times may differ by `slack` ticks, where a movie has another clock than these.
void expectSamePictures(const std::vector<CountedPicture>& expected, const std::vector<CountedPicture>& found,
                        std::int64_t slack = 0);
/// The same samples as the original has from `from` on, to the sample. The last packet is decoded whole.
void expectSameSound(const stage::Sound& original, const stage::Sound& cut, double from, double to);
/// Of the file and of every track.
void expectDurations(const stage::MovieProbe& probe, double duration);
/// All that `cut` presents, and no more, is what `original` presents from `from` to `to`.
void expectPart(const Presented& original, const std::filesystem::path& cut, double from, double to,
                std::int64_t slack = 0);

class TrimFixture : public testing::Test {
 protected:
    static CMTimeRange range(double from, double to) { return {{ticks(from), clock}, {ticks(to), clock}}; }
    /// A new file with that range.
    std::filesystem::path cut(const std::filesystem::path& source, double from, double to,
                              AVAssetExportPreset preset, AVFileType type = AVFileType::mpeg4);

    TemporaryFolder folder;

 private:
    int count_ = 0;
};

}  // namespace lumicrate::test
