// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Files/OutputFile.h"
#include "Support/Error.h"
#include "Tests/Linux/Media/ChildCase.h"

#include <gmock/gmock.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <set>

namespace lumicrate::media {
namespace {

using namespace test;
using std::filesystem::path;

constexpr std::uint64_t block = 4096;

/// Does not repeat anywhere near a block's length.
std::string pattern(std::size_t size, std::size_t seed = 1) {
    std::string text(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
        text[i] = static_cast<char>(seed + i * 7 + i / 251);
    return text;
}

std::span<const std::uint8_t> bytes(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::string contentOf(const OutputFile& file, std::uint64_t from = 0, std::size_t size = 8 << 20) {
    std::vector<std::uint8_t> content(size);
    content.resize(file.read(from, content));
    return {content.begin(), content.end()};
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
    return outcome([&] {
        operation();
        return std::string("no error");
    });
}

std::string notCreated(const path& file, const std::string& reason) {
    return "The movie file couldn't be created: “" + file.string() + "”: " + reason;
}

const std::string cannotMount = "may not mount";
const std::string diskFull = "The movie file couldn't be written: No space left on device.\n";

class OutputFileTests : public testing::Test {
 protected:
    const TemporaryFolder folder;
    const path movie = folder / "a.mp4";
};

/// A name, and what the file system lacks.
using Kind = std::pair<std::string, std::vector<Refusal>>;

class FileSystemTests : public OutputFileTests, public testing::WithParamInterface<Kind> {
 protected:
    static void apply() { std::ranges::for_each(GetParam().second, refuse); }
};

INSTANTIATE_TEST_SUITE_P(Kinds, FileSystemTests,
                         testing::Values(Kind{"complete", {}}, Kind{"noUnnamedFiles", {noUnnamedFiles}},
                                         Kind{"noLinks", {noLinks}}, Kind{"noLocks", {noLocks}},
                                         Kind{"noCopying", {noCopying}},
                                         Kind{"noCopyingNorHoles", {noCopying, noHoles}}),
                         [](const auto& each) { return each.param.first; });

TEST_P(FileSystemTests, AFileAppearsWithItsHead) {
    const std::string result = inChild([&] {
        apply();
        umask(027);
        OutputFile file = OutputFile::create(movie, bytes(pattern(1000)));
        file.write(1000, bytes(pattern(500, 9)));
        return namesIn(folder.path());
    });
    EXPECT_EQ(result, "a.mp4 ");
    EXPECT_EQ(readText(movie), pattern(1000) + pattern(500, 9));
    struct stat status {};
    ASSERT_EQ(stat(movie.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFREG | 0640U);
}

/// Everything that fails on a small disk, and what is there afterwards.
TEST_P(FileSystemTests, RefusedOrFullLeavesNothingBehind) {
    const std::string result = inChild([&]() -> std::string {
        if (!mountSmallFileSystem(folder.path(), 1 << 20)) return cannotMount;
        apply();
        writeText(folder / "there.mp4", "precious");
        std::filesystem::create_symlink(folder / "nowhere", folder / "link.mp4");
        std::string text;
        const auto attempt = [&text](const auto& operation) { text += sentenceOf(operation) + "\n"; };
        for (const auto& [name, size] :
             {std::pair("there.mp4", 100U), {"link.mp4", 100}, {"none/a.mp4", 100}, {"a.mp4", 2 << 20}})
            attempt(
                [&, name = name, size = size] { OutputFile::create(folder / name, bytes(pattern(size))); });
        const std::string content = pattern(700 << 10);
        OutputFile file = OutputFile::create(folder / "movie.mp4", bytes(content));
        attempt([&] { file.replaceByCopy(bytes(pattern(block)), 0, content.size(), ".part"); });
        attempt([&] { file.write(content.size(), bytes(pattern(1 << 20))); });
        file.truncate(content.size());
        if (!file.isLinked() || contentOf(file) != content) text += "the movie is spoilt\n";
        std::filesystem::rename(folder / "movie.mp4", folder / "b.mp4");
        writeText(folder / "movie.mp4", "precious");
        attempt([&] { file.replaceByCopy(bytes(pattern(block)), 0, block, ".part"); });
        attempt([&] { file.rescueCopy(); });
        return text + readText(folder / "there.mp4") + readText(folder / "movie.mp4") + " " +
               namesIn(folder.path());
    });
    if (result == cannotMount) GTEST_SKIP() << "file systems can't be mounted here";
    EXPECT_EQ(result, notCreated(folder / "there.mp4", "File exists.\n") +
                          notCreated(folder / "link.mp4", "File exists.\n") +
                          notCreated(folder / "none/a.mp4", "No such file or directory.\n") +
                          notCreated(movie, "No space left on device.\n") + diskFull + diskFull +
                          "The movie file couldn't be replaced: “" + (folder / "movie.mp4").string() +
                          "”: No such file or directory.\n" +
                          notCreated(folder / "movie.mp4", "File exists.\n") +
                          "preciousprecious b.mp4 link.mp4 movie.mp4 there.mp4 ");
}

constexpr std::uint64_t sparseEnd = 4 << 20;
constexpr std::uint64_t sparseData = block + 3 * block + 17 + (1 << 20) + 33;

/// Data, a hole of many blocks, data, and a hole to the end.
OutputFile createSparse(const path& path) {
    OutputFile file = OutputFile::create(path, bytes(pattern(block, 2)));
    file.write(block, bytes(pattern(3 * block + 17)));
    file.write(2 << 20, bytes(pattern((1 << 20) + 33, 7)));
    file.truncate(sparseEnd);
    return file;
}

TEST_P(FileSystemTests, ACopyHasTheMediaBehindItsNewHead) {
    for (const char* parent : {"/tmp", "/dev/shm"}) {
        const TemporaryFolder other(parent);
        const std::string result = inChild([&]() -> std::string {
            apply();
            OutputFile file = createSparse(other / "a.mp4");
            for (const auto& [from, to] : {std::pair(block, sparseEnd), {1001, 7 * block + 77}}) {
                const std::string head = pattern(4 * block, 99);
                const std::string expected = head + contentOf(file).substr(from, to - from);
                writeText(other / ".a.mp4.part", "left behind by an earlier run");
                file.replaceByCopy(bytes(head), from, to, ".a.mp4.part");
                if (readText(other / "a.mp4") != expected) return "not the same";
                if (!file.isLinked() || contentOf(file) != expected) return "still the old file";
            }
            file.write(0, bytes("B"));
            return readText(other / "a.mp4")[0] == 'B' ? namesIn(other.path()) : "written elsewhere";
        });
        EXPECT_EQ(result, "a.mp4 ");
    }
}

TEST_P(FileSystemTests, ADeletedFileIsRescuedWithItsFolders) {
    const std::string result = inChild([&]() -> std::string {
        apply();
        std::filesystem::create_directories(folder / "Movies/Today");
        const path inside = folder / "Movies/Today/a.mp4";
        OutputFile file = createSparse(inside);
        const std::string expected = readText(inside);
        for (const path& victim : {inside, folder / "Movies"}) {
            std::filesystem::remove_all(victim);
            if (file.isLinked() || !file.isDeleted()) return "not noticed";
            file.rescueCopy();
            if (!file.isLinked() || readText(inside) != expected) return "not the same";
        }
        file.write(0, bytes("B"));
        return readText(inside)[0] == 'B' ? namesIn(inside.parent_path()) : "written elsewhere";
    });
    EXPECT_EQ(result, "a.mp4 ");
}

TEST_F(OutputFileTests, HolesTakeNoSpaceInACopy) {
    OutputFile file = createSparse(movie);
    file.replaceByCopy(bytes(pattern(block)), block, sparseEnd, ".part");
    struct stat status {};
    ASSERT_EQ(stat(movie.c_str(), &status), 0);
    EXPECT_EQ(static_cast<std::uint64_t>(status.st_size), sparseEnd);
    EXPECT_LT(static_cast<std::uint64_t>(status.st_blocks) * 512, sparseData + 64 * block);
}

TEST_F(OutputFileTests, ReadsAndWritesAnywhere) {
    OutputFile file = OutputFile::create(movie, bytes(pattern(100)));
    file.write(200, bytes(pattern(50, 5)));
    file.write(0, bytes("head"));
    file.synchronize();
    const std::string expected = "head" + pattern(100).substr(4) + std::string(100, '\0') + pattern(50, 5);
    EXPECT_EQ(readText(movie), expected);
    EXPECT_EQ(contentOf(file, 230, 40), expected.substr(230));
    EXPECT_EQ(contentOf(file, 1000), "");
    file.truncate(30);
    EXPECT_EQ(file.size(), 30U);
    EXPECT_EQ(contentOf(file), expected.substr(0, 30));
}

TEST_F(OutputFileTests, ReservedSpaceIsThereOnAFullDisk) {
    const std::string result = inChild([&]() -> std::string {
        if (!mountSmallFileSystem(folder.path(), 1 << 20)) return cannotMount;
        OutputFile file = OutputFile::create(movie, bytes(pattern(100)));
        if (!file.reserve(block, 512 << 10)) return "not reserved";
        if (file.size() != 100) return "the size has changed";
        OutputFile other = OutputFile::create(folder / "b.mp4", {});
        const std::string full = sentenceOf([&] { other.write(0, bytes(pattern(1 << 20))); });
        file.write(block, bytes(pattern(512 << 10)));
        try {
            file.reserve(0, 2 << 20);
            return "reserved";
        } catch (const PlatformError& error) {
            return full + "\n" + error.what() + "\n" + std::to_string(error.code());
        }
    });
    if (result == cannotMount) GTEST_SKIP() << "file systems can't be mounted here";
    EXPECT_EQ(result, diskFull + diskFull + std::to_string(ENOSPC));
}

TEST_F(OutputFileTests, ADiskInsertsARange) {
    struct statfs system {};
    ASSERT_EQ(statfs(folder.path().c_str(), &system), 0);
    if (system.f_type != EXT4_SUPER_MAGIC && system.f_type != XFS_SUPER_MAGIC)
        GTEST_SKIP() << "the temporary folder's file system does not insert ranges";
    const std::string before = pattern(5 * block + 123);
    OutputFile file = OutputFile::create(movie, bytes(before));
    EXPECT_TRUE(file.insertRange(2 * block, 3 * block));
    const std::string after =
        before.substr(0, 2 * block) + std::string(3 * block, '\0') + before.substr(2 * block);
    EXPECT_EQ(readText(movie), after);

    EXPECT_FALSE(file.insertRange(100, block)) << "not at a block";
    EXPECT_FALSE(file.insertRange(block, 100)) << "not whole blocks";
    EXPECT_FALSE(file.insertRange(100 * block, block)) << "beyond the end";
    EXPECT_EQ(readText(movie), after);
}

TEST_F(OutputFileTests, WhatTheFileSystemLacksIsReportedWithoutError) {
    OutputFile file = OutputFile::create(movie, bytes(pattern(4 * block)));
    EXPECT_EQ(inChild([&] {
                  refuse(noAllocation);
                  return std::to_string(file.reserve(0, block)) +
                         std::to_string(file.insertRange(block, block));
              }),
              "00");
}

TEST_F(OutputFileTests, OtherProcessesLeaveALockedFileAlone) {
    const auto attempt = [&] {
        return inChild([&] { return std::string(OutputFile::open(movie) ? "opened" : "locked"); });
    };
    {
        OutputFile file = OutputFile::create(movie, bytes(pattern(3 * block)));
        EXPECT_EQ(attempt(), "locked");
        EXPECT_FALSE(OutputFile::open(movie)) << "in this process as well";
        EXPECT_EQ(readText(movie), pattern(3 * block));
        EXPECT_EQ(attempt(), "locked") << "also after this process closed it elsewhere";
        file.replaceByCopy(bytes(pattern(block)), block, 3 * block, ".part");
        EXPECT_EQ(attempt(), "locked") << "and so is a copy";
        std::filesystem::remove(movie);
        file.rescueCopy();
        EXPECT_EQ(attempt(), "locked");
    }
    EXPECT_EQ(attempt(), "opened");
}

TEST_F(OutputFileTests, WhatCannotBeOpenedIsReported) {
    OutputFile::create(folder / "file", bytes("content"));
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
                    refuse(noLocks);
                    return std::string(OutputFile::open(folder / "file") ? "opened" : "locked");
                }),
                testing::HasSubstr("couldn't be opened:"))
        << "another process may be writing it";
}

TEST_F(OutputFileTests, KnowsWhetherThePathStillNamesIt) {
    OutputFile file = OutputFile::create(movie, bytes("content"));
    EXPECT_TRUE(file.isLinked());
    const path other = folder / "b.mp4";
    std::filesystem::rename(movie, other);
    EXPECT_FALSE(file.isLinked());
    EXPECT_FALSE(file.isDeleted());
    EXPECT_FALSE(file.remove());
    std::filesystem::create_symlink(other, movie);
    EXPECT_FALSE(file.isLinked());
    std::filesystem::remove(movie);
    writeText(movie, "another");
    EXPECT_FALSE(file.remove());
    EXPECT_EQ(namesIn(folder.path()), "a.mp4 b.mp4 ");
    std::filesystem::rename(other, movie);
    EXPECT_TRUE(file.remove());
    EXPECT_EQ(namesIn(folder.path()), "");
}

}  // namespace
}  // namespace lumicrate::media
