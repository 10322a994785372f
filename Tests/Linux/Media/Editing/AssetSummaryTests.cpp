// SPDX-License-Identifier: GPL-3.0-or-later
// Summaries of movies that another program writes in its various ways, and of other files. MovieSummaryTests
// has our own.
#include "Linux/Media/Editing/Assets.h"
#include "Support/Error.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/ChildProcess.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>

namespace lumicrate::media {
namespace {

using Arguments = std::vector<std::string>;
using Path = std::filesystem::path;

/// Pictures of 160 × 90 for 2.5 s with B-frames, sound for 2.2 s.
class AssetSummaryTests : public testing::Test {
 protected:
    AssetSummaryTests() {
        ffmpeg({"-f", "lavfi", "-i", "testsrc=s=160x90:r=20:d=2.5", "-f", "lavfi", "-i", "sine=d=2.2", "-c:v",
                "libx264", "-bf", "2", "-preset", "ultrafast", "-x264-params", "bframes=2", "-c:a", "aac"},
               "source.mp4");
    }
    Path ffmpeg(Arguments arguments, const std::string& name) {
        arguments.insert(arguments.begin(), {"ffmpeg", "-v", "error", "-y"});
        arguments.push_back(folder / name);
        stage::runProgram(arguments);
        return folder / name;
    }
    Path copy(const Arguments& how, const std::string& name) {
        Arguments arguments{"-i", folder / "source.mp4", "-c", "copy"};
        arguments.insert(arguments.end(), how.begin(), how.end());
        return ffmpeg(arguments, name);
    }
    Path write(const std::string& name, const std::string& content) {
        std::ofstream(folder / name, std::ios::binary) << content;
        return folder / name;
    }
    static std::string content(const Path& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    static std::string sentence(const Path& url) {
        try {
            Assets().summary(url);
        } catch (const PlatformError& error) {
            return error.what();
        }
        return "a movie";
    }

    test::TemporaryFolder folder;
};

TEST_F(AssetSummaryTests, OfOtherProgramsFiles) {
    const AVAssetSummary whole{2.5, Size{160, 90}, "avc1", 1};
    const std::pair<Path, AVAssetSummary> cases[] = {
        {folder / "source.mp4", whole},
        {copy({"-movflags", "faststart"}, "front.mov"), whole},
        {copy({"-movflags", "frag_keyframe+empty_moov+delay_moov"}, "a.mp4"), whole},
        {copy({"-movflags", "frag_keyframe"}, "b.mp4"), whole},
        {copy({"-movflags", "dash+global_sidx", "-frag_duration", "500000"}, "c.mp4"), whole},
        {copy({"-metadata:s:v", "rotate=90"}, "turned.mp4"), {2.5, Size{90, 160}, "avc1", 1}},
        {copy({"-aspect", "4:3"}, "narrow.mp4"), {2.5, Size{120, 90}, "avc1", 1}},
        {copy({"-map", "0:a", "-map", "0:a"}, "sounds.m4a"), {2.2, std::nullopt, "", 2}},
        {copy({"-an"}, "silent.m4v"), {2.5, Size{160, 90}, "avc1", 0}},
        {copy({"-f", "matroska"}, "renamed.mp4"), whole},
        {ffmpeg({"-i", folder / "source.mp4", "-f", "avi"}, "renamed.mov"), {2.5, Size{160, 90}, "mpeg4", 1}},
    };
    for (const auto& [file, expected] : cases) {
        AVAssetSummary movie = Assets().summary(file);
        // Without edit lists, the reordering of B-frames may shift the end by two pictures.
        EXPECT_NEAR(movie.duration, expected.duration, 0.101) << file;
        movie.duration = expected.duration;
        EXPECT_EQ(movie, expected) << file;
    }
}

TEST_F(AssetSummaryTests, OfAMovieWithMediaOver4GiB) {
    const std::string source = content(folder / "source.mp4");
    const std::string index = source.substr(source.find("moov") - 4);
    const std::string first = source.substr(0, static_cast<unsigned char>(source[3]));
    const Path large = write("large.mp4", first + std::string("\0\0\0\1mdat\0\0\0\2\0\0\0\0", 16));
    const std::uint64_t mediaEnd = first.size() + (2ULL << 32);
    std::filesystem::resize_file(large, mediaEnd);
    std::ofstream(large, std::ios::binary | std::ios::app) << index;
    EXPECT_EQ(Assets().summary(large), summaryOfMovie(folder / "source.mp4"));
}

TEST_F(AssetSummaryTests, OtherFilesAreRefusedWithASentence) {
    std::filesystem::create_directory(folder / "folder.mp4");
    ASSERT_EQ(mkfifo((folder / "pipe.mp4").c_str(), 0600), 0);
    const std::string whole = content(folder / "source.mp4");
    const std::pair<Path, std::string> cases[] = {
        {write("empty.mp4", ""), "it is empty."},
        {write("text.mp4", "hello"), "it isn't a movie."},
        {write("list.mp4", "ffconcat version 1.0\nfile source.mp4\n"), "it isn't a movie."},
        {write("cut.mp4", whole.substr(0, whole.size() / 2)), "it is cut off."},
        {folder / "gone.mp4", "No such file or directory."},
        {folder / "folder.mp4", "Is a directory."},
        {folder / "pipe.mp4", "it isn't a movie."},
    };
    for (const auto& [file, why] : cases)
        EXPECT_EQ(sentence(file), "“" + file.filename().string() + "” couldn't be read: " + why);
}

}  // namespace
}  // namespace lumicrate::media
