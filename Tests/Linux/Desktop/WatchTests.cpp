// SPDX-License-Identifier: GPL-3.0-or-later
// Following folders, and the settings file, that other processes change.
#include "Linux/Desktop/FolderWatch.h"
#include "Linux/Desktop/UserDefaults.h"
#include "Tests/Linux/Desktop/EventLoop.h"
#include "Tests/Linux/TemporaryFolder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <QTimer>
#include <optional>

namespace lumicrate::desktop {
namespace {

using Path = std::filesystem::path;
using test::await;
using test::writeText;
using testing::UnorderedElementsAre;

class FolderWatchTests : public testing::Test {
 protected:
    void watchFolder() {
        watch.emplace(folder);
        watch->setOnChange([this](const FolderChanges& changes) {
            ++reports;
            everything = everything || changes.everything;
            urls.insert(changes.urls.begin(), changes.urls.end());
        });
    }
    /// The whole folder is reported. Forgets that.
    void expectEverything() {
        ASSERT_TRUE(await([this] { return everything; }));
        urls.clear();
        everything = false;
    }
    /// The whole folder is reported, and after that a new file in it.
    void expectFound() {
        expectEverything();
        writeText(folder / "found.mp4", "x");
        ASSERT_TRUE(await([this] { return urls.contains(folder / "found.mp4"); }));
        std::filesystem::remove(folder / "found.mp4");
    }

    test::TemporaryFolder home;
    Path folder = home / "Videos/Lumicrate";
    std::set<Path> urls;
    bool everything = false;
    int reports = 0;
    std::optional<FolderWatch> watch;
};

TEST_F(FolderWatchTests, ReportsCreatedWrittenRenamedAndDeletedFiles) {
    for (const char* name : {"old.mp4", "renamed.mp4", "deleted.mp4", "unchanged.mp4"})
        writeText(folder / name, "x");
    watchFolder();
    std::ofstream(folder / "old.mp4", std::ios::app) << "more";
    std::filesystem::rename(folder / "renamed.mp4", folder / "new name.mp4");
    std::filesystem::remove(folder / "deleted.mp4");
    writeText(folder / "created.mp4", "x");
    writeText(folder / ".hidden.mp4", "x");
    ASSERT_TRUE(await([this] { return urls.size() >= 5; }));
    EXPECT_THAT(urls,
                UnorderedElementsAre(folder / "old.mp4", folder / "renamed.mp4", folder / "new name.mp4",
                                     folder / "deleted.mp4", folder / "created.mp4"));
    EXPECT_FALSE(everything);
}

TEST_F(FolderWatchTests, ReportsWritesToAFileThatWasCreatedWithoutAName) {
    std::filesystem::create_directories(folder);
    watchFolder();
    const int file = open(folder.c_str(), O_TMPFILE | O_RDWR, 0600);
    if (file < 0) GTEST_SKIP() << "this file system has no O_TMPFILE";
    const std::string link = "/proc/self/fd/" + std::to_string(file);
    ASSERT_EQ(linkat(AT_FDCWD, link.c_str(), AT_FDCWD, (folder / "a.mp4").c_str(), AT_SYMLINK_FOLLOW), 0);
    ASSERT_TRUE(await([this] { return urls.contains(folder / "a.mp4"); }));
    urls.clear();
    everything = false;
    ASSERT_EQ(::write(file, "more", 4), 4);
    close(file);
    EXPECT_TRUE(await([this] { return everything || urls.contains(folder / "a.mp4"); }));
}

TEST_F(FolderWatchTests, FindsTheFolderWheneverItAppears) {
    watchFolder();
    std::filesystem::create_directories(folder);
    expectFound();
    std::filesystem::remove_all(home / "Videos");
    expectEverything();
    std::filesystem::create_directory(home / "Videos");
    std::filesystem::create_directory(home / "elsewhere");
    std::filesystem::rename(home / "elsewhere", folder);
    expectFound();
    // Moved away together with its parent, and created again.
    std::filesystem::rename(home / "Videos", home / "Other");
    expectEverything();
    writeText(home / "Other/Lumicrate/not here.mp4", "x");
    std::filesystem::create_directories(folder);
    expectFound();
    EXPECT_FALSE(urls.contains(folder / "not here.mp4"));
}

TEST_F(FolderWatchTests, ManyChangesAreReportedTogether) {
    std::filesystem::create_directories(folder);
    watchFolder();
    for (int i = 0; i < 2000; ++i)
        writeText(folder / (std::to_string(i) + ".mp4"), "x");
    ASSERT_TRUE(await([this] { return everything; }));
    EXPECT_LT(reports, 100);
}

class LiveDefaultsTests : public testing::Test {
 protected:
    void write(const std::string& lines) const { writeText(file, "[General]\n" + lines + "\n"); }
    void expectFps(std::int64_t fps) {
        EXPECT_TRUE(await([&] { return seen == fps; })) << fps;
    }
    /// Longer than changes are gathered before they are reported.
    static void awaitLateReports() {
        bool over = false;
        QTimer::singleShot(400, QCoreApplication::instance(), [&] { over = true; });
        EXPECT_TRUE(await([&] { return over; }));
    }
    /// The inotify instances of this process.
    static int watches() {
        int count = 0;
        for (const auto& each : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code closed;
            if (std::filesystem::read_symlink(each, closed) == "anon_inode:inotify") ++count;
        }
        return count;
    }

    test::TemporaryFolder folder;
    Path file = folder / "Lumicrate/lumicrate.conf";
    std::optional<UserDefaults> defaults{std::in_place, file};
    std::int64_t seen = -1;
    int notified = 0;
    std::function<void()> update = [this] {
        ++notified;
        seen = defaults->integerForKey("fps");
    };
};

TEST_F(LiveDefaultsTests, AnyExternalChangeIsReported) {
    const Subscription subscription = defaults->observe(update);
    // Created, written, replaced by an editor, damaged, deleted.
    UserDefaults(file).set("fps", std::int64_t{15});
    expectFps(15);
    write("fps=24");
    expectFps(24);
    std::filesystem::rename(writeText(folder / "Lumicrate/other", "[General]\nfps=60\n"), file);
    expectFps(60);
    writeText(file, std::string(100, '\0') + "]\n[[=fps\n=");
    expectFps(0);
    std::filesystem::remove_all(file.parent_path());
    write("fps=30");
    expectFps(30);
}

TEST_F(LiveDefaultsTests, OwnChangesAreReportedOnceAndOtherFilesNotAtAll) {
    const Subscription subscription = defaults->observe(update);
    defaults->set("fps", std::int64_t{24});
    EXPECT_EQ(std::pair(notified, seen), std::pair(1, std::int64_t{24}));
    std::ofstream(file, std::ios::app) << "\n";
    writeText(folder / "Lumicrate/neighbour", "x");
    awaitLateReports();
    UserDefaults(file).set("fps", std::int64_t{60});
    expectFps(60);
    EXPECT_EQ(notified, 2);
}

TEST_F(LiveDefaultsTests, TheFileIsWatchedOnlyWhileObserved) {
    write("fps=24");
    // A watch that was notified last is deleted in the next turn of the event loop.
    ASSERT_TRUE(await([] { return watches() == 0; }));
    std::optional<Subscription> first(defaults->observe(update));
    std::optional<Subscription> last(defaults->observe([&] { last.reset(); }));
    EXPECT_EQ(watches(), 1);
    first.reset();
    EXPECT_EQ(watches(), 1);
    // The last observer unsubscribes while it is notified.
    write("fps=60\ncountdown=false");
    EXPECT_TRUE(await([&] { return !last; }));
    EXPECT_TRUE(await([] { return watches() == 0; }));
    // The defaults are destroyed before their observer.
    first.emplace(defaults->observe(update));
    defaults.reset();
    write("fps=15");
    awaitLateReports();
    EXPECT_EQ(notified, 0);
}

}  // namespace
}  // namespace lumicrate::desktop
