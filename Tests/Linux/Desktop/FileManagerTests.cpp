// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Desktop/FileManager.h"
#include "Linux/Desktop/LoginItem.h"
#include "Support/ApplicationId.h"
#include "Support/Error.h"
#include "Tests/Linux/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace {

bool supportsNoReplace = true;

}  // namespace

/// Replaces the C library's function, to act like a file system without RENAME_NOREPLACE.
extern "C" int renameat2(int oldFolder, const char* from, int newFolder, const char* to,
                         unsigned flags) noexcept {
    if (supportsNoReplace)
        return static_cast<int>(syscall(SYS_renameat2, oldFolder, from, newFolder, to, flags));
    errno = EINVAL;
    return -1;
}

namespace lumicrate::desktop {
namespace {

using test::readText;
using test::writeText;
using testing::AllOf;
using testing::Field;
using testing::Gt;
using testing::HasSubstr;
using testing::Lt;
using testing::ThrowsMessage;
using testing::UnorderedElementsAre;

class FileManagerTests : public testing::Test {
 protected:
    test::TemporaryFolder folder;
    FileManager files;
};

TEST_F(FileManagerTests, ListsVisibleEntriesWithSizeAndDate) {
    const auto before = std::chrono::system_clock::now() - std::chrono::seconds(2);
    writeText(folder / "one.mp4", "12345");
    writeText(folder / ".hidden.mp4", "1");
    files.createDirectory(folder / "a/b/c");
    files.createDirectory(folder / "a/b/c");

    EXPECT_THAT(
        files.contentsOfDirectory(folder.path()),
        UnorderedElementsAre(
            AllOf(Field(&NSFileEntry::url, folder / "one.mp4"), Field(&NSFileEntry::size, 5U),
                  Field(&NSFileEntry::created, AllOf(Gt(before), Lt(before + std::chrono::minutes(1))))),
            AllOf(Field(&NSFileEntry::url, folder / "a"), Field(&NSFileEntry::size, std::nullopt))));
    EXPECT_FALSE(files.attributes(folder / "none").size);
    EXPECT_FALSE(files.attributes(folder / "none").created);
}

TEST_F(FileManagerTests, ErrorsNameThePath) {
    const std::string below = writeText(folder / "file", "x").string() + "/below";
    const std::string none = folder / "none";
    EXPECT_THAT([&] { files.createDirectory(below); }, ThrowsMessage<PlatformError>(HasSubstr(below)));
    EXPECT_THAT([&] { (void)files.contentsOfDirectory(none); },
                ThrowsMessage<PlatformError>(HasSubstr(none)));
    EXPECT_THAT([&] { files.removeItem(none); }, ThrowsMessage<PlatformError>(HasSubstr(none)));
    EXPECT_THAT([&] { files.trashItem(none); }, ThrowsMessage<PlatformError>(HasSubstr(none)));
}

TEST_F(FileManagerTests, RenamingNeverOverwrites) {
    for (const bool supported : {true, false}) {
        SCOPED_TRACE(supported);
        supportsNoReplace = supported;
        const auto a = writeText(folder / "a.mp4", "a");
        const auto b = writeText(folder / "b.mp4", "b");
        const std::string prefix = "The file couldn't be renamed: “";
        EXPECT_THAT([&] { files.moveItem(a, b); },
                    ThrowsMessage<PlatformError>(prefix + a.string() + "”: File exists"));
        EXPECT_THAT([&] { files.moveItem(folder / "none", folder / "c.mp4"); },
                    ThrowsMessage<PlatformError>(prefix + (folder / "none").string() +
                                                 "”: No such file or directory"));
        EXPECT_EQ(readText(a) + readText(b), "ab");
        files.moveItem(a, folder / "c.mp4");
        EXPECT_FALSE(files.fileExists(a));
        EXPECT_EQ(readText(folder / "c.mp4"), "a");
        files.removeItem(folder / "c.mp4");
    }
    supportsNoReplace = true;
}

TEST_F(FileManagerTests, AReplacementKeepsDateAndPermissions) {
    using std::filesystem::perms;
    const auto original = writeText(folder / "a.mp4", "original");
    const perms permissions = perms::owner_read | perms::owner_write | perms::group_read;
    std::filesystem::permissions(original, permissions);
    const auto longAgo = std::filesystem::file_time_type::clock::now() - std::chrono::hours(50);
    std::filesystem::last_write_time(original, longAgo);
    const auto created = files.attributes(original).created;
    ASSERT_LT(created, std::chrono::system_clock::now() - std::chrono::hours(49));

    const auto trimmed = writeText(folder / ".trim.mp4", "new");
    files.replaceItem(original, trimmed);
    EXPECT_EQ(readText(original), "new");
    EXPECT_FALSE(files.fileExists(trimmed));
    EXPECT_EQ(files.attributes(original).created, created);
    EXPECT_EQ(files.attributes(original).size, 3U);
    EXPECT_EQ(std::filesystem::status(original).permissions(), permissions);

    const auto late = writeText(folder / ".late.mp4", "late");
    files.removeItem(original);
    EXPECT_THROW(files.replaceItem(original, late), PlatformError) << "deleted in the meantime";
    EXPECT_FALSE(files.fileExists(original));
    EXPECT_THROW(files.replaceItem(late, folder / "none"), PlatformError);
    EXPECT_EQ(readText(late), "late");
}

/// On the volume of the home folder, and on another one.
TEST_F(FileManagerTests, UsesTheTrashOfTheDesktop) {
    const test::TemporaryFolder home;
    setenv("XDG_DATA_HOME", (home / "data").c_str(), 1);
    for (const std::filesystem::path& volume : {home.path(), std::filesystem::path("/dev/shm")}) {
        const test::TemporaryFolder place(volume);
        const auto name = place.path().filename().string() + ".mp4";
        files.trashItem(writeText(place / name, "trash"));
        EXPECT_FALSE(files.fileExists(place / name)) << volume;
        const std::string user = std::to_string(getuid());
        int found = 0;
        for (const auto& trash :
             {home / "data/Trash", volume / (".Trash-" + user), volume / ".Trash" / user}) {
            if (!files.fileExists(trash / "files" / name)) continue;
            ++found;
            EXPECT_EQ(readText(trash / "files" / name), "trash");
            EXPECT_NE(readText(trash / "info" / (name + ".trashinfo")).find("DeletionDate="),
                      std::string::npos);
            files.removeItem(trash / "files" / name);
            files.removeItem(trash / "info" / (name + ".trashinfo"));
        }
        EXPECT_EQ(found, 1) << volume;
    }
    unsetenv("XDG_DATA_HOME");
}

TEST_F(FileManagerTests, KnowsTheCapacityForDanglingLinksAndFilesThatDoNotExistYet) {
    struct statvfs volume {};
    ASSERT_EQ(statvfs(folder.path().c_str(), &volume), 0);
    writeText(folder / "file", "x");
    EXPECT_FALSE(files.fileExists(folder / "link"));
    EXPECT_FALSE(files.fileExists(folder / std::string(256, 'x'))) << "no such name is possible";
    std::filesystem::create_symlink("nowhere", folder / "link");
    EXPECT_TRUE(files.fileExists(folder / "link"));
    for (const auto& url : {folder.path(), folder / "file", folder / "a.mp4", folder / "a/b/c.mp4",
                            folder / "file/below", folder / "link"}) {
        const auto capacity = files.volumeCapacity(url);
        ASSERT_TRUE(capacity) << url;
        EXPECT_EQ(capacity->total, std::uintmax_t{volume.f_blocks} * volume.f_frsize) << url;
        EXPECT_LE(capacity->available, capacity->total);
    }
    EXPECT_FALSE(files.volumeCapacity("/proc/a.mp4"));
    files.removeItem(folder / "link");
    EXPECT_FALSE(files.fileExists(folder / "link"));
}

TEST_F(FileManagerTests, FindsTheVideosFolderOfTheUser) {
    writeText(folder / "user-dirs.dirs", "XDG_VIDEOS_DIR=\"" + folder.path().string() + "/Filme\"\n");
    setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1);
    EXPECT_EQ(files.moviesDirectory(), folder / "Filme");
    unsetenv("XDG_CONFIG_HOME");
}

class LoginItemTests : public testing::Test {
 protected:
    test::TemporaryFolder home;
    std::filesystem::path entry = home / "autostart" / (std::string(applicationId) + ".desktop");
    LoginItem item{"/opt/Lumicrate/lumicrate", home / "autostart"};
};

TEST_F(LoginItemTests, WritesAndRemovesTheEntry) {
    EXPECT_FALSE(item.isEnabled());
    item.unregisterLoginItem();
    // Arguments are quoted, and the line is escaped once more as a string value.
    const std::pair<const char*, const char*> programs[] = {
        {"/opt/Lumicrate/lumicrate", R"("/opt/Lumicrate/lumicrate")"},
        {"/a b/c", R"("/a b/c")"},
        {R"(/a"b`c$d\e%f)", R"("/a\\"b\\`c\\$d\\\\e%%f")"},
        {"/a\nb\tc\rd", R"("/a\nb\tc\rd")"},
    };
    for (const auto& [program, written] : programs) {
        LoginItem(program, home / "autostart").registerLoginItem();
        EXPECT_TRUE(item.isEnabled());
        EXPECT_EQ(test::readText(entry),
                  "[Desktop Entry]\nType=Application\nName=Lumicrate\nIcon=" + std::string(applicationId) +
                      "\nExec=" + std::string(written) + " \"--background\"\n");
    }
    item.unregisterLoginItem();
    EXPECT_FALSE(item.isEnabled());
    EXPECT_FALSE(std::filesystem::exists(entry));
}

TEST_F(LoginItemTests, RespectsChangesByOtherPrograms) {
    const std::pair<const char*, bool> cases[] = {
        {"[Desktop Entry]\nExec=lumicrate\n", true},
        {"[Desktop Entry]\nHidden = true\nExec=lumicrate\n", false},
        {"[Desktop Entry]\nHidden=false\nExec=lumicrate", true},
        {"[Desktop Entry]\nExec=lumicrate\n#Hidden=true\n[Other]\nHidden=true\n", true},
        {"[Desktop Entry]\nExec=lumicrate\nX-GNOME-Autostart-enabled=false\n", false},
        {"[Desktop Entry]\n", false},
        {"", false},
    };
    for (const auto& [text, enabled] : cases) {
        test::writeText(entry, text);
        EXPECT_EQ(item.isEnabled(), enabled) << text;
        item.registerLoginItem();
        EXPECT_TRUE(item.isEnabled()) << text;
    }
}

TEST_F(LoginItemTests, ReportsWhatCannotBeChanged) {
    test::writeText(home / "autostart", "a file where the folder should be");
    EXPECT_THROW(item.registerLoginItem(), PlatformError);
    std::filesystem::remove(home / "autostart");
    std::filesystem::create_directories(entry / "a folder where the entry should be");
    EXPECT_THROW(item.registerLoginItem(), PlatformError);
    EXPECT_THROW(item.unregisterLoginItem(), PlatformError);
    EXPECT_FALSE(item.isEnabled());
}

}  // namespace
}  // namespace lumicrate::desktop
