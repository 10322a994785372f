#include "Linux/X11/Input/ButtonWatch.h"
#include "Support/Error.h"
#include "Tests/Linux/X11/MainQueue.h"
#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Xvfb.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>

namespace lumicrate::x11 {
namespace {

using testing::ElementsAre;

class ButtonWatchTests : public testing::Test {
 protected:
    void tool(std::vector<std::string> arguments) const {
        stage::runProgram(std::move(arguments),
                          {{"DISPLAY", server.displayName()}, {"XAUTHORITY", std::nullopt}});
    }
    void click(int button) const { tool({"xdotool", "click", std::to_string(button)}); }
    std::function<void(bool)> into(std::vector<bool>& list) {
        return [&list](bool secondary) { list.push_back(secondary); };
    }
    bool awaitClicks(std::size_t count) {
        return queue.runUntil([&] { return clicks.size() >= count; });
    }

    stage::Xvfb server{{.width = 200, .height = 200}};
    test::MainQueue queue;
    std::optional<ButtonWatch> watch{std::in_place, queue, server.displayName()};
    std::vector<bool> clicks;
};

TEST_F(ButtonWatchTests, HearsLeftAndRightOverEveryWindow) {
    const test::TestWindow window(server.displayName(), {.frame = {100, 0, 100, 200}});
    const auto monitor = watch->addMouseDownMonitor(into(clicks));
    for (const char* x : {"20", "150"}) {
        clicks.clear();
        tool({"xdotool", "mousemove", x, "50", "click", "2", "click", "1", "click", "4", "click", "3",
              "mousedown", "1", "mousemove", "60", "60", "mouseup", "1"});
        ASSERT_TRUE(awaitClicks(3)) << x;
        EXPECT_THAT(clicks, ElementsAre(false, true, false)) << x;
    }
}

TEST_F(ButtonWatchTests, ButtonsCountAsTheUserHasArrangedThem) {
    const auto monitor = watch->addMouseDownMonitor(into(clicks));
    const std::uint64_t before = watch->eventCount();
    tool({"xmodmap", "-e", "pointer = 3 2 1"});
    ASSERT_TRUE(test::eventually([&] { return watch->eventCount() > before; }));
    click(1);
    click(3);
    ASSERT_TRUE(awaitClicks(2));
    EXPECT_THAT(clicks, ElementsAre(true, false));
}

TEST_F(ButtonWatchTests, AsksOnlyWhileSomebodyListens) {
    std::vector<bool> others;
    auto first = watch->addMouseDownMonitor(into(clicks));
    std::unique_ptr<NSEventMonitor> second = watch->addMouseDownMonitor([&](bool secondary) {
        others.push_back(secondary);
        second.reset();
    });
    click(1);
    click(3);
    ASSERT_TRUE(awaitClicks(2));
    EXPECT_THAT(others, ElementsAre(false));
    first.reset();

    const std::uint64_t before = watch->eventCount();
    click(1);
    first = watch->addMouseDownMonitor(into(clicks));
    click(3);
    ASSERT_TRUE(awaitClicks(3));
    EXPECT_THAT(clicks, ElementsAre(false, true, true));
    EXPECT_EQ(watch->eventCount(), before + 1);
    // The watch goes first.
    click(1);
    ASSERT_TRUE(queue.waitForWork());
    watch.reset();
    queue.post([&] { clicks.push_back(true); });
    ASSERT_TRUE(awaitClicks(4));
    EXPECT_TRUE(clicks.back());
}

TEST_F(ButtonWatchTests, OutlivesTheServer) {
    EXPECT_THROW(ButtonWatch(queue, ":4711"), PlatformError);
    auto monitor = watch->addMouseDownMonitor(into(clicks));
    server.kill();
    monitor.reset();
    monitor = watch->addMouseDownMonitor(into(clicks));
}

}  // namespace
}  // namespace lumicrate::x11
