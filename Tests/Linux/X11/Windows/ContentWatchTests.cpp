#include "Linux/X11/Windows/ContentWatch.h"
#include "Linux/X11/Windows/WindowList.h"
#include "Tests/Linux/X11/Painter.h"
#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Stage/Xvfb.h"

#include <gtest/gtest.h>

#include <atomic>

namespace lumicrate::x11 {
namespace {

using namespace std::chrono_literals;
using test::cardinals;
using test::eventually;
using test::setProperty;
using test::TestWindow;
using Clock = std::chrono::steady_clock;

/// Counts the calls of a watch, and remembers whether a condition held at the last one.
class Listener {
 public:
    explicit Listener(std::function<bool()> condition = [] { return false; })
        : condition_(std::move(condition)) {}

    std::function<void()> handler() {
        return [this] {
            held_ = condition_();
            ++calls_;
        };
    }
    bool held() const { return held_; }
    int calls() const { return calls_; }
    bool waitForMoreThan(int calls, std::chrono::milliseconds timeout = 30s) const {
        return eventually([&] { return calls_ > calls; }, timeout);
    }
    /// Until no call has come for longer than one could be delayed; the number of calls.
    int settle() const {
        while (waitForMoreThan(calls(), 3 * ContentWatch::interval)) {
        }
        return calls();
    }

 private:
    std::function<bool()> condition_;
    std::atomic<int> calls_ = 0;
    std::atomic<bool> held_ = false;
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
    const auto set = [](TestWindow& of, const char* name, const char* type, const auto& values) {
        setProperty(of, of.id(), name, type, values);
    };
    expectNoticed({
        {"title", [&] { set(window, "WM_NAME", "STRING", std::string("new")); }},
        {"shadow",
         [&] {
             set(window, "_GTK_FRAME_EXTENTS", "CARDINAL", cardinals({9, 9, 9, 9}));
         }},
        {"move", [&] { window.move(30, 40); }},
        {"resize", [&] { window.place(enlarged); }},
        {"order", [&] { window.raise(); }},
        {"unmapped", [&] { panel.unmap(); }},
        {"mapped", [&] { panel.map(); }},
        {"new window", [&] { another.emplace(server->displayName(), look); }},
        {"title of the new one", [&] { set(*another, "_NET_WM_NAME", "UTF8_STRING", std::string("新")); }},
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
             EXPECT_TRUE(eventually([&] { return list.bounds(window->id()).has_value(); }));
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
    EXPECT_TRUE(eventually([&] { return listener.held(); }));
    const int before = listener.settle();
    EXPECT_LE(before, (Clock::now() - start) / ContentWatch::interval);

    painter.movePointer(3, 3);
    window.fill(0x123456);
    for (std::uint32_t time = 1; time < 20; ++time)
        setProperty(window, window.id(), "_NET_WM_USER_TIME", "CARDINAL", cardinals({time}));
    test::makeWindow(window, test::rootOf(window), XCB_WINDOW_CLASS_INPUT_OUTPUT, false);
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
