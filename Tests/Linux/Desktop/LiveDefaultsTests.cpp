// Preferences that somebody else changes while they are in use.
#include "Linux/Desktop/UserDefaults.h"
#include "Tests/Linux/Desktop/EventLoop.h"
#include "Tests/Linux/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <QTimer>
#include <fstream>
#include <optional>

namespace lumicrate::desktop {
namespace {

class LiveDefaultsTests : public testing::Test {
 protected:
    void write(const std::filesystem::path& path, const std::string& lines) const {
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::trunc) << "[General]\n" << lines << "\n";
    }
    bool awaitFps(std::int64_t fps) {
        return test::await([&] { return seen == fps; });
    }
    /// For longer than changes are gathered before they are told.
    static void waitForWhatIsLate() {
        bool over = false;
        QTimer::singleShot(400, QCoreApplication::instance(), [&] { over = true; });
        EXPECT_TRUE(test::await([&] { return over; }));
    }
    /// Descriptors of watches on folders that this process has.
    static int watches() {
        int count = 0;
        for (const auto& each : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code gone;
            if (std::filesystem::read_symlink(each, gone) == "anon_inode:inotify") ++count;
        }
        return count;
    }

    int argc = 0;
    QCoreApplication application{argc, nullptr};
    test::TemporaryFolder folder;
    std::filesystem::path file = folder / "Lumicrate/lumicrate.conf";
    std::optional<UserDefaults> defaults{std::in_place, file};
    std::int64_t seen = -1;
    int told = 0;
    std::function<void()> look = [this] {
        ++told;
        seen = defaults->integerForKey("fps");
    };
};

TEST_F(LiveDefaultsTests, WhateverSomebodyElseDoesToTheFileIsTold) {
    const Subscription subscription = defaults->observe(look);
    // Another process makes it, writes into it, an editor puts another in its place, it goes.
    UserDefaults(file).set("fps", std::int64_t{15});
    EXPECT_TRUE(awaitFps(15));
    write(file, "fps=24");
    EXPECT_TRUE(awaitFps(24));
    write(folder / "Lumicrate/other", "fps=60\ncountdown=false");
    std::filesystem::rename(folder / "Lumicrate/other", file);
    EXPECT_TRUE(awaitFps(60));
    std::ofstream(file, std::ios::trunc) << std::string(100, '\0') << "]\n[[=fps\n=";
    EXPECT_TRUE(awaitFps(0));
    std::filesystem::remove_all(file.parent_path());
    write(file, "fps=30");
    EXPECT_TRUE(awaitFps(30));
}

TEST_F(LiveDefaultsTests, AChangeOfOurOwnIsToldOnceAndOneThatIsNoneNotAtAll) {
    const Subscription subscription = defaults->observe(look);
    defaults->set("fps", std::int64_t{24});
    EXPECT_EQ(std::pair(told, seen), std::pair(1, std::int64_t{24}));
    std::ofstream(file, std::ios::app) << "\n";
    std::ofstream(folder / "Lumicrate/neighbour") << "x";
    // All of this is looked at before what comes after it.
    waitForWhatIsLate();
    UserDefaults(file).set("fps", std::int64_t{60});
    EXPECT_TRUE(awaitFps(60));
    EXPECT_EQ(told, 2);
}

TEST_F(LiveDefaultsTests, TheFileIsWatchedOnlyWhileSomebodyObserves) {
    write(file, "fps=24");
    EXPECT_EQ(watches(), 0);
    std::optional<Subscription> first(defaults->observe(look));
    std::optional<Subscription> last(defaults->observe([&] { last.reset(); }));
    EXPECT_EQ(watches(), 1);
    first.reset();
    EXPECT_EQ(watches(), 1);
    // The last goes while it is told. A file of the same size might have the same time as well.
    write(file, "fps=60\ncountdown=false");
    EXPECT_TRUE(test::await([&] { return !last; }));
    EXPECT_TRUE(test::await([] { return watches() == 0; }));
    // The defaults go before their observer does.
    first.emplace(defaults->observe(look));
    defaults.reset();
    write(file, "fps=15");
    waitForWhatIsLate();
    EXPECT_EQ(told, 0);
}

}  // namespace
}  // namespace lumicrate::desktop
