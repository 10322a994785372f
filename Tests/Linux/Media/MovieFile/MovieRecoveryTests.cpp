// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/MovieFile/MovieFile.h"
#include "Linux/Media/MovieFile/MovieRecovery.h"
#include "Support/Error.h"
#include "Tests/Linux/Media/SyntheticMovie.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/MovieBoxes.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <set>

namespace lumicrate::media {
namespace {

using namespace test;
using isobmff::MovieIdentifier;
using stage::MovieBoxes;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Movie = RecoveryList::Movie;

constexpr MovieIdentifier first{0x00, 0x1f, 0xa0, 0xff, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
constexpr MovieIdentifier second{1};

std::set<std::string> namesIn(const std::filesystem::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.insert(entry.path().filename().string());
    return names;
}

class RecoveryListTests : public testing::Test {
 protected:
    const TemporaryFolder parent;
    const std::filesystem::path folder = parent / "state/unfinished";
    const RecoveryList movies{folder};
    const std::filesystem::path firstEntry = folder / "001fa0ff0405060708090a0b0c0d0e0f";
};

TEST_F(RecoveryListTests, EveryPathComesBack) {
    EXPECT_THAT(movies.list(), IsEmpty()) << "and no folder is no error";
    const std::string paths[] = {"/a.mp4", "/Filme/Überblick – 1.mp4", "/line\nbreak\n", "/not\xff\xfeUTF-8",
                                 "/" + std::string(4000, 'x')};
    for (const std::string& path : paths) {
        movies.add(first, path);
        EXPECT_THAT(movies.list(), ElementsAre(Movie{first, path})) << "replacing the previous one";
    }
    movies.add(second, "/second.mov");
    EXPECT_THAT(RecoveryList(folder).list(),
                testing::UnorderedElementsAre(Movie{first, paths[4]}, Movie{second, "/second.mov"}));
    movies.remove(first);
    movies.remove(first);
    movies.add(second, "relative.mp4");
    EXPECT_THAT(movies.list(), ElementsAre(Movie{second, std::filesystem::current_path() / "relative.mp4"}));
    EXPECT_THAT(namesIn(folder), SizeIs(1)) << "no temporary file is left";
    EXPECT_EQ(std::filesystem::status(folder).permissions(), std::filesystem::perms::owner_all);
}

TEST_F(RecoveryListTests, AnIncompleteEntryIsNeverTakenForAnother) {
    movies.add(first, "/movies/a.mp4");
    const std::string whole = readText(firstEntry);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        writeText(firstEntry, whole.substr(0, size));
        EXPECT_THAT(movies.list(), IsEmpty()) << size;
        EXPECT_THAT(namesIn(folder), IsEmpty()) << size;
        // As a file system may leave it that wrote the length before the content.
        writeText(firstEntry, whole.substr(0, size) + std::string(whole.size() - size, '\0'));
        const bool isWhole = size + 1 == whole.size();  // for its last byte is a zero
        EXPECT_EQ(movies.list().empty(), !isWhole) << size;
    }
}

TEST_F(RecoveryListTests, InvalidEntriesAreDeletedAndOtherFilesStay) {
    movies.add(first, "/a.mp4");
    const std::string valid = readText(firstEntry);
    const auto elsewhere = writeText(parent / "elsewhere", valid);
    const auto name = [](char digit) { return std::string(32, digit); };

    writeText(folder / name('0'), "");
    writeText(folder / name('1'), "something else\n/a.mp4");
    writeText(folder / name('2'), valid + std::string(1 << 20, 'x'));
    std::filesystem::create_symlink(elsewhere, folder / name('3'));
    std::filesystem::create_symlink(folder / "nowhere", folder / name('4'));
    ASSERT_EQ(mkfifo((folder / name('5')).c_str(), 0600), 0);
    writeText(folder / name('6'), std::string(valid).replace(valid.find('/'), 1, "x"));
    writeText(folder / name('7'), valid);
    std::filesystem::resize_file(folder / name('7'), std::uintmax_t{1} << 40);

    std::set<std::string> left{name('A'), name('a') + "0", "notes.txt", ".hidden"};
    for (const std::string& foreign : left)
        writeText(folder / foreign, valid);
    std::filesystem::create_directory(folder / name('8'));
    writeText(folder / name('9'),
              std::string(valid).replace(valid.find('\n') - 1, 1, "2"));  // a later version's
    left.insert({name('8'), name('9'), firstEntry.filename().string()});

    EXPECT_THAT(movies.list(), ElementsAre(Movie{first, "/a.mp4"}));
    EXPECT_EQ(namesIn(folder), left);
    EXPECT_EQ(readText(elsewhere), valid);
}

TEST_F(RecoveryListTests, WhatCannotBeWrittenIsReported) {
    writeText(parent / "file", "");
    const std::pair<const char*, std::string> cases[] = {
        {"file/unfinished", "/a.mp4"}, {"file", "/a.mp4"}, {"long", "/" + std::string(5000, 'x')}};
    for (const auto& [name, path] : cases) {
        const RecoveryList list(parent / name);
        const auto add = [&list, path = path] { list.add(first, path); };
        EXPECT_THAT(add, testing::ThrowsMessage<PlatformError>(
                             testing::StartsWith("The list of unfinished recordings couldn't be written: ")))
            << name;
        EXPECT_THAT(list.list(), IsEmpty());
    }
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
    /// Nothing that a user should hear about, and nothing left in the list.
    void expectSettled() {
        EXPECT_THAT(recover(), IsEmpty());
        EXPECT_THAT(unfinished_.list(), IsEmpty());
    }

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
    expectSettled();
}

TEST_F(MovieRecoveryTests, CutsOffAnIncompleteFragmentAndRemovesAnInterruptedCopy) {
    leaveUnfinished(200);
    std::filesystem::resize_file(path_, std::filesystem::file_size(path_) - 10);
    const auto identifier = unfinished_.list().at(0).identifier;
    const auto copy = writeText(folder_ / (".finish-" + hexadecimal(identifier) + ".mov"), "half a copy");
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
}

TEST_F(MovieRecoveryTests, DeletesAMovieWithoutSamples) {
    leaveUnfinished(200);
    std::filesystem::resize_file(path_, readText(path_).find("moof") - 4 + 100);
    expectSettled();
    EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(MovieRecoveryTests, ReportsATooDamagedMovieAndLeavesItAsItIs) {
    leaveUnfinished(14);
    std::string content = readText(path_);
    content.replace(content.find("traf"), 4, "????");
    writeText(path_, content);
    const std::vector<RecoveredMovie> recovered = recover();
    ASSERT_THAT(recovered, SizeIs(1));
    EXPECT_EQ(localizedDescription(recovered[0].error), "It is too damaged.");
    EXPECT_EQ(readText(path_), content);
    EXPECT_THAT(recover(), IsEmpty()) << "reported once";
}

TEST_F(MovieRecoveryTests, NeverTouchesAnotherFile) {
    leaveUnfinished(100);
    const std::string other = readText(path_);
    for (const std::string& content : {other, other.substr(0, 50), std::string("a diary"), std::string()}) {
        std::filesystem::remove_all(folder_ / "unfinished");
        std::filesystem::remove(path_);
        leaveUnfinished(100);
        writeText(path_, content);
        expectSettled();
        EXPECT_EQ(readText(path_), content);
    }
}

TEST_F(MovieRecoveryTests, DropsTheEntryOfADeletedMovieUnlessItIsRecent) {
    leaveUnfinished(100);
    std::filesystem::remove(path_);
    std::filesystem::create_directory(path_);
    expectSettled();

    unfinished_.add({1, 2, 3}, folder_ / "coming.mov");
    EXPECT_THAT(recover(), IsEmpty());
    EXPECT_THAT(unfinished_.list(), SizeIs(1));
}

}  // namespace
}  // namespace lumicrate::media
