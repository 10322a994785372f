#include "Linux/X11/Windows/ContentWatch.h"
#include "Linux/X11/Windows/WindowList.h"
#include "Tests/Linux/X11/Painter.h"
#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Stage/Xvfb.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

namespace lumicrate::x11 {
namespace {

using namespace std::chrono_literals;
using test::cardinals;
using test::setProperty;
using test::TestWindow;
using Clock = std::chrono::steady_clock;

/// Counts calls, and evaluates a condition at each.
class Listener {
 public:
    explicit Listener(std::function<bool()> condition = [] { return false; })
        : condition_(std::move(condition)) {}

    std::function<void()> handler() {
        return [this] {
            const bool holds = condition_();
            const std::lock_guard lock(mutex_);
            ++calls_;
            held_ = holds;
            changed_.notify_all();
        };
    }
    int calls() const {
        const std::lock_guard lock(mutex_);
        return calls_;
    }
    bool waitForMoreThan(int calls, std::chrono::milliseconds timeout = 30s) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, timeout, [&] { return calls_ > calls; });
    }
    /// Until the condition held at the last call.
    bool waitForCondition() {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, 30s, [&] { return held_; });
    }
    /// Until no call has come for longer than one could be delayed; the number of calls.
    int settle() {
        while (waitForMoreThan(calls(), 3 * ContentWatch::interval)) {
        }
        return calls();
    }

 private:
    std::function<bool()> condition_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    int calls_ = 0;
    bool held_ = false;
};

class ContentWatchTests : public testing::Test {
 protected:
    void begin(bool windowManager) {
        server.emplace(stage::Xvfb::Options{.width = 800, .height = 600, .windowManager = windowManager});
    }
    TestWindow show(const TestWindow::Look& look) const { return {server->displayName(), look}; }
    /// Each of the changes alone must be noticed.
    void expectNoticed(const std::vector<std::pair<const char*, std::function<void()>>>& changes) {
        Listener listener;
        const ContentWatch watch(listener.handler(), server->displayName());
        for (const auto& [name, change] : changes) {
            const int before = listener.settle();
            change();
            EXPECT_TRUE(listener.waitForMoreThan(before)) << name;
        }
    }

    std::optional<stage::Xvfb> server;
};

TEST_F(ContentWatchTests, EveryKindOfChangeIsNoticed) {
    begin(false);
    test::Painter painter(server->displayName());
    TestWindow window = show({.frame = {10, 10, 200, 100}, .managed = true});
    TestWindow panel = show({.frame = {20, 20, 80, 40}});
    std::optional<TestWindow> another;
    const TestWindow::Look look{{0, 0, 90, 90}};
    const PixelRect enlarged{30, 40, 210, 110};
    const PixelRect monitor{0, 0, 300, 300};
    const auto shadow = cardinals({9, 9, 9, 9});
    expectNoticed({
        {"title", [&] { setProperty(window, window.id(), "WM_NAME", "STRING", std::string("new")); }},
        {"shadow", [&] { setProperty(window, window.id(), "_GTK_FRAME_EXTENTS", "CARDINAL", shadow); }},
        {"move", [&] { window.move(30, 40); }},
        {"resize", [&] { window.place(enlarged); }},
        {"order", [&] { window.raise(); }},
        {"unmapped", [&] { panel.unmap(); }},
        {"mapped", [&] { panel.map(); }},
        {"new window", [&] { another.emplace(server->displayName(), look); }},
        {"title of the new one",
         [&] { setProperty(*another, another->id(), "_NET_WM_NAME", "UTF8_STRING", std::string("新")); }},
        {"program ended", [&] { another.reset(); }},
        {"monitor", [&] { painter.setMonitor("beamer", monitor); }},
        {"monitor gone", [&] { painter.deleteMonitor("beamer"); }},
        {"screen size", [&] { painter.resizeScreen(640, 480); }},
        {"window manager", [&] { server->startWindowManager(); }},
    });
}

TEST_F(ContentWatchTests, ChangesInsideFramesAreNoticed) {
    begin(true);
    std::optional<TestWindow> window;
    WindowList list(server->displayName());
    const TestWindow::Look look{.frame = {10, 10, 200, 100}, .managed = true};
    expectNoticed({
        {"new window",
         [&] {
             window.emplace(server->displayName(), look);
             EXPECT_TRUE(test::eventually([&] { return list.bounds(window->id()).has_value(); }));
         }},
        {"title",
         [&] { setProperty(*window, window->id(), "_NET_WM_NAME", "UTF8_STRING", std::string("x")); }},
        {"move", [&] { window->move(30, 40); }},
        {"minimised", [&] { test::minimize(*window); }},
        {"restored", [&] { window->map(); }},
    });
}

TEST_F(ContentWatchTests, BurstsAreLimitedButTheirEndIsNoticedAndOtherEventsAreIgnored) {
    begin(false);
    TestWindow window = show({.frame = {0, 0, 200, 100}, .managed = true});
    test::Painter painter(server->displayName());
    WindowList list(server->displayName());
    Listener listener([&] { return list.bounds(window.id())->x == 555; });
    const ContentWatch watch(listener.handler(), server->displayName());
    const auto start = Clock::now();
    for (int i = 0; Clock::now() < start + 1s; ++i)
        window.move(i % 500, i % 300);
    window.move(555, 5);
    EXPECT_TRUE(listener.waitForCondition());
    const int before = listener.settle();
    EXPECT_LE(before, (Clock::now() - start) / ContentWatch::interval);

    painter.movePointer(3, 3);
    window.fill(0x123456);
    for (std::uint32_t time = 1; time < 20; ++time)
        setProperty(window, window.id(), "_NET_WM_USER_TIME", "CARDINAL", cardinals({time}));
    xcb_create_window(window.connection(), XCB_COPY_FROM_PARENT, xcb_generate_id(window.connection()),
                      test::rootOf(window), 0, 0, 9, 9, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
    window.sync();
    EXPECT_FALSE(listener.waitForMoreThan(before, 2 * ContentWatch::interval));
}

TEST_F(ContentWatchTests, ItEndsInEveryState) {
    EXPECT_THROW(ContentWatch([] {}, ":4711"), PlatformError);
    begin(false);
    TestWindow window = show({.frame = {0, 0, 200, 100}});
    for (int i = 0; i < 20; ++i) {
        std::atomic<bool> over = false;
        {
            const ContentWatch watch([&] { EXPECT_FALSE(over); }, server->displayName());
            window.move(i, 0);
            if (i % 2 == 0) window.move(i, 1);
        }
        over = true;
        window.move(i, 2);
    }
    Listener listener;
    const ContentWatch watch(listener.handler(), server->displayName());
    server->kill();
    EXPECT_FALSE(listener.waitForMoreThan(0, ContentWatch::interval));
}

}  // namespace
}  // namespace lumicrate::x11
