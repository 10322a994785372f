#include "Linux/Desktop/FileManager.h"
#include "Support/Error.h"
#include "Tests/Linux/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <fstream>

namespace lumicrate::desktop {
namespace {

TEST(FileManagerTests, ListsVisibleEntriesWithSizeAndDate) {
    const test::TemporaryFolder folder;
    FileManager files;
    const auto before = std::chrono::system_clock::now() - std::chrono::seconds(2);
    std::ofstream(folder / "one.mp4") << "12345";
    std::ofstream(folder / ".hidden.mp4") << "1";
    files.createDirectory(folder / "a/b/c");
    files.createDirectory(folder / "a/b/c");

    const auto entries = files.contentsOfDirectory(folder.path());
    ASSERT_EQ(entries.size(), 2U);
    const auto one = std::find_if(entries.begin(), entries.end(),
                                  [](const NSFileEntry& each) { return each.url.filename() == "one.mp4"; });
    ASSERT_NE(one, entries.end());
    EXPECT_EQ(one->size, 5U);
    ASSERT_TRUE(one->created);
    EXPECT_GT(*one->created, before);
    EXPECT_LT(*one->created, before + std::chrono::minutes(1));
}

TEST(FileManagerTests, FailuresAreOneSentenceWithThePath) {
    const test::TemporaryFolder folder;
    FileManager files;
    std::ofstream(folder / "file") << "x";
    const auto sentence = [](const auto& operation) -> std::string {
        try {
            operation();
        } catch (const PlatformError& error) {
            return error.what();
        }
        return "nothing thrown";
    };
    const std::string under = (folder / "file/below").string();
    EXPECT_NE(sentence([&] { files.createDirectory(under); }).find(under), std::string::npos);
    EXPECT_NE(sentence([&] { (void)files.contentsOfDirectory(folder / "none"); }).find("none"),
              std::string::npos);
    EXPECT_NE(sentence([&] { files.removeItem(folder / "none"); }).find("none"), std::string::npos);
}

TEST(FileManagerTests, ADanglingLinkTakesItsName) {
    const test::TemporaryFolder folder;
    FileManager files;
    EXPECT_FALSE(files.fileExists(folder / "link"));
    std::filesystem::create_symlink("nowhere", folder / "link");
    EXPECT_TRUE(files.fileExists(folder / "link"));
    files.removeItem(folder / "link");
    EXPECT_FALSE(files.fileExists(folder / "link"));
}

TEST(FileManagerTests, TellsTheVolumeOfWhatDoesNotExistYet) {
    const test::TemporaryFolder folder;
    const FileManager files;
    struct statvfs volume {};
    ASSERT_EQ(statvfs(folder.path().c_str(), &volume), 0);
    std::ofstream(folder / "file") << "x";
    std::filesystem::create_symlink("nowhere", folder / "link");
    for (const auto& url : {folder.path(), folder / "file", folder / "a.mp4", folder / "a/b/c.mp4",
                            folder / "file/below", folder / "link"}) {
        const auto capacity = files.volumeCapacity(url);
        ASSERT_TRUE(capacity) << url;
        EXPECT_EQ(capacity->total, std::uintmax_t{volume.f_blocks} * volume.f_frsize) << url;
        EXPECT_LE(capacity->available, capacity->total);
    }
    EXPECT_FALSE(files.volumeCapacity("/proc/a.mp4")) << "nothing can be stored there";
}

TEST(FileManagerTests, TheMoviesFolderIsTheDesktopsOwn) {
    const test::TemporaryFolder home;
    std::ofstream(home / "user-dirs.dirs") << "XDG_VIDEOS_DIR=\"" << home.path().string() << "/Filme\"\n";
    setenv("XDG_CONFIG_HOME", home.path().c_str(), 1);
    EXPECT_EQ(FileManager().moviesDirectory(), home / "Filme");
    unsetenv("XDG_CONFIG_HOME");
}

}  // namespace
}  // namespace lumicrate::desktop
