// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Files/OutputFile.h"
#include "Support/Error.h"
#include "Tests/Linux/Media/ChildCase.h"
#include "Tests/Linux/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <set>
#include <string>
#include <vector>

namespace lumicrate::media {
namespace {

using lumicrate::test::TemporaryFolder;
using std::filesystem::path;
using test::inChild;
using test::Refusal;
using test::refuse;
using testing::HasSubstr;

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint64_t block = 4096;

/// Bytes that do not repeat anywhere near a block's length.
Bytes pattern(std::size_t size, std::uint8_t seed = 1) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<std::uint8_t>(seed + i * 7 + i / 251);
    return bytes;
}

Bytes contentOf(const path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

Bytes contentOf(const OutputFile& file) {
    Bytes bytes(file.size());
    EXPECT_EQ(file.read(0, bytes), bytes.size());
    return bytes;
}

Bytes joined(Bytes first, const Bytes& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Bytes cut(const Bytes& bytes, std::size_t from, std::size_t to) {
    return {bytes.begin() + static_cast<std::ptrdiff_t>(from),
            bytes.begin() + static_cast<std::ptrdiff_t>(to)};
}

/// The names in a folder, in order.
std::string namesIn(const path& folder) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.insert(entry.path().filename().string());
    std::string all;
    for (const std::string& name : names)
        all += name + " ";
    return all;
}

std::string sentenceOf(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const PlatformError& error) {
        return error.what();
    }
    return "no error";
}

std::string notCreated(const path& file, const std::string& reason) {
    return "The movie file couldn't be created: “" + file.string() + "”: " + reason;
}

const std::string cannotMount = "may not mount";
const std::string diskFull = "The movie file couldn't be written: No space left on device.";

struct Kind {
    std::string name;
    std::vector<Refusal> lacks;

    void apply() const { std::for_each(lacks.begin(), lacks.end(), refuse); }
};

void PrintTo(const Kind& kind, std::ostream* stream) {
    *stream << kind.name;
}

class FileSystemTests : public testing::TestWithParam<Kind> {};

INSTANTIATE_TEST_SUITE_P(Kinds, FileSystemTests,
                         testing::Values(Kind{"complete", {}}, Kind{"noUnnamedFiles", {test::noUnnamedFiles}},
                                         Kind{"noLinks", {test::noLinks}}, Kind{"noLocks", {test::noLocks}},
                                         Kind{"noCopying", {test::noCopying}},
                                         Kind{"noCopyingNorHoles", {test::noCopying, test::noHoles}}),
                         [](const auto& each) { return each.param.name; });

TEST_P(FileSystemTests, AFileAppearsWithItsHead) {
    const TemporaryFolder folder;
    const std::string result = inChild([&] {
        GetParam().apply();
        umask(027);
        OutputFile file = OutputFile::create(folder / "a.mp4", pattern(1000));
        file.write(1000, pattern(500, 9));
        return namesIn(folder.path());
    });
    EXPECT_EQ(result, "a.mp4 ");
    EXPECT_EQ(contentOf(folder / "a.mp4"), joined(pattern(1000), pattern(500, 9)));
    struct stat status {};
    ASSERT_EQ(stat((folder / "a.mp4").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFREG | 0640U);
}

/// Everything that fails on a small disk, and what is there afterwards.
TEST_P(FileSystemTests, RefusedOrFullLeavesNothingBehind) {
    const TemporaryFolder folder;
    const std::string result = inChild([&]() -> std::string {
        if (!test::mountSmallFileSystem(folder.path(), 1 << 20)) return cannotMount;
        GetParam().apply();
        std::ofstream(folder / "there.mp4") << "precious";
        std::filesystem::create_symlink(folder / "nowhere", folder / "link.mp4");
        std::string text;
        for (const auto& [name, size] :
             {std::pair("there.mp4", 100), {"link.mp4", 100}, {"none/a.mp4", 100}, {"a.mp4", 2 << 20}}) {
            text += sentenceOf(
                        [&] { OutputFile::create(folder / name, pattern(static_cast<std::size_t>(size))); }) +
                    "\n";
        }
        const Bytes movie = pattern(700 << 10);
        OutputFile file = OutputFile::create(folder / "movie.mp4", movie);
        text += sentenceOf([&] { file.replaceByCopy(pattern(block), 0, movie.size(), ".part"); }) + "\n";
        text += sentenceOf([&] { file.write(movie.size(), pattern(1 << 20)); }) + "\n";
        file.truncate(movie.size());
        if (!file.isLinked() || contentOf(file) != movie) text += "the movie is spoilt\n";
        std::filesystem::rename(folder / "movie.mp4", folder / "b.mp4");
        std::ofstream(folder / "movie.mp4") << "precious";
        text += sentenceOf([&] { file.replaceByCopy(pattern(block), 0, block, ".part"); }) + "\n";
        text += sentenceOf([&] { file.rescueCopy(); }) + "\n";
        text +=
            std::to_string(contentOf(folder / "there.mp4").size() + contentOf(folder / "movie.mp4").size());
        return text + " " + namesIn(folder.path());
    });
    if (result == cannotMount) GTEST_SKIP() << "file systems can't be mounted here";
    EXPECT_EQ(result, notCreated(folder / "there.mp4", "File exists.\n") +
                          notCreated(folder / "link.mp4", "File exists.\n") +
                          notCreated(folder / "none/a.mp4", "No such file or directory.\n") +
                          notCreated(folder / "a.mp4", "No space left on device.\n") + diskFull + "\n" +
                          diskFull + "\n" + "The movie file couldn't be replaced: “" +
                          (folder / "movie.mp4").string() + "”: No such file or directory.\n" +
                          notCreated(folder / "movie.mp4", "File exists.\n") +
                          "16 b.mp4 link.mp4 movie.mp4 there.mp4 ");
}

/// Data, a hole of many blocks, data, and a hole to the end.
struct SparseMovie {
    static constexpr std::uint64_t secondPart = 2 << 20;
    static constexpr std::uint64_t end = 4 << 20;
    Bytes first = pattern(3 * block + 17);
    Bytes second = pattern((1 << 20) + 33, 7);

    OutputFile create(const path& file) const {
        OutputFile output = OutputFile::create(file, pattern(block, 2));
        output.write(block, first);
        output.write(secondPart, second);
        output.truncate(end);
        return output;
    }
};

TEST_P(FileSystemTests, ACopyHasTheMediaBehindItsNewHead) {
    for (const char* parent : {"/tmp", "/dev/shm"}) {
        const TemporaryFolder folder(parent);
        const std::string result = inChild([&]() -> std::string {
            GetParam().apply();
            OutputFile file = SparseMovie().create(folder / "a.mp4");
            const Bytes before = contentOf(file);
            for (const auto& [from, to] : {std::pair(block, before.size()), {1001, 7 * block + 77}}) {
                const Bytes expected = joined(pattern(4 * block, 99), cut(contentOf(file), from, to));
                std::ofstream(folder / ".a.mp4.part") << "left behind by an earlier run";
                file.replaceByCopy(pattern(4 * block, 99), from, to, ".a.mp4.part");
                if (contentOf(folder / "a.mp4") != expected) return "not the same";
                if (!file.isLinked() || contentOf(file) != expected) return "still the old file";
            }
            file.write(0, Bytes{42});
            return contentOf(folder / "a.mp4")[0] == 42 ? namesIn(folder.path()) : "written elsewhere";
        });
        EXPECT_EQ(result, "a.mp4 ");
    }
}

TEST_P(FileSystemTests, ADeletedFileIsRescuedWithItsFolders) {
    const TemporaryFolder folder;
    const std::string result = inChild([&]() -> std::string {
        GetParam().apply();
        std::filesystem::create_directories(folder / "Movies/Today");
        const path movie = folder / "Movies/Today/a.mp4";
        OutputFile file = SparseMovie().create(movie);
        const Bytes expected = contentOf(movie);
        for (const path& victim : {movie, folder / "Movies"}) {
            std::filesystem::remove_all(victim);
            if (file.isLinked() || !file.isDeleted()) return "not noticed";
            file.rescueCopy();
            if (!file.isLinked() || contentOf(movie) != expected) return "not the same";
        }
        file.write(0, Bytes{42});
        return contentOf(movie)[0] == 42 ? namesIn(movie.parent_path()) : "written elsewhere";
    });
    EXPECT_EQ(result, "a.mp4 ");
}

TEST(OutputFileTests, HolesTakeNoSpaceInACopy) {
    const TemporaryFolder folder;
    const SparseMovie movie;
    OutputFile file = movie.create(folder / "a.mp4");
    file.replaceByCopy(pattern(block), block, SparseMovie::end, ".part");
    struct stat status {};
    ASSERT_EQ(stat((folder / "a.mp4").c_str(), &status), 0);
    EXPECT_EQ(static_cast<std::uint64_t>(status.st_size), SparseMovie::end);
    constexpr std::uint64_t blockUnit = 512;
    EXPECT_LT(static_cast<std::uint64_t>(status.st_blocks) * blockUnit,
              movie.first.size() + movie.second.size() + 64 * block);
}

TEST(OutputFileTests, ReadsAndWritesAnywhere) {
    const TemporaryFolder folder;
    OutputFile file = OutputFile::create(folder / "a.mp4", pattern(100));
    file.write(200, pattern(50, 5));
    file.write(0, Bytes{1, 2, 3, 4});
    file.synchronize();
    const Bytes expected =
        joined(joined(joined({1, 2, 3, 4}, cut(pattern(100), 4, 100)), Bytes(100)), pattern(50, 5));
    EXPECT_EQ(contentOf(folder / "a.mp4"), expected);

    Bytes end(40);
    EXPECT_EQ(file.read(230, end), 20U);
    EXPECT_EQ(cut(end, 0, 20), cut(expected, 230, 250));
    EXPECT_EQ(file.read(1000, end), 0U);
    file.truncate(30);
    EXPECT_EQ(file.size(), 30U);
    EXPECT_EQ(contentOf(file), cut(expected, 0, 30));
}

TEST(OutputFileTests, ReservedSpaceIsThereOnAFullDisk) {
    const TemporaryFolder folder;
    const std::string result = inChild([&]() -> std::string {
        if (!test::mountSmallFileSystem(folder.path(), 1 << 20)) return cannotMount;
        OutputFile file = OutputFile::create(folder / "a.mp4", pattern(100));
        if (!file.reserve(block, 512 << 10)) return "not reserved";
        if (file.size() != 100) return "the size has changed";
        OutputFile other = OutputFile::create(folder / "b.mp4", {});
        const std::string full = sentenceOf([&] { other.write(0, pattern(1 << 20)); });
        file.write(block, pattern(512 << 10));
        try {
            file.reserve(0, 2 << 20);
            return "reserved";
        } catch (const PlatformError& error) {
            return full + error.what() + std::to_string(error.code());
        }
    });
    if (result == cannotMount) GTEST_SKIP() << "file systems can't be mounted here";
    EXPECT_EQ(result, diskFull + diskFull + std::to_string(ENOSPC));
}

TEST(OutputFileTests, ADiskInsertsARange) {
    const TemporaryFolder folder;
    struct statfs system {};
    ASSERT_EQ(statfs(folder.path().c_str(), &system), 0);
    if (system.f_type != EXT4_SUPER_MAGIC && system.f_type != XFS_SUPER_MAGIC)
        GTEST_SKIP() << "the temporary folder's file system does not insert ranges";
    const Bytes before = pattern(5 * block + 123);
    OutputFile file = OutputFile::create(folder / "a.mp4", before);
    EXPECT_TRUE(file.insertRange(2 * block, 3 * block));
    const Bytes after =
        joined(joined(cut(before, 0, 2 * block), Bytes(3 * block)), cut(before, 2 * block, before.size()));
    EXPECT_EQ(contentOf(folder / "a.mp4"), after);

    EXPECT_FALSE(file.insertRange(100, block)) << "not at a block";
    EXPECT_FALSE(file.insertRange(block, 100)) << "not whole blocks";
    EXPECT_FALSE(file.insertRange(100 * block, block)) << "beyond the end";
    EXPECT_EQ(contentOf(folder / "a.mp4"), after);
}

TEST(OutputFileTests, WhatTheFileSystemLacksIsReportedWithoutError) {
    const TemporaryFolder memory("/dev/shm");
    OutputFile file = OutputFile::create(memory / "a.mp4", pattern(4 * block));
    EXPECT_FALSE(file.insertRange(block, block));
    EXPECT_EQ(contentOf(file), pattern(4 * block));
    EXPECT_EQ(inChild([&] {
                  refuse(test::noAllocation);
                  return std::to_string(file.reserve(0, block)) +
                         std::to_string(file.insertRange(block, block));
              }),
              "00");
}

// --- the lock

TEST(OutputFileTests, OtherProcessesLeaveALockedFileAlone) {
    const TemporaryFolder folder;
    const path name = folder / "a.mp4";
    const auto attempt = [&] {
        return inChild([&] { return std::string(OutputFile::open(name) ? "opened" : "locked"); });
    };
    {
        OutputFile file = OutputFile::create(name, pattern(3 * block));
        EXPECT_EQ(attempt(), "locked");
        EXPECT_FALSE(OutputFile::open(name)) << "in this process as well";
        EXPECT_EQ(contentOf(name), pattern(3 * block));
        EXPECT_EQ(attempt(), "locked") << "also after this process closed it elsewhere";
        file.replaceByCopy(pattern(block), block, 3 * block, ".part");
        EXPECT_EQ(attempt(), "locked") << "and so is a copy";
        std::filesystem::remove(name);
        file.rescueCopy();
        EXPECT_EQ(attempt(), "locked");
    }
    EXPECT_EQ(attempt(), "opened");
}

TEST(OutputFileTests, WhatCannotBeOpenedIsReported) {
    const TemporaryFolder folder;
    OutputFile::create(folder / "file", pattern(10));
    std::filesystem::create_symlink(folder / "file", folder / "link");
    std::filesystem::create_directory(folder / "folder");
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    const std::pair<const char*, const char*> cases[] = {{"none", "No such file or directory."},
                                                         {"link", "Too many levels of symbolic links."},
                                                         {"folder", "Is a directory."},
                                                         {"pipe", "Invalid argument."}};
    for (const auto& [name, reason] : cases) {
        const path file = folder / name;
        EXPECT_EQ(sentenceOf([&] { OutputFile::open(file); }),
                  "The movie file couldn't be opened: “" + file.string() + "”: " + reason);
    }
    EXPECT_THAT(inChild([&] {
                    refuse(test::noLocks);
                    return std::string(OutputFile::open(folder / "file") ? "opened" : "locked");
                }),
                HasSubstr("couldn't be opened:"))
        << "another process may be writing it";
}

TEST(OutputFileTests, KnowsWhetherThePathStillNamesIt) {
    const TemporaryFolder folder;
    OutputFile file = OutputFile::create(folder / "a.mp4", pattern(10));
    EXPECT_TRUE(file.isLinked());
    std::filesystem::rename(folder / "a.mp4", folder / "b.mp4");
    EXPECT_FALSE(file.isLinked());
    EXPECT_FALSE(file.isDeleted());
    EXPECT_FALSE(file.remove());
    std::filesystem::create_symlink(folder / "b.mp4", folder / "a.mp4");
    EXPECT_FALSE(file.isLinked());
    std::filesystem::remove(folder / "a.mp4");
    std::ofstream(folder / "a.mp4") << "another";
    EXPECT_FALSE(file.remove());
    EXPECT_EQ(namesIn(folder.path()), "a.mp4 b.mp4 ");
    std::filesystem::rename(folder / "b.mp4", folder / "a.mp4");
    EXPECT_TRUE(file.isLinked());
    EXPECT_TRUE(file.remove());
    EXPECT_EQ(namesIn(folder.path()), "");
}

}  // namespace
}  // namespace lumicrate::media
