#include "Linux/X11/Windows/ContentWatch.h"
#include "Linux/X11/Windows/WindowList.h"
#include "Tests/Linux/X11/Painter.h"
#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Stage/Xvfb.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>

namespace lumicrate::x11 {
namespace {

using namespace std::chrono_literals;
using test::cardinals;
using test::setProperty;
using test::TestWindow;
using Clock = std::chrono::steady_clock;

/// Counts calls, and looks at what there is to be seen at each.
class Listener {
 public:
    explicit Listener(std::function<bool()> look = [] { return false; }) : look_(std::move(look)) {}

    std::function<void()> handler() {
        return [this] {
            const bool seen = look_();
            const std::lock_guard lock(mutex_);
            ++calls_;
            seen_ = seen;
            changed_.notify_all();
        };
    }
    int calls() const {
        const std::lock_guard lock(mutex_);
        return calls_;
    }
    bool waitForMoreThan(int calls, std::chrono::milliseconds patience = 30s) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, patience, [&] { return calls_ > calls; });
    }
    /// Until the last look saw what it looks for.
    bool waitUntilSeen() {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, 30s, [&] { return seen_; });
    }
    /// Until no call has come for longer than one could be kept back.
    void settle() {
        while (waitForMoreThan(calls(), 3 * ContentWatch::interval)) {
        }
    }

 private:
    std::function<bool()> look_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    int calls_ = 0;
    bool seen_ = false;
};

class ContentWatchTests : public testing::Test {
 protected:
    void begin(bool windowManager) {
        server.emplace(stage::Xvfb::Options{.width = 800, .height = 600, .windowManager = windowManager});
    }
    TestWindow show(const TestWindow::Look& look) const { return {server->displayName(), look}; }
    /// Each of the changes alone has to be told of.
    void expectTold(const std::vector<std::pair<const char*, std::function<void()>>>& changes) {
        Listener listener;
        const ContentWatch watch(listener.handler(), server->displayName());
        for (const auto& [name, change] : changes) {
            listener.settle();
            const int before = listener.calls();
            change();
            EXPECT_TRUE(listener.waitForMoreThan(before)) << name;
        }
    }

    std::optional<stage::Xvfb> server;
};

TEST_F(ContentWatchTests, TellsOfEveryKindOfChange) {
    begin(false);
    test::Painter painter(server->displayName());
    TestWindow window = show({.frame = {10, 10, 200, 100}, .managed = true});
    TestWindow panel = show({.frame = {20, 20, 80, 40}});
    std::optional<TestWindow> another;
    expectTold({
        {"title", [&] { setProperty(window, window.id(), "WM_NAME", "STRING", std::string("new")); }},
        {"shadow",
         [&] {
             setProperty(window, window.id(), "_GTK_FRAME_EXTENTS", "CARDINAL", cardinals({9, 9, 9, 9}));
         }},
        {"move", [&] { window.move(30, 40); }},
        {"resize",
         [&] {
             window.place({30, 40, 210, 110});
         }},
        {"order", [&] { window.raise(); }},
        {"unmapped", [&] { panel.unmap(); }},
        {"mapped", [&] { panel.map(); }},
        {"new window",
         [&] {
             another.emplace(server->displayName(), TestWindow::Look{{0, 0, 90, 90}});
         }},
        {"title of the new one",
         [&] { setProperty(*another, another->id(), "_NET_WM_NAME", "UTF8_STRING", std::string("新")); }},
        {"program ended", [&] { another.reset(); }},
        {"monitor",
         [&] {
             painter.setMonitor("beamer", {0, 0, 300, 300});
         }},
        {"monitor gone", [&] { painter.deleteMonitor("beamer"); }},
        {"screen size", [&] { painter.resizeScreen(640, 480); }},
        {"window manager", [&] { server->startWindowManager(); }},
    });
}

TEST_F(ContentWatchTests, TellsOfWhatHappensInsideFrames) {
    begin(true);
    std::optional<TestWindow> window;
    WindowList list(server->displayName());
    expectTold({
        {"new window",
         [&] {
             window.emplace(server->displayName(),
                            TestWindow::Look{.frame = {10, 10, 200, 100}, .managed = true});
             EXPECT_TRUE(test::eventually([&] { return list.bounds(window->id()).has_value(); }));
         }},
        {"title",
         [&] { setProperty(*window, window->id(), "_NET_WM_NAME", "UTF8_STRING", std::string("x")); }},
        {"move", [&] { window->move(30, 40); }},
        {"minimised", [&] { test::minimize(*window); }},
        {"restored", [&] { window->map(); }},
    });
}

TEST_F(ContentWatchTests, ABurstIsToldAFewTimesAndItsEndAlways) {
    begin(false);
    TestWindow window = show({.frame = {0, 0, 200, 100}, .managed = true});
    WindowList list(server->displayName());
    Listener listener([&] { return list.bounds(window.id())->x == 555; });
    const ContentWatch watch(listener.handler(), server->displayName());
    const auto start = Clock::now();
    for (int i = 0; Clock::now() < start + 1s; ++i)
        window.move(i % 500, i % 300);
    window.move(555, 5);
    EXPECT_TRUE(listener.waitUntilSeen());
    listener.settle();
    const auto most = (Clock::now() - start) / ContentWatch::interval;
    EXPECT_LE(listener.calls(), most);
}

TEST_F(ContentWatchTests, SaysNothingOfWhatIsNoChange) {
    begin(false);
    TestWindow window = show({.frame = {10, 10, 200, 100}, .managed = true});
    test::Painter painter(server->displayName());
    Listener listener;
    const ContentWatch watch(listener.handler(), server->displayName());
    listener.settle();
    const int before = listener.calls();
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

TEST_F(ContentWatchTests, EndsInEveryState) {
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
