// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/MovieFile/MovieFile.h"
#include "Linux/Media/MovieFile/MovieRecovery.h"
#include "Support/Error.h"
#include "Tests/Linux/Media/SyntheticMovie.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/MovieBoxes.h"

#include <gmock/gmock.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <string>

namespace lumicrate::media {
namespace {

using stage::MovieBoxes;
using test::SyntheticMovie;
using test::TemporaryFolder;
using testing::IsEmpty;
using testing::SizeIs;

std::string contentOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class MovieRecoveryTests : public testing::Test {
 protected:
    /// As a crash leaves it.
    void leaveUnfinished(int frames) {
        MovieFile file(path_, AVFileType::quickTimeMovie, unfinished_);
        SyntheticMovie movie(file);
        file.begin();
        movie.writeUpTo(frames);
        // Makes the entry old.
        for (const auto& entry : std::filesystem::directory_iterator(folder_ / "unfinished"))
            std::filesystem::last_write_time(
                entry.path(), std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    }
    /// Returns the number of its pictures.
    std::size_t expectWhole() const {
        const MovieBoxes movie = stage::readMovieBoxes(path_);
        EXPECT_THAT(movie.faults, IsEmpty());
        EXPECT_TRUE(movie.indexInFront());
        return movie.tracks.at(0).samples.size();
    }
    std::vector<RecoveredMovie> recover() { return recoverMovies(unfinished_); }

    TemporaryFolder folder_;
    std::filesystem::path path_ = folder_ / "movie.mov";
    RecoveryList unfinished_{folder_ / "unfinished"};
};

TEST_F(MovieRecoveryTests, CompletesAMovieOnceAndChangesNoSample) {
    leaveUnfinished(200);
    const MovieBoxes before = stage::readMovieBoxes(path_);
    EXPECT_THAT(before.faults, IsEmpty());
    const std::vector<RecoveredMovie> recovered = recover();
    ASSERT_THAT(recovered, SizeIs(1));
    EXPECT_EQ(recovered[0].path, path_);
    EXPECT_FALSE(recovered[0].error);
    EXPECT_EQ(expectWhole(), 200U);
    EXPECT_THAT(differencesOf(before, stage::readMovieBoxes(path_)), IsEmpty());
    EXPECT_THAT(unfinished_.list(), IsEmpty());
    EXPECT_THAT(recover(), IsEmpty());
}

TEST_F(MovieRecoveryTests, CutsOffAnIncompleteFragmentAndRemovesAnInterruptedCopy) {
    leaveUnfinished(200);
    std::filesystem::resize_file(path_, std::filesystem::file_size(path_) - 10);
    const auto identifier = unfinished_.list().at(0).identifier;
    const std::filesystem::path copy = folder_ / (".finish-" + hexadecimal(identifier) + ".mov");
    std::ofstream(copy) << "half a copy";
    ASSERT_THAT(recover(), SizeIs(1));
    EXPECT_FALSE(std::filesystem::exists(copy));
    const std::size_t left = expectWhole();
    EXPECT_LT(left, 200U);
    EXPECT_GE(left, 200U - 16) << "one fragment at most";
}

TEST_F(MovieRecoveryTests, LeavesAMovieBeingWrittenAlone) {
    MovieFile file(path_, AVFileType::mpeg4, unfinished_);
    SyntheticMovie movie(file);
    file.begin();
    movie.writeUpTo(100);
    EXPECT_THAT(recover(), IsEmpty());
    movie.writeUpTo(200);
    file.finish();
    EXPECT_EQ(expectWhole(), 200U);
    EXPECT_THAT(unfinished_.list(), IsEmpty());
}

TEST_F(MovieRecoveryTests, DeletesAMovieWithoutSamples) {
    leaveUnfinished(200);
    const auto firstFragment = contentOf(path_).find("moof") - 4;
    std::filesystem::resize_file(path_, firstFragment + 100);
    EXPECT_THAT(recover(), IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(path_));
    EXPECT_THAT(unfinished_.list(), IsEmpty());
}

TEST_F(MovieRecoveryTests, ReportsATooDamagedMovieAndLeavesItAsItIs) {
    leaveUnfinished(14);
    std::string content = contentOf(path_);
    content.replace(content.find("traf"), 4, "????");
    std::ofstream(path_, std::ios::binary) << content;
    const std::vector<RecoveredMovie> recovered = recover();
    ASSERT_THAT(recovered, SizeIs(1));
    EXPECT_EQ(localizedDescription(recovered[0].error), "It is too damaged.");
    EXPECT_EQ(contentOf(path_), content);
    EXPECT_THAT(recover(), IsEmpty()) << "reported once";
}

TEST_F(MovieRecoveryTests, NeverTouchesAnotherFile) {
    leaveUnfinished(100);
    const std::string other = contentOf(path_);
    std::filesystem::remove(path_);
    leaveUnfinished(100);
    const std::string half = contentOf(path_).substr(0, 50);
    for (const std::string& content : {other, half, std::string("a diary"), std::string()}) {
        std::filesystem::remove_all(folder_ / "unfinished");
        std::filesystem::remove(path_);
        leaveUnfinished(100);
        std::ofstream(path_, std::ios::binary) << content;
        EXPECT_THAT(recover(), IsEmpty());
        EXPECT_EQ(contentOf(path_), content);
        EXPECT_THAT(unfinished_.list(), IsEmpty());
    }
}

TEST_F(MovieRecoveryTests, DropsTheEntryOfADeletedMovieUnlessItIsRecent) {
    leaveUnfinished(100);
    std::filesystem::remove(path_);
    std::filesystem::create_directory(path_);
    EXPECT_THAT(recover(), IsEmpty());
    EXPECT_THAT(unfinished_.list(), IsEmpty());

    unfinished_.add({1, 2, 3}, folder_ / "coming.mov");
    EXPECT_THAT(recover(), IsEmpty());
    EXPECT_THAT(unfinished_.list(), SizeIs(1));
}

}  // namespace
}  // namespace lumicrate::media
