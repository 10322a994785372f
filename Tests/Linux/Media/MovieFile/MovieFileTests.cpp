// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/MovieFile/MovieFile.h"
#include "Support/Error.h"
#include "Tests/Linux/Media/SyntheticMovie.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/MovieBoxes.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

namespace lumicrate::media {
namespace {

using namespace test;
using stage::MovieBoxes;
using testing::IsEmpty;

/// A movie file in a folder of its own.
class MovieFileTests : public testing::Test {
 protected:
    explicit MovieFileTests(const std::filesystem::path& parent = std::filesystem::temp_directory_path())
        : folder_(parent) {
        std::filesystem::create_directory(path_.parent_path());
    }

    /// Begins a file with that many pictures.
    void begin(int frames) {
        samples.reset();
        file.reset();
        file = std::make_unique<MovieFile>(path_, AVFileType::mpeg4, unfinished_);
        file->setOnFailure([this](const std::exception_ptr& error) {
            failure_ = localizedDescription(error);
            ++failures_;
        });
        samples.emplace(*file);
        file->begin();
        writeUpTo(frames);
    }
    void writeUpTo(int frames) {
        samples->writeUpTo(frames);
        awaitDisk();
    }
    void awaitDisk() const {
        while (file->backlog() > 0)
            std::this_thread::yield();
    }
    void awaitFailure() {
        for (int frames = 90; failures_ == 0; frames += 30)
            writeUpTo(frames);
    }
    /// The file as it is, which must be valid, finished or not.
    MovieBoxes movie() const {
        MovieBoxes boxes = stage::readMovieBoxes(path_);
        EXPECT_THAT(boxes.faults, IsEmpty());
        return boxes;
    }

    std::size_t pictureCount() const { return movie().tracks.at(0).samples.size(); }

    TemporaryFolder folder_;
    std::filesystem::path path_ = folder_ / "recordings" / "movie.mp4";
    RecoveryList unfinished_{folder_ / "unfinished"};
    std::string failure_;
    std::atomic<int> failures_ = 0;
    std::unique_ptr<MovieFile> file;
    std::optional<SyntheticMovie> samples;
};

/// On a file system that can insert space before the media (usually), and on one that cannot.
class MovieFileIndexTests : public MovieFileTests,
                            public testing::WithParamInterface<std::pair<const char*, int>> {
 protected:
    MovieFileIndexTests() : MovieFileTests(GetParam().first) {}
};

void expectWhole(const MovieBoxes& movie, int frames, int sounds) {
    EXPECT_TRUE(movie.indexInFront());
    EXPECT_FALSE(movie.isFragmented);
    ASSERT_EQ(movie.tracks.size(), 2U);
    const auto& pictures = movie.tracks[0].samples;
    ASSERT_EQ(pictures.size(), static_cast<std::size_t>(frames));
    for (int i = 0; i < frames; ++i) {
        const auto& picture = pictures[static_cast<std::size_t>(i)];
        ASSERT_EQ(picture.mediaTime, std::int64_t{i} * SyntheticMovie::frameTicks) << i;
        ASSERT_EQ(picture.size, SyntheticMovie::pictureSize(i)) << i;
        ASSERT_EQ(picture.isSync, SyntheticMovie::isKey(i)) << i;
    }
    EXPECT_EQ(pictures.back().duration, SyntheticMovie::lastTicks);
    const auto& sound = movie.tracks[1].samples;
    ASSERT_EQ(sound.size(), static_cast<std::size_t>(sounds));
    EXPECT_NEAR(sound.front().time, -1024.0 / 48000, 1e-6);
    EXPECT_NEAR(sound.back().time, (sounds - 2) * 1024.0 / 48000, 1e-6);
}

TEST_P(MovieFileIndexTests, AnIndexOfAnyLengthGoesInFront) {
    for (const int frames : {2, 15, GetParam().second}) {
        begin(frames);
        file->extendTo(frames / 30.0 + 10);  // the last picture lasts as long as its sample says
        file->finish();
        expectWhole(movie(), frames, samples->soundCount());
        EXPECT_THAT(unfinished_.list(), IsEmpty());
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(path_.parent_path()), {}), 1);
        std::filesystem::remove(path_);
    }
}

INSTANTIATE_TEST_SUITE_P(FileSystems, MovieFileIndexTests,
                         testing::Values(std::pair("/tmp", 12'000), std::pair("/dev/shm", 120'000)));

TEST_F(MovieFileTests, TheFileCanBePlayedAtAnyTime) {
    begin(95);
    EXPECT_GE(pictureCount(), 95U - 16) << "half a second behind at most";

    // From here on the screen is still, but the movie grows longer.
    for (const double second : {3.6, 3.75, 3.9}) {
        file->extendTo(second);
        awaitDisk();
        const auto pictures = movie().tracks.at(0);
        EXPECT_EQ(pictures.samples.size(), 95U);
        EXPECT_NEAR(pictures.presentedDuration, second, 1e-4);
    }
    // A late picture sets the actual duration of the previous one.
    writeUpTo(120);
    EXPECT_EQ(movie().tracks.at(0).samples.at(94).duration, SyntheticMovie::frameTicks);
    EXPECT_THAT(unfinished_.list(), testing::SizeIs(1));
    file->finish();
    expectWhole(movie(), 120, samples->soundCount());
}

TEST_F(MovieFileTests, IsRestoredWhenDeletedWithItsFolder) {
    begin(60);
    std::filesystem::remove_all(path_.parent_path());
    awaitFailure();
    EXPECT_EQ(failure_, "The file of the recording was deleted or moved.");
    file->finish();
    EXPECT_EQ(failures_, 1);
    EXPECT_GE(pictureCount(), 60U);
    EXPECT_TRUE(movie().indexInFront());
    EXPECT_THAT(unfinished_.list(), IsEmpty());
}

TEST_F(MovieFileTests, IsCompletedWhereItWasMoved) {
    const std::filesystem::path elsewhere = folder_ / "elsewhere.mp4";
    begin(60);
    std::filesystem::rename(path_, elsewhere);
    awaitFailure();
    try {
        file->finish();
        FAIL() << "the caller must be told the new place";
    } catch (const PlatformError& error) {
        EXPECT_STREQ(error.what(), "It was moved while it was being made, and is complete where it is now.");
    }
    EXPECT_THAT(stage::faultsOf(elsewhere), IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(path_));
}

/// The list of recordings cannot be written, nor can the folder any more.
TEST_F(MovieFileTests, RecordsWithoutRecoveryAndInAFolderThatBecomesReadOnly) {
    writeText(folder_ / "unfinished", "a file where the folder should be");
    begin(0);
    std::filesystem::permissions(path_.parent_path(),
                                 std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    writeUpTo(60);
    file->finish();
    std::filesystem::permissions(path_.parent_path(), std::filesystem::perms::owner_all);
    EXPECT_EQ(pictureCount(), 60U);
}

}  // namespace
}  // namespace lumicrate::media
