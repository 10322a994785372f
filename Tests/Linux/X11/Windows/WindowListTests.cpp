// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Windows/ContentWatch.h"
#include "Linux/X11/Windows/WindowList.h"
#include "Linux/X11/Windows/WindowOrder.h"
#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Stage/Xvfb.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>

namespace lumicrate::x11 {
namespace {

using namespace std::chrono_literals;
using test::cardinals;
using test::eventually;
using test::setProperty;
using test::TestWindow;
using testing::ElementsAre;
using Clock = std::chrono::steady_clock;

class WindowListTests : public testing::Test {
 protected:
    std::vector<std::uint32_t> ids(bool onlyManaged = false) const {
        std::vector<std::uint32_t> all;
        for (const SCWindow& each : list->windows())
            if (!onlyManaged || each.windowLayer == 0) all.push_back(each.windowID);
        return all;
    }
    /// Without the window manager's own windows.
    std::vector<std::uint32_t> managedIds() const { return ids(true); }
    std::optional<SCWindow> find(std::uint32_t id) const {
        for (const SCWindow& each : list->windows())
            if (each.windowID == id) return each;
        return std::nullopt;
    }
    void begin(bool windowManager, double scale = 1) {
        server.emplace(stage::Xvfb::Options{.width = 800, .height = 600, .windowManager = windowManager});
        list.emplace(server->displayName(), scale);
    }
    TestWindow show(const TestWindow::Look& look) const { return {server->displayName(), look}; }
    /// A window's frame as the server reports it, with border.
    Rect outline(xcb_window_t window) const {
        const Connection connection(server->displayName());
        const auto is = connection.await(xcb_get_geometry_reply, xcb_get_geometry(connection.get(), window));
        const double borders = 2.0 * is->border_width;
        return {double(is->x), double(is->y), is->width + borders, is->height + borders};
    }

    std::optional<stage::Xvfb> server;
    std::optional<WindowList> list;
};

TEST_F(WindowListTests, ManagedWindowsAreListedInTheirFramesFrontToBack) {
    begin(true);
    TestWindow back = show({.frame = {100, 100, 300, 200}, .managed = true, .title = "back"});
    ASSERT_TRUE(eventually([&] { return find(back.id()); }));
    TestWindow front = show({.frame = {200, 150, 300, 200}, .managed = true, .title = "front"});
    ASSERT_TRUE(eventually([&] { return find(front.id()); }));
    test::raise(front);
    ASSERT_TRUE(eventually([&] { return managedIds() == std::vector{front.id(), back.id()}; }));
    test::raise(back);
    ASSERT_TRUE(eventually([&] { return managedIds() == std::vector{back.id(), front.id()}; }));

    const SCWindow window = find(back.id()).value();
    EXPECT_EQ(window.title, "back");
    EXPECT_EQ(window.windowLayer, 0);
    EXPECT_EQ(window.owningApplication->processID, getpid());
    const xcb_window_t frame = topLevelOf(Connection(server->displayName()), back.id());
    ASSERT_NE(frame, back.id());
    EXPECT_EQ(window.frame, outline(frame));
    EXPECT_GT(window.frame.height, 205) << "a title bar";
    EXPECT_EQ(list->bounds(back.id()), window.frame);

    back.move(50, 60);
    EXPECT_TRUE(eventually([&] { return list->bounds(back.id())->x == 50; }));
    EXPECT_EQ(find(back.id())->frame, list->bounds(back.id()));

    test::minimize(back);
    EXPECT_TRUE(eventually([&] { return managedIds() == std::vector{front.id()}; }));
    EXPECT_EQ(list->bounds(back.id()), std::nullopt);

    front.place({-50, -20, 1000, 900});
    const xcb_window_t outer = topLevelOf(Connection(server->displayName()), front.id());
    EXPECT_TRUE(eventually([&] {
        const auto bounds = list->bounds(front.id());
        return bounds->width > 1000 && bounds == outline(outer);
    })) << "larger than the screen";
    TestWindow menu = show({.frame = {150, 150, 80, 120}});
    ASSERT_TRUE(eventually([&] { return find(menu.id()); }));
    const std::vector<std::uint32_t> all = ids();
    EXPECT_LT(std::ranges::find(all, menu.id()), std::ranges::find(all, front.id()));
    test::ask(front, "_NET_WM_STATE", {1, stage::internAtom(front.connection(), "_NET_WM_STATE_FULLSCREEN")});
    EXPECT_TRUE(eventually([&] { return list->bounds(front.id()) == Rect{0, 0, 800, 600}; }));
}

TEST_F(WindowListTests, WithoutAWindowManagerPlainTopLevelsAreWindows) {
    begin(false, 2);
    TestWindow plain = show({.frame = {10, 20, 300, 200}, .managed = true, .borderWidth = 4});
    TestWindow panel = show({.frame = {0, 0, 80, 40}});
    TestWindow unseen = show({.frame = {0, 0, 80, 40}, .managed = true});
    unseen.unmap();
    const std::uint32_t inside = test::makeWindow(plain, plain.id(), XCB_WINDOW_CLASS_INPUT_OUTPUT);
    test::makeWindow(plain, test::rootOf(plain), XCB_WINDOW_CLASS_INPUT_ONLY);

    EXPECT_THAT(ids(), ElementsAre(panel.id(), plain.id()));
    EXPECT_EQ(find(plain.id())->windowLayer, 0);
    EXPECT_EQ(find(plain.id())->frame, (Rect{5, 10, 154, 104}));
    EXPECT_EQ(find(plain.id())->title, std::nullopt);
    EXPECT_EQ(find(panel.id())->windowLayer, 25);
    EXPECT_EQ(list->bounds(panel.id()), (Rect{0, 0, 40, 20}));
    for (const std::uint32_t none : {unseen.id(), inside, 0U, 0x1234567U})
        EXPECT_EQ(list->bounds(none), std::nullopt) << none;

    // Older window managers set WM_STATE on the window, and nothing on the root window.
    setProperty(plain, inside, "WM_STATE", "WM_STATE", cardinals({1, 0}));
    EXPECT_THAT(ids(), ElementsAre(panel.id(), inside));
    EXPECT_EQ(list->bounds(inside), (Rect{5, 10, 154, 104}));

    // Left behind by a window manager that has ended.
    setProperty(plain, plain.id(), "_NET_FRAME_EXTENTS", "CARDINAL", cardinals({9, 9, 9, 9}));
    EXPECT_EQ(list->bounds(plain.id()), (Rect{5, 10, 154, 104}));
}

TEST_F(WindowListTests, AListLeftBehindByAWindowManagerIsIgnored) {
    begin(false);
    TestWindow listed = show({.frame = {100, 100, 200, 100}, .managed = true});
    TestWindow other = show({.frame = {0, 0, 80, 40}, .managed = true});
    const xcb_window_t root = Connection(server->displayName()).root();
    const std::uint32_t sign = test::makeWindow(other, root, XCB_WINDOW_CLASS_INPUT_ONLY);
    for (const std::uint32_t holder : {root, sign})
        setProperty(other, holder, "_NET_SUPPORTING_WM_CHECK", "WINDOW", cardinals({sign}));
    setProperty(other, root, "_NET_CLIENT_LIST", "WINDOW", cardinals({listed.id()}));
    setProperty(listed, listed.id(), "_NET_FRAME_EXTENTS", "CARDINAL", cardinals({1, 2, 20, 4}));
    EXPECT_THAT(ids(), ElementsAre(other.id(), listed.id()));
    EXPECT_EQ(find(other.id())->windowLayer, 25);
    EXPECT_EQ(find(listed.id())->windowLayer, 0);
    EXPECT_EQ(find(listed.id())->frame, (Rect{99, 80, 203, 124})) << "decorated without a frame window";

    setProperty(listed, listed.id(), "_NET_WM_STATE", "ATOM",
                cardinals({stage::internAtom(listed.connection(), "_NET_WM_STATE_HIDDEN")}));
    EXPECT_THAT(ids(), ElementsAre(other.id())) << "minimised without being unmapped";
    EXPECT_EQ(list->bounds(listed.id()), std::nullopt);

    xcb_destroy_window(other.connection(), sign);
    other.sync();
    EXPECT_EQ(find(other.id())->windowLayer, 0);
}

TEST_F(WindowListTests, FramesExcludeShadows) {
    begin(false);
    TestWindow window = show({.frame = {100, 100, 300, 200}, .managed = true});
    for (const auto& [shadow, frame] :
         {std::pair{cardinals({26, 25, 23, 29}), Rect{126, 123, 249, 148}},
          std::pair{cardinals({0xFFFFFFFF, 1, 1, 1}), Rect{100, 100, 300, 200}}}) {
        setProperty(window, window.id(), "_GTK_FRAME_EXTENTS", "CARDINAL", shadow);
        EXPECT_EQ(list->bounds(window.id()), frame);
        EXPECT_EQ(find(window.id())->frame, frame);
    }
}

TEST_F(WindowListTests, TitlesAreDecodedFromAllEncodings) {
    begin(false);
    const struct {
        const char* property;
        const char* type;
        std::string bytes;
        std::string title;
    } cases[] = {
        {"WM_NAME", "STRING", "Caf\xE9", "Café"},
        {"WM_NAME", "COMPOUND_TEXT", "\x1b%Gнет\x1b%@ \xE9", "нет é"},
        {"WM_NAME", "UTF8_STRING", "日本", "日本"},
        {"_NET_WM_NAME", "UTF8_STRING", "", ""},
        {"_NET_WM_NAME", "UTF8_STRING", std::string(20000, 'x'), std::string(20000, 'x')},
    };
    TestWindow window = show({.frame = {0, 0, 80, 40}});
    for (const auto& [property, type, bytes, title] : cases) {
        setProperty(window, window.id(), property, type, bytes);
        EXPECT_EQ(find(window.id())->title, title) << type;
    }
}

TEST_F(WindowListTests, OwnersAreTheProcessesThatCreatedTheWindows) {
    begin(false);
    const pid_t child = fork();
    if (child == 0) {
        // Killed at the end of the test.
        TestWindow window = show({.frame = {0, 0, 80, 40}});
        setProperty(window, window.id(), "_NET_WM_PID", "CARDINAL", cardinals({1}));
        setProperty(window, window.id(), "WM_NAME", "STRING", std::string("ready"));
        pause();
    }
    ASSERT_TRUE(eventually([&] {
        const auto all = list->windows();
        return !all.empty() && all[0].title == "ready";
    }));
    const xcb_window_t foreign = ids().front();
    TestWindow own = show({.frame = {0, 0, 80, 40}});
    setProperty(own, own.id(), "WM_CLASS", "STRING", std::string("instance\0Class\0", 15));

    const auto owner = find(foreign).value_or(SCWindow()).owningApplication;
    EXPECT_EQ(owner, (SCRunningApplication{child, "x11-window-test"})) << "the program's name, cut by Linux";
    EXPECT_EQ(find(own.id())->owningApplication, (SCRunningApplication{getpid(), "Class"}));
    setProperty(own, own.id(), "WM_CLASS", "STRING", std::string("instance\0\0", 10));
    EXPECT_EQ(find(own.id())->owningApplication->applicationName, "instance");

    kill(child, SIGKILL);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_TRUE(eventually([&] { return !find(foreign); }));
}

TEST_F(WindowListTests, LayersFollowTypes) {
    begin(false);
    TestWindow managed = show({.frame = {0, 0, 80, 40}, .managed = true});
    TestWindow panel = show({.frame = {0, 0, 80, 40}});
    const struct {
        TestWindow& window;
        std::vector<const char*> types;
        int layer;
    } cases[] = {{managed, {"DIALOG"}, 0},        {managed, {"UNKNOWN", "DOCK", "NORMAL"}, 20},
                 {managed, {"DESKTOP"}, -1000},   {panel, {}, 25},
                 {panel, {"NORMAL", "DOCK"}, 25}, {panel, {"POPUP_MENU"}, 101}};
    for (const auto& [window, types, layer] : cases) {
        std::vector<xcb_atom_t> atoms;
        for (const std::string type : types)
            atoms.push_back(stage::internAtom(window.connection(), "_NET_WM_WINDOW_TYPE_" + type));
        setProperty(window, window.id(), "_NET_WM_WINDOW_TYPE", "ATOM", atoms);
        EXPECT_EQ(find(window.id())->windowLayer, layer) << testing::PrintToString(types);
    }
}

TEST_F(WindowListTests, OpacityIsReportedWhileACompositorAppliesIt) {
    begin(true);
    TestWindow window = show({.frame = {100, 100, 300, 200}, .managed = true});
    TestWindow framed = show({.frame = {200, 150, 300, 200}, .managed = true});
    TestWindow panel = show({.frame = {0, 0, 80, 40}});
    ASSERT_TRUE(eventually([&] { return find(window.id()) && find(framed.id()) && find(panel.id()); }));
    const xcb_window_t frame = topLevelOf(Connection(server->displayName()), framed.id());
    ASSERT_NE(frame, framed.id());
    const auto setOpacity = [&](std::uint32_t which, std::uint32_t opacity) {
        setProperty(window, which, "_NET_WM_WINDOW_OPACITY", "CARDINAL", cardinals({opacity}));
    };
    const auto alpha = [&](const TestWindow& of) { return find(of.id())->alpha; };
    setOpacity(window.id(), 0x7fffffff);
    setOpacity(panel.id(), 0);
    EXPECT_EQ(alpha(window), 1) << "no compositor";
    EXPECT_EQ(alpha(panel), 1);
    server->startCompositor();
    EXPECT_NEAR(alpha(window), 0.5, 1e-6);
    EXPECT_EQ(alpha(panel), 0);
    setOpacity(panel.id(), 0xffffffff);
    EXPECT_EQ(alpha(panel), 1);
    EXPECT_EQ(alpha(framed), 1) << "not set";
    setOpacity(frame, 0x3fffffff);
    EXPECT_NEAR(alpha(framed), 0.25, 1e-6) << "set on its frame";
    server->stopCompositor();
    EXPECT_TRUE(eventually([&] { return alpha(window) == 1; }));
}

TEST_F(WindowListTests, VanishingWindowsAreHandledAndALostServerIsAnError) {
    begin(true);
    TestWindow staying = show({.frame = {0, 0, 200, 100}, .managed = true});
    for (int i = 0; i < 40; ++i) {
        const TestWindow passing = show({.frame = {0, 0, 80, 40}, .managed = i % 2 == 0});
        for (const SCWindow& each : list->windows())
            EXPECT_FALSE(each.frame.isEmpty());
        list->bounds(passing.id());
    }
    EXPECT_TRUE(eventually([&] { return managedIds() == std::vector{staying.id()}; }));
    server->kill();
    EXPECT_THROW(list->windows(), PlatformError);
    EXPECT_THROW(list->bounds(staying.id()), PlatformError);
}

class ContentWatchTests : public WindowListTests {
 protected:
    bool waitForMoreThan(int before, std::chrono::milliseconds timeout = 30s) const {
        return eventually([&] { return calls > before; }, timeout);
    }
    /// Until no call has come for longer than one could be delayed; the number of calls.
    int settle() const {
        while (waitForMoreThan(calls, 3 * ContentWatch::interval)) {
        }
        return calls;
    }
    /// Each of the changes alone must be noticed.
    void expectNoticed(const std::vector<std::pair<const char*, std::function<void()>>>& changes) {
        const ContentWatch watch([this] { ++calls; }, server->displayName());
        for (const auto& [name, change] : changes) {
            const int before = settle();
            change();
            EXPECT_TRUE(waitForMoreThan(before)) << name;
        }
    }

    std::atomic<int> calls = 0;
};

TEST_F(ContentWatchTests, EveryKindOfChangeIsNoticed) {
    begin(false);
    test::ScreenPainter painter(server->displayName());
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
    const TestWindow::Look look{.frame = {10, 10, 200, 100}, .managed = true};
    expectNoticed({
        {"new window",
         [&] {
             window.emplace(server->displayName(), look);
             EXPECT_TRUE(eventually([&] { return list->bounds(window->id()).has_value(); }));
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
    test::ScreenPainter painter(server->displayName());
    std::atomic<bool> atEnd = false;  // at the last call
    const ContentWatch watch(
        [&] {
            atEnd = list->bounds(window.id())->x == 555;
            ++calls;
        },
        server->displayName());
    const auto start = Clock::now();
    for (int i = 0; Clock::now() < start + 1s; ++i)
        window.move(i % 500, i % 300);
    window.move(555, 5);
    EXPECT_TRUE(eventually([&] { return atEnd.load(); }));
    const int before = settle();
    EXPECT_LE(before, (Clock::now() - start) / ContentWatch::interval);

    painter.movePointer(3, 3);
    window.fill(0x123456);
    for (std::uint32_t time = 1; time < 20; ++time)
        setProperty(window, window.id(), "_NET_WM_USER_TIME", "CARDINAL", cardinals({time}));
    test::makeWindow(window, test::rootOf(window), XCB_WINDOW_CLASS_INPUT_OUTPUT, false);
    EXPECT_FALSE(waitForMoreThan(before, 2 * ContentWatch::interval));
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
    const ContentWatch watch([this] { ++calls; }, server->displayName());
    server->kill();
    EXPECT_FALSE(waitForMoreThan(0, ContentWatch::interval));
}

}  // namespace
}  // namespace lumicrate::x11
