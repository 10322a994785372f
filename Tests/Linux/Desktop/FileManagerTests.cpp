#include "Linux/Desktop/FileManager.h"
#include "Support/Error.h"
#include "Tests/Linux/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>

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

std::string contentOf(const std::filesystem::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::filesystem::path write(const std::filesystem::path& path, const std::string& content) {
    std::ofstream(path) << content;
    return path;
}

TEST(FileManagerTests, RenamingOverwritesNothing) {
    const test::TemporaryFolder folder;
    FileManager files;
    const auto a = write(folder / "a.mp4", "a");
    const auto b = write(folder / "b.mp4", "b");
    EXPECT_THROW(files.moveItem(a, b), PlatformError);
    EXPECT_THROW(files.moveItem(folder / "none", folder / "c.mp4"), PlatformError);
    EXPECT_EQ(contentOf(a) + contentOf(b), "ab");
    files.moveItem(a, folder / "c.mp4");
    EXPECT_FALSE(files.fileExists(a));
    EXPECT_EQ(contentOf(folder / "c.mp4"), "a");
}

TEST(FileManagerTests, AReplacementKeepsDateAndPermissions) {
    using std::filesystem::perms;
    const test::TemporaryFolder folder;
    FileManager files;
    const auto original = write(folder / "a.mp4", "original");
    std::filesystem::permissions(original, perms::owner_read | perms::owner_write | perms::group_read);
    const auto longAgo = std::filesystem::file_time_type::clock::now() - std::chrono::hours(50);
    std::filesystem::last_write_time(original, longAgo);
    const auto created = files.attributes(original).created;
    ASSERT_TRUE(created);
    ASSERT_LT(*created, std::chrono::system_clock::now() - std::chrono::hours(49));

    const auto trimmed = write(folder / ".trim.mp4", "new");
    files.replaceItem(original, trimmed);
    EXPECT_EQ(contentOf(original), "new");
    EXPECT_FALSE(files.fileExists(trimmed));
    EXPECT_EQ(files.attributes(original).created, created);
    EXPECT_EQ(files.attributes(original).size, 3U);
    EXPECT_EQ(std::filesystem::status(original).permissions(),
              perms::owner_read | perms::owner_write | perms::group_read);

    const auto late = write(folder / ".late.mp4", "late");
    files.removeItem(original);
    EXPECT_THROW(files.replaceItem(original, late), PlatformError) << "it was deleted meanwhile";
    EXPECT_EQ(contentOf(late), "late");
    EXPECT_FALSE(files.fileExists(original));
    EXPECT_THROW(files.replaceItem(late, folder / "none"), PlatformError);
    EXPECT_EQ(contentOf(late), "late");
}

TEST(FileManagerTests, WhatIsNoFileHasNoSize) {
    const test::TemporaryFolder folder;
    const FileManager files;
    EXPECT_FALSE(files.attributes(folder.path()).size);
    EXPECT_FALSE(files.attributes(folder / "none").size);
    EXPECT_FALSE(files.attributes(folder / "none").created);
}

/// On the home folder's volume, and on one of its own where there is another.
TEST(FileManagerTests, TheTrashIsTheDesktops) {
    const test::TemporaryFolder home;
    setenv("XDG_DATA_HOME", (home / "data").c_str(), 1);
    FileManager files;
    for (const std::filesystem::path& volume : {home.path(), std::filesystem::path("/dev/shm")}) {
        const test::TemporaryFolder folder(volume);
        const auto name = folder.path().filename().string() + ".mp4";
        files.trashItem(write(folder / name, "trash"));
        EXPECT_FALSE(files.fileExists(folder / name)) << volume;
        const auto trash = volume / (".Trash-" + std::to_string(getuid()));
        bool found = false;
        for (const auto& place : {home / "data/Trash", trash, volume / ".Trash" / std::to_string(getuid())}) {
            if (!files.fileExists(place / "files" / name)) continue;
            found = true;
            EXPECT_EQ(contentOf(place / "files" / name), "trash");
            const std::string note = contentOf(place / "info" / (name + ".trashinfo"));
            EXPECT_NE(note.find("DeletionDate="), std::string::npos) << "it can be put back";
            files.removeItem(place / "files" / name);
            files.removeItem(place / "info" / (name + ".trashinfo"));
        }
        EXPECT_TRUE(found) << volume;
    }
    EXPECT_THROW(files.trashItem(home / "none"), PlatformError);
    unsetenv("XDG_DATA_HOME");
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
