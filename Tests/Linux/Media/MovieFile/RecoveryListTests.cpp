// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/MovieFile/MovieRecovery.h"
#include "Support/Error.h"
#include "Tests/Linux/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <fstream>
#include <set>
#include <string>

namespace lumicrate::media {
namespace {

using isobmff::MovieIdentifier;
using lumicrate::test::TemporaryFolder;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using Movie = RecoveryList::Movie;

constexpr MovieIdentifier first{0x00, 0x1f, 0xa0, 0xff, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
constexpr MovieIdentifier second{1};
const std::string firstName = "001fa0ff0405060708090a0b0c0d0e0f";

std::set<std::string> namesIn(const std::filesystem::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.insert(entry.path().filename().string());
    return names;
}

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void fill(const std::filesystem::path& file, const std::string& content) {
    std::ofstream(file, std::ios::binary) << content;
}

TEST(RecoveryListTests, EveryPathComesBack) {
    const TemporaryFolder folder;
    const RecoveryList movies(folder / "state/unfinished");
    EXPECT_THAT(movies.list(), IsEmpty()) << "and no folder is no error";
    const std::string paths[] = {"/a.mp4", "/Filme/Überblick – 1.mp4", "/line\nbreak\n", "/not\xff\xfeUTF-8",
                                 "/" + std::string(4000, 'x')};
    for (const std::string& path : paths) {
        movies.add(first, path);
        EXPECT_THAT(movies.list(), ElementsAre(Movie{first, path})) << "replacing the previous one";
    }
    movies.add(second, "/second.mov");
    EXPECT_THAT(RecoveryList(folder / "state/unfinished").list(),
                UnorderedElementsAre(Movie{first, paths[4]}, Movie{second, "/second.mov"}));
    movies.remove(first);
    movies.remove(first);
    EXPECT_THAT(movies.list(), ElementsAre(Movie{second, "/second.mov"}));
    movies.add(second, "relative.mp4");
    EXPECT_THAT(movies.list(), ElementsAre(Movie{second, std::filesystem::current_path() / "relative.mp4"}));
    EXPECT_EQ(namesIn(folder / "state/unfinished").size(), 1U) << "no temporary file is left";
    EXPECT_EQ(std::filesystem::status(folder / "state/unfinished").permissions(),
              std::filesystem::perms::owner_all);
}

TEST(RecoveryListTests, AnEntryStaysUntilItIsDone) {
    const TemporaryFolder folder;
    const RecoveryList movies(folder.path());
    { const RecoveryList::Entry entry(movies, first, "/a.mp4"); }
    EXPECT_THAT(movies.list(), ElementsAre(Movie{first, "/a.mp4"}));
    RecoveryList::Entry(movies, first, "/a.mp4").done();
    EXPECT_THAT(movies.list(), IsEmpty());
}

TEST(RecoveryListTests, AnIncompleteEntryIsNeverTakenForAnother) {
    const TemporaryFolder folder;
    const RecoveryList movies(folder.path());
    movies.add(first, "/movies/a.mp4");
    const std::string whole = contentOf(folder / firstName);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        fill(folder / firstName, whole.substr(0, size));
        EXPECT_THAT(movies.list(), IsEmpty()) << size;
        EXPECT_THAT(namesIn(folder.path()), IsEmpty()) << size;
        // As a file system may leave it that wrote the length before the content.
        fill(folder / firstName, whole.substr(0, size) + std::string(whole.size() - size, '\0'));
        const bool isWhole = size + 1 == whole.size();  // for its last byte is a zero
        EXPECT_EQ(movies.list().empty(), !isWhole) << size;
    }
}

TEST(RecoveryListTests, InvalidEntriesAreDeletedAndOtherFilesStay) {
    const TemporaryFolder folder;
    const TemporaryFolder elsewhere;
    const RecoveryList movies(folder.path());
    movies.add(first, "/a.mp4");
    const std::string valid = contentOf(folder / firstName);
    fill(elsewhere / "entry", valid);
    const auto name = [](char digit) { return std::string(32, digit); };

    fill(folder / name('0'), "");
    fill(folder / name('1'), "something else\n/a.mp4");
    fill(folder / name('2'), valid + std::string(1 << 20, 'x'));
    std::filesystem::create_symlink(elsewhere / "entry", folder / name('3'));
    std::filesystem::create_symlink(folder / "nowhere", folder / name('4'));
    ASSERT_EQ(mkfifo((folder / name('5')).c_str(), 0600), 0);
    fill(folder / name('6'), std::string(valid).replace(valid.find('/'), 1, "x"));
    fill(folder / name('7'), valid);
    std::filesystem::resize_file(folder / name('7'), std::uintmax_t{1} << 40);

    const std::set<std::string> foreign = {name('A'), name('a') + "0", "notes.txt",
                                           ".hidden", name('8'),       name('9')};
    for (const std::string& each : foreign) {
        if (each != name('8')) fill(folder / each, valid);
    }
    std::filesystem::create_directory(folder / name('8'));
    fill(folder / name('9'), std::string(valid).replace(valid.find('\n') - 1, 1, "2"));  // a later version's

    EXPECT_THAT(movies.list(), ElementsAre(Movie{first, "/a.mp4"}));
    std::set<std::string> left = foreign;
    left.insert(firstName);
    EXPECT_EQ(namesIn(folder.path()), left);
    EXPECT_EQ(contentOf(elsewhere / "entry"), valid);
}

TEST(RecoveryListTests, WhatCannotBeWrittenIsReported) {
    const TemporaryFolder folder;
    fill(folder / "file", "");
    const std::pair<const char*, std::string> cases[] = {
        {"file/unfinished", "/a.mp4"}, {"file", "/a.mp4"}, {"long", "/" + std::string(5000, 'x')}};
    for (const auto& [name, path] : cases) {
        const RecoveryList movies(folder / name);
        try {
            movies.add(first, path);
            ADD_FAILURE() << name;
        } catch (const PlatformError& error) {
            EXPECT_THAT(error.what(),
                        testing::StartsWith("The list of unfinished recordings couldn't be written: "));
        }
        EXPECT_THAT(movies.list(), IsEmpty());
    }
}

}  // namespace
}  // namespace lumicrate::media
