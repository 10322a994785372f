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
#include <csignal>
#include <fstream>
#include <numeric>
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
using testing::StartsWith;

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint64_t block = 4096;

/// Bytes that repeat nowhere near a block's length.
Bytes pattern(std::size_t size, std::uint8_t seed = 1) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<std::uint8_t>(seed + i * 7 + i / 251);
    return bytes;
}

Bytes contentOf(const path& file) {
    Bytes bytes(std::filesystem::file_size(file));
    std::ifstream stream(file, std::ios::binary);
    stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return bytes;
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
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return std::accumulate(names.begin(), names.end(), std::string(),
                           [](const std::string& all, const std::string& name) { return all + name + " "; });
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

/// A folder that goes away, in memory where the temporary one may be on a disk.
class MemoryFolder {
 public:
    MemoryFolder() : path_("/dev/shm/lumicrate-test-" + std::to_string(getpid())) {
        std::filesystem::create_directory(path_);
    }
    MemoryFolder(const MemoryFolder&) = delete;
    MemoryFolder& operator=(const MemoryFolder&) = delete;
    ~MemoryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    path operator/(const std::string& name) const { return path_ / name; }
    const path& folder() const { return path_; }

 private:
    path path_;
};

struct Kind {
    std::string name;
    std::vector<Refusal> refusals;

    void apply() const {
        for (const Refusal& refusal : refusals)
            refuse(refusal);
    }
};

void PrintTo(const Kind& kind, std::ostream* stream) {
    *stream << kind.name;
}

std::string nameOfKind(const testing::TestParamInfo<Kind>& info) {
    return info.param.name;
}

class CreationTests : public testing::TestWithParam<Kind> {};

INSTANTIATE_TEST_SUITE_P(FileSystems, CreationTests,
                         testing::Values(Kind{"asItIs", {}}, Kind{"noUnnamedFiles", {test::noUnnamedFiles}},
                                         Kind{"noLinks", {test::noLinks}}, Kind{"noLocks", {test::noLocks}}),
                         nameOfKind);

TEST_P(CreationTests, TheFileComesWithItsHead) {
    const TemporaryFolder folder;
    EXPECT_EQ(inChild([&] {
                  GetParam().apply();
                  umask(027);
                  OutputFile file = OutputFile::create(folder / "a.mp4", pattern(1000));
                  file.write(1000, pattern(500, 9));
                  return file.path().filename().string();
              }),
              "a.mp4");
    EXPECT_EQ(contentOf(folder / "a.mp4"), joined(pattern(1000), pattern(500, 9)));
    EXPECT_EQ(namesIn(folder.path()), "a.mp4 ");
    struct stat status {};
    ASSERT_EQ(stat((folder / "a.mp4").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFREG | 0640U);
}

TEST_P(CreationTests, NothingIsEverReplaced) {
    const TemporaryFolder folder;
    std::ofstream(folder / "there.mp4") << "precious";
    std::filesystem::create_symlink(folder / "nowhere", folder / "link.mp4");
    for (const char* name : {"there.mp4", "link.mp4"}) {
        EXPECT_EQ(inChild([&] {
                      GetParam().apply();
                      OutputFile::create(folder / name, pattern(1000));
                      return std::string("created");
                  }),
                  notCreated(folder / name, "File exists."));
    }
    EXPECT_EQ(std::filesystem::file_size(folder / "there.mp4"), 8U);
    EXPECT_EQ(namesIn(folder.path()), "link.mp4 there.mp4 ");
}

TEST_P(CreationTests, AFolderThatIsMissingOrRefusesSaysSo) {
    const TemporaryFolder folder;
    const auto attempt = [&](const path& file) {
        return inChild([&] {
            test::dropPrivileges();
            GetParam().apply();
            OutputFile::create(file, pattern(1000));
            return std::string("created");
        });
    };
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0555));
    EXPECT_EQ(attempt(folder / "a.mp4"), notCreated(folder / "a.mp4", "Permission denied."));
    EXPECT_EQ(attempt(folder / "none/a.mp4"),
              notCreated(folder / "none/a.mp4", "No such file or directory."));
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
    EXPECT_EQ(namesIn(folder.path()), "");
}

TEST_P(CreationTests, AFullFileSystemSaysSoAndKeepsNoPart) {
    const TemporaryFolder folder;
    const std::string result = inChild([&]() -> std::string {
        if (!test::mountSmallFileSystem(folder.path(), 1 << 20)) return "may not mount";
        GetParam().apply();
        return sentenceOf([&] { OutputFile::create(folder / "a.mp4", pattern(2 << 20)); }) +
               namesIn(folder.path());
    });
    if (result == "may not mount") GTEST_SKIP() << "a file system of one's own is not to be had here";
    EXPECT_EQ(result, notCreated(folder / "a.mp4", "No space left on device."));
}

TEST(OutputFileTests, ReadsAndWritesAnywhere) {
    const TemporaryFolder folder;
    OutputFile file = OutputFile::create(folder / "a.mp4", pattern(100));
    file.write(200, pattern(50, 5));
    file.write(10, Bytes{1, 2, 3, 4});
    file.synchronize();
    Bytes expected = joined(joined(pattern(100), Bytes(100)), pattern(50, 5));
    std::copy_n(Bytes{1, 2, 3, 4}.begin(), 4, expected.begin() + 10);
    EXPECT_EQ(contentOf(folder / "a.mp4"), expected);

    Bytes end(40);
    EXPECT_EQ(file.read(230, end), 20U);
    EXPECT_EQ(cut(end, 0, 20), cut(expected, 230, 250));
    EXPECT_EQ(file.read(1000, end), 0U);

    file.truncate(30);
    EXPECT_EQ(file.size(), 30U);
    EXPECT_EQ(contentOf(file), cut(expected, 0, 30));
}

TEST(OutputFileTests, AFullDiskFailsTheWriteAndKeepsWhatWasThere) {
    const TemporaryFolder folder;
    const std::string result = inChild([&]() -> std::string {
        if (!test::mountSmallFileSystem(folder.path(), 1 << 20)) return "may not mount";
        OutputFile file = OutputFile::create(folder / "a.mp4", pattern(block));
        try {
            file.write(block, pattern(2 << 20));
            return "written";
        } catch (const PlatformError& error) {
            if (error.code() != ENOSPC) return "another code";
            file.truncate(block);
            file.write(block, pattern(block, 3));  // there is room again
            return contentOf(file) == joined(pattern(block), pattern(block, 3)) ? error.what() : "spoilt";
        }
    });
    if (result == "may not mount") GTEST_SKIP() << "a file system of one's own is not to be had here";
    EXPECT_EQ(result, "The movie file couldn't be written: No space left on device.");
}

TEST(OutputFileTests, WhatIsReservedFindsRoomOnAFullDisk) {
    const TemporaryFolder folder;
    const std::string result = inChild([&]() -> std::string {
        if (!test::mountSmallFileSystem(folder.path(), 1 << 20)) return "may not mount";
        OutputFile file = OutputFile::create(folder / "a.mp4", pattern(100));
        if (!file.reserve(block, 512 << 10)) return "not reserved";
        if (file.size() != 100) return "the size has changed";
        OutputFile other = OutputFile::create(folder / "b.mp4", {});
        const std::string full = sentenceOf([&] { other.write(0, pattern(1 << 20)); });
        file.write(block, pattern(512 << 10));
        return full + " " + sentenceOf([&] { file.reserve(0, 2 << 20); });
    });
    if (result == "may not mount") GTEST_SKIP() << "a file system of one's own is not to be had here";
    const std::string full = "The movie file couldn't be written: No space left on device.";
    EXPECT_EQ(result, full + " " + full);
}

TEST(OutputFileTests, WhereNothingCanBeReservedItSaysSo) {
    const TemporaryFolder folder;
    EXPECT_EQ(inChild([&] {
                  refuse(test::noAllocation);
                  OutputFile file = OutputFile::create(folder / "a.mp4", pattern(2 * block));
                  return std::to_string(file.reserve(0, block)) +
                         std::to_string(file.insertRange(block, block));
              }),
              "00");
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

TEST(OutputFileTests, AMemoryFileSystemInsertsNothing) {
    const MemoryFolder folder;
    OutputFile file = OutputFile::create(folder / "a.mp4", pattern(4 * block));
    EXPECT_FALSE(file.insertRange(block, block));
    EXPECT_EQ(contentOf(file), pattern(4 * block));
}

// --- the lock

std::string attemptToOpen(const path& file) {
    return inChild([&] { return std::string(OutputFile::open(file) ? "opened" : "locked"); });
}

TEST(OutputFileTests, AnotherProcessLeavesALockedFileAlone) {
    const TemporaryFolder folder;
    {
        const OutputFile file = OutputFile::create(folder / "a.mp4", pattern(10));
        EXPECT_EQ(attemptToOpen(folder / "a.mp4"), "locked");
        EXPECT_FALSE(OutputFile::open(folder / "a.mp4")) << "in this process as well";
        EXPECT_EQ(contentOf(folder / "a.mp4"), pattern(10));
        EXPECT_EQ(attemptToOpen(folder / "a.mp4"), "locked") << "though others have closed the file here";
    }
    EXPECT_EQ(attemptToOpen(folder / "a.mp4"), "opened");
}

TEST(OutputFileTests, AKilledProcessLeavesItsFileUnlocked) {
    const TemporaryFolder folder;
    inChild([&]() -> std::string {
        const OutputFile file = OutputFile::create(folder / "a.mp4", pattern(10));
        std::raise(SIGKILL);
        return {};
    });
    std::optional<OutputFile> file = OutputFile::open(folder / "a.mp4");
    ASSERT_TRUE(file);
    EXPECT_EQ(contentOf(*file), pattern(10));
    EXPECT_EQ(attemptToOpen(folder / "a.mp4"), "locked") << "by whom it was opened";
    file->write(10, pattern(5));
    EXPECT_EQ(std::filesystem::file_size(folder / "a.mp4"), 15U);
}

TEST(OutputFileTests, WhatCannotBeOpenedSaysWhy) {
    const TemporaryFolder folder;
    OutputFile::create(folder / "file", pattern(10));
    std::filesystem::create_symlink(folder / "file", folder / "link");
    std::filesystem::create_directory(folder / "folder");
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    const std::pair<const char*, const char*> cases[] = {
        {"none", "No such file or directory."},
        {"link", "Too many levels of symbolic links."},
        {"folder", "Is a directory."},
        {"pipe", "Invalid argument."},
    };
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

// --- the name

TEST(OutputFileTests, KnowsWhetherThePathStillNamesIt) {
    const TemporaryFolder folder;
    OutputFile file = OutputFile::create(folder / "a.mp4", pattern(10));
    EXPECT_TRUE(file.isLinked());
    std::filesystem::rename(folder / "a.mp4", folder / "b.mp4");
    EXPECT_FALSE(file.isLinked());
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

// --- copies

class CopyTests : public testing::TestWithParam<Kind> {};

INSTANTIATE_TEST_SUITE_P(FileSystems, CopyTests,
                         testing::Values(Kind{"asItIs", {}}, Kind{"noUnnamedFiles", {test::noUnnamedFiles}},
                                         Kind{"noLinks", {test::noLinks}}, Kind{"noLocks", {test::noLocks}},
                                         Kind{"noCopying", {test::noCopying}},
                                         Kind{"noCopyingNorHoles", {test::noCopying, test::noHoles}}),
                         nameOfKind);

/// Data, a hole of many blocks, data, and a hole to the end.
struct SparseMovie {
    static constexpr std::uint64_t secondPart = 2 << 20;
    static constexpr std::uint64_t end = 4 << 20;
    Bytes first = pattern(3 * block + 17);
    Bytes second = pattern((1 << 20) + 33, 7);

    void writeTo(OutputFile& file) const {
        file.write(block, first);
        file.write(secondPart, second);
        file.truncate(end);
    }
};

TEST_P(CopyTests, TheMediaFollowsANewHead) {
    const TemporaryFolder disk;
    const MemoryFolder memory;
    for (const path& folder : {disk.path(), memory.folder()}) {
        const std::string result = inChild([&]() -> std::string {
            GetParam().apply();
            OutputFile file = OutputFile::create(folder / "a.mp4", pattern(block, 2));
            SparseMovie().writeTo(file);
            Bytes expected = contentOf(folder / "a.mp4");
            expected = joined(pattern(4 * block, 99), cut(expected, block, SparseMovie::end));
            std::ofstream(folder / ".a.mp4.part") << "left behind by an earlier run";

            file.replaceByCopy(pattern(4 * block, 99), block, SparseMovie::end, ".a.mp4.part");
            if (contentOf(folder / "a.mp4") != expected) return "not the same";
            if (!file.isLinked() || contentOf(file) != expected) return "still the old file";
            file.write(0, Bytes{42});
            return contentOf(folder / "a.mp4")[0] == 42 ? namesIn(folder) : "written elsewhere";
        });
        EXPECT_EQ(result, "a.mp4 ");
    }
}

TEST_P(CopyTests, AnyPartMayBeTaken) {
    const TemporaryFolder folder;
    const std::string result = inChild([&]() -> std::string {
        GetParam().apply();
        const Bytes before = pattern(9 * block + 5);
        OutputFile file = OutputFile::create(folder / "a.mp4", before);
        file.replaceByCopy(pattern(block, 3), 1001, 7 * block + 77, ".part");
        return contentOf(folder / "a.mp4") == joined(pattern(block, 3), cut(before, 1001, 7 * block + 77))
                   ? "the same"
                   : "not the same";
    });
    EXPECT_EQ(result, "the same");
}

TEST_P(CopyTests, ADeletedFileIsRescuedWithItsFolders) {
    const TemporaryFolder folder;
    const std::string result = inChild([&]() -> std::string {
        GetParam().apply();
        std::filesystem::create_directories(folder / "Movies/Today");
        const path movie = folder / "Movies/Today/a.mp4";
        OutputFile file = OutputFile::create(movie, pattern(block, 2));
        SparseMovie().writeTo(file);
        const Bytes expected = contentOf(movie);
        for (const path& victim : {movie, folder / "Movies"}) {
            std::filesystem::remove_all(victim);
            if (file.isLinked()) return "not noticed";
            file.rescueCopy();
            if (!file.isLinked() || contentOf(movie) != expected) return "not the same";
        }
        file.write(0, Bytes{42});
        return contentOf(movie)[0] == 42 ? namesIn(movie.parent_path()) : "written elsewhere";
    });
    EXPECT_EQ(result, "a.mp4 ");
}

TEST_P(CopyTests, AFullDiskLeavesTheMovieAndNothingElse) {
    const TemporaryFolder folder;
    const std::string result = inChild([&]() -> std::string {
        if (!test::mountSmallFileSystem(folder.path(), 1 << 20)) return "may not mount";
        GetParam().apply();
        const Bytes movie = pattern(700 << 10);
        OutputFile file = OutputFile::create(folder / "a.mp4", movie);
        const std::string sentence =
            sentenceOf([&] { file.replaceByCopy(pattern(block), 0, movie.size(), ".part"); });
        return file.isLinked() && contentOf(file) == movie ? sentence + namesIn(folder.path()) : "spoilt";
    });
    if (result == "may not mount") GTEST_SKIP() << "a file system of one's own is not to be had here";
    EXPECT_EQ(result, "The movie file couldn't be written: No space left on device.a.mp4 ");
}

TEST(OutputFileTests, HolesTakeNoRoomInACopy) {
    const TemporaryFolder folder;
    OutputFile file = OutputFile::create(folder / "a.mp4", pattern(block));
    const SparseMovie movie;
    movie.writeTo(file);
    file.replaceByCopy(pattern(block), block, SparseMovie::end, ".part");
    struct stat status {};
    ASSERT_EQ(stat((folder / "a.mp4").c_str(), &status), 0);
    EXPECT_EQ(static_cast<std::uint64_t>(status.st_size), SparseMovie::end);
    constexpr std::uint64_t blockUnit = 512;
    EXPECT_LT(static_cast<std::uint64_t>(status.st_blocks) * blockUnit,
              movie.first.size() + movie.second.size() + 64 * block);
}

TEST(OutputFileTests, ACopyIsLockedAsItsOriginalWas) {
    const TemporaryFolder folder;
    OutputFile file = OutputFile::create(folder / "a.mp4", pattern(3 * block));
    file.replaceByCopy(pattern(block), block, 3 * block, ".part");
    EXPECT_EQ(attemptToOpen(folder / "a.mp4"), "locked");
    std::filesystem::remove(folder / "a.mp4");
    file.rescueCopy();
    EXPECT_EQ(attemptToOpen(folder / "a.mp4"), "locked");
}

TEST(OutputFileTests, NoCopyTakesTheNameOfAnotherFile) {
    const TemporaryFolder folder;
    OutputFile file = OutputFile::create(folder / "a.mp4", pattern(3 * block));
    std::filesystem::remove(folder / "a.mp4");
    std::ofstream(folder / "a.mp4") << "precious";
    EXPECT_THAT(sentenceOf([&] { file.replaceByCopy(pattern(block), block, 3 * block, ".part"); }),
                StartsWith("The movie file couldn't be replaced: "));
    EXPECT_EQ(sentenceOf([&] { file.rescueCopy(); }), notCreated(folder / "a.mp4", "File exists."));
    EXPECT_EQ(std::filesystem::file_size(folder / "a.mp4"), 8U);
    EXPECT_EQ(namesIn(folder.path()), "a.mp4 ");
    EXPECT_EQ(contentOf(file), pattern(3 * block)) << "what was recorded is not lost by it";
}

}  // namespace
}  // namespace lumicrate::media
