#include "Linux/Media/MovieFile.h"
#include "Support/Error.h"
#include "Tests/Linux/Media/SyntheticMovie.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/MovieProbe.h"

#include <gmock/gmock.h>

#include <atomic>
#include <fstream>
#include <thread>

namespace lumicrate::media {
namespace {

using stage::Packet;
using test::SyntheticMovie;
using test::TemporaryFolder;

constexpr double frameSeconds = 1.0 / 30;

/// A movie file in a folder of its own.
class MovieFileTests : public testing::Test {
 protected:
    explicit MovieFileTests(const std::filesystem::path& parent = std::filesystem::temp_directory_path())
        : folder_(parent) {
        std::filesystem::create_directory(path_.parent_path());
    }

    std::unique_ptr<MovieFile> makeFile() {
        auto file = std::make_unique<MovieFile>(path_, AVFileType::mpeg4, unfinished_);
        file->setOnFailure([this](const std::exception_ptr& error) {
            failure_ = localizedDescription(error);
            ++failures_;
        });
        return file;
    }
    void awaitDisk(const MovieFile& file) {
        while (file.backlog() > 0)
            std::this_thread::yield();
    }
    void awaitFailure(MovieFile& file, SyntheticMovie& movie) {
        for (int frames = 30; failures_ == 0; frames += 30) {
            movie.writeUpTo(frames);
            awaitDisk(file);
        }
    }
    std::vector<Packet> pictures() { return stage::MovieProbe(path_).packets(0); }

    TemporaryFolder folder_;
    std::filesystem::path path_ = folder_ / "recordings" / "movie.mp4";
    UnfinishedMovies unfinished_{folder_ / "unfinished"};
    std::string failure_;
    std::atomic<int> failures_ = 0;
};

/// By file system: one that can insert room before the media (mostly), and one that cannot.
class MovieFileIndexTests : public MovieFileTests,
                            public testing::WithParamInterface<std::pair<const char*, int>> {
 protected:
    MovieFileIndexTests() : MovieFileTests(GetParam().first) {}
};

void expectWhole(stage::MovieProbe& probe, int frames, int sounds) {
    EXPECT_TRUE(probe.indexInFront());
    const std::vector<Packet> pictures = probe.packets(0);
    ASSERT_EQ(pictures.size(), static_cast<std::size_t>(frames));
    for (int i = 0; i < frames; ++i) {
        const Packet& picture = pictures[static_cast<std::size_t>(i)];
        ASSERT_NEAR(picture.pts, i * frameSeconds, 1e-6) << i;
        ASSERT_EQ(static_cast<std::size_t>(picture.size), SyntheticMovie::pictureSize(i)) << i;
        ASSERT_EQ(picture.isKey, SyntheticMovie::isKey(i)) << i;
    }
    EXPECT_NEAR(pictures.back().duration, 0.001, 1e-6);
    const std::vector<Packet> sound = probe.packets(1);
    ASSERT_EQ(sound.size(), static_cast<std::size_t>(sounds));
    EXPECT_NEAR(sound.front().pts, -1024.0 / 48000, 1e-6);
    EXPECT_NEAR(sound.back().pts, (sounds - 2) * 1024.0 / 48000, 1e-6);
}

TEST_P(MovieFileIndexTests, TheIndexGoesInFrontHoweverLongItIs) {
    for (const int frames : {2, 15, GetParam().second}) {
        const auto file = makeFile();
        SyntheticMovie movie(*file);
        file->begin();
        movie.writeUpTo(frames);
        file->finish();
        stage::MovieProbe probe(path_);
        expectWhole(probe, frames, movie.soundCount());
        EXPECT_THAT(unfinished_.list(), testing::IsEmpty());
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(path_.parent_path()), {}), 1);
        std::filesystem::remove(path_);
    }
}

INSTANTIATE_TEST_SUITE_P(FileSystems, MovieFileIndexTests,
                         testing::Values(std::pair("/tmp", 12'000), std::pair("/dev/shm", 120'000)));

TEST_F(MovieFileTests, WhatIsWrittenCanBePlayedAtAnyTime) {
    const auto file = makeFile();
    SyntheticMovie movie(*file);
    file->begin();
    movie.writeUpTo(95);
    awaitDisk(*file);
    EXPECT_GE(pictures().size(), 95U - 16) << "half a second behind at most";

    // The screen stands still from here on; the file grows longer all the same.
    for (const double second : {3.6, 3.75, 3.9}) {
        file->reach(second);
        awaitDisk(*file);
        EXPECT_EQ(pictures().size(), 95U);
        EXPECT_NEAR(stage::MovieProbe(path_).videoTrack().duration, second, 1e-4);
    }
    // A picture that was under way shows how long the last one really was.
    movie.writeUpTo(120);
    awaitDisk(*file);
    EXPECT_LE(stage::MovieProbe(path_).videoTrack().duration, 4);
    EXPECT_THAT(unfinished_.list(), testing::SizeIs(1));
    file->finish();
    stage::MovieProbe probe(path_);
    expectWhole(probe, 120, movie.soundCount());
}

TEST_F(MovieFileTests, AStillEndLastsOnlyAsLongAsItWasTold) {
    const auto file = makeFile();
    SyntheticMovie movie(*file);
    file->begin();
    movie.writeUpTo(30);
    file->reach(40);
    file->finish();
    EXPECT_NEAR(pictures().back().duration, 0.001, 1e-6);
}

TEST_F(MovieFileTests, IsBroughtBackWhenItIsDeletedWithItsFolder) {
    const auto file = makeFile();
    SyntheticMovie movie(*file);
    file->begin();
    movie.writeUpTo(60);
    awaitDisk(*file);
    std::filesystem::remove_all(path_.parent_path());
    awaitFailure(*file, movie);
    EXPECT_EQ(failure_, "The file of the recording was deleted or moved.");
    file->finish();
    EXPECT_EQ(failures_, 1);
    EXPECT_GE(pictures().size(), 60U);
    EXPECT_TRUE(stage::MovieProbe(path_).indexInFront());
    EXPECT_THAT(unfinished_.list(), testing::IsEmpty());
}

TEST_F(MovieFileTests, IsCompletedWhereItWasMoved) {
    const std::filesystem::path elsewhere = folder_ / "elsewhere.mp4";
    const auto file = makeFile();
    SyntheticMovie movie(*file);
    file->begin();
    movie.writeUpTo(60);
    awaitDisk(*file);
    std::filesystem::rename(path_, elsewhere);
    awaitFailure(*file, movie);
    try {
        file->finish();
        FAIL() << "the caller must learn of the new place";
    } catch (const PlatformError& error) {
        EXPECT_STREQ(error.what(), "It was moved while it was being made, and is complete where it is now.");
    }
    EXPECT_TRUE(stage::MovieProbe(elsewhere).indexInFront());
    EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(MovieFileTests, AFolderThatCannotBeWrittenToIsNoObstacleToFinishing) {
    const auto file = makeFile();
    SyntheticMovie movie(*file);
    file->begin();
    std::filesystem::permissions(path_.parent_path(),
                                 std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    movie.writeUpTo(60);
    file->finish();
    std::filesystem::permissions(path_.parent_path(), std::filesystem::perms::owner_all);
    EXPECT_EQ(pictures().size(), 60U);
}

TEST_F(MovieFileTests, RecordsEvenWhereNobodyCanNoteThatItDoes) {
    std::ofstream(folder_ / "unfinished") << "a file where the folder should be";
    const auto file = makeFile();
    SyntheticMovie movie(*file);
    file->begin();
    movie.writeUpTo(60);
    file->finish();
    EXPECT_EQ(pictures().size(), 60U);
}

}  // namespace
}  // namespace lumicrate::media
