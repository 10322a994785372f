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
using namespace std::string_view_literals;
using test::eventually;
using test::TestWindow;
using testing::ElementsAre;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t iconicState = 3;

class WindowListTests : public testing::Test {
 protected:
    /// `onlyManaged`: without the window manager's own windows.
    std::vector<std::uint32_t> ids(bool onlyManaged = false) const {
        std::vector<std::uint32_t> all;
        for (const SCWindow& each : list->windows())
            if (!onlyManaged || each.windowLayer == 0) all.push_back(each.windowID);
        return all;
    }
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
    const auto raise = [](TestWindow& window) {
        constexpr std::uint32_t byTaskBar = 2;
        test::ask(window, "_NET_RESTACK_WINDOW", {byTaskBar, XCB_NONE, XCB_STACK_MODE_ABOVE});
    };
    raise(front);
    ASSERT_TRUE(eventually([&] { return ids(true) == std::vector{front.id(), back.id()}; }));
    raise(back);
    ASSERT_TRUE(eventually([&] { return ids(true) == std::vector{back.id(), front.id()}; }));

    const SCWindow window = find(back.id()).value();
    EXPECT_EQ(window.title, "back");
    const xcb_window_t frame = topLevelOf(Connection(server->displayName()), back.id());
    EXPECT_EQ(window.frame, outline(frame));
    EXPECT_GT(window.frame.height, 205) << "a title bar";
    EXPECT_EQ(list->bounds(back.id()), window.frame);

    back.move(50, 60);
    EXPECT_TRUE(eventually([&] { return list->bounds(back.id())->x == 50; }));
    EXPECT_EQ(find(back.id())->frame, list->bounds(back.id()));

    test::ask(back, "WM_CHANGE_STATE", {iconicState});
    EXPECT_TRUE(eventually([&] { return ids(true) == std::vector{front.id()}; }));
    EXPECT_EQ(list->bounds(back.id()), std::nullopt);

    front.place({-50, -20, 1000, 900});
    const xcb_window_t outer = topLevelOf(Connection(server->displayName()), front.id());
    EXPECT_TRUE(eventually([&] {
        const auto bounds = list->bounds(front.id());
        return bounds->width > 1000 && bounds == outline(outer);
    })) << "larger than the screen";
    const TestWindow menu = show({.frame = {150, 150, 80, 120}});
    EXPECT_TRUE(eventually([&] { return ids().at(0) == menu.id(); })) << "in front";
    test::ask(front, "_NET_WM_STATE", {1, front.connection().internAtom("_NET_WM_STATE_FULLSCREEN")});
    EXPECT_TRUE(eventually([&] { return list->bounds(front.id()) == Rect{0, 0, 800, 600}; }));
}

TEST_F(WindowListTests, WithoutAWindowManagerPlainTopLevelsAreWindows) {
    begin(false, 2);
    TestWindow plain = show({.frame = {10, 20, 300, 200}, .managed = true, .borderWidth = 4});
    TestWindow panel = show({.frame = {0, 0, 80, 40}});
    TestWindow unseen = show({.frame = {0, 0, 80, 40}, .managed = true});
    unseen.unmap();
    const std::uint32_t inside = test::makeWindow(plain, plain.id(), XCB_WINDOW_CLASS_INPUT_OUTPUT);
    test::makeWindow(plain, plain.connection().root(), XCB_WINDOW_CLASS_INPUT_ONLY);

    EXPECT_THAT(ids(), ElementsAre(panel.id(), plain.id()));
    EXPECT_EQ(find(plain.id())->windowLayer, 0);
    EXPECT_EQ(find(plain.id())->frame, (Rect{5, 10, 154, 104}));
    EXPECT_EQ(find(plain.id())->title, std::nullopt);
    EXPECT_EQ(find(panel.id())->windowLayer, 25);
    EXPECT_EQ(list->bounds(panel.id()), (Rect{0, 0, 40, 20}));
    for (const std::uint32_t none : {unseen.id(), inside, 0U, 0x1234567U})
        EXPECT_EQ(list->bounds(none), std::nullopt) << none;

    // Older window managers set WM_STATE on the window, and nothing on the root window.
    plain.setProperty("WM_STATE", "WM_STATE", {1, 0}, inside);
    EXPECT_THAT(ids(), ElementsAre(panel.id(), inside));
    EXPECT_EQ(list->bounds(inside), (Rect{5, 10, 154, 104}));

    // Left behind by a window manager that has ended.
    plain.setProperty("_NET_FRAME_EXTENTS", "CARDINAL", {9, 9, 9, 9});
    EXPECT_EQ(list->bounds(plain.id()), (Rect{5, 10, 154, 104}));
    // Painted by the program itself; a width beyond any window is invalid.
    for (const auto& [shadow, frame] :
         {std::pair<std::vector<std::uint32_t>, Rect>{{26, 24, 22, 28}, {20, 23, 125, 75}},
          {{0xFFFFFFFF, 1, 1, 1}, {5, 10, 154, 104}}}) {
        plain.setProperty("_GTK_FRAME_EXTENTS", "CARDINAL", shadow);
        EXPECT_EQ(list->bounds(plain.id()), frame);
    }
}

TEST_F(WindowListTests, AListLeftBehindByAWindowManagerIsIgnored) {
    begin(false);
    TestWindow listed = show({.frame = {100, 100, 200, 100}, .managed = true});
    TestWindow other = show({.frame = {0, 0, 80, 40}, .managed = true});
    const xcb_window_t root = other.connection().root();
    const std::uint32_t sign = test::makeWindow(other, root, XCB_WINDOW_CLASS_INPUT_ONLY);
    for (const std::uint32_t holder : {root, sign})
        other.setProperty("_NET_SUPPORTING_WM_CHECK", "WINDOW", {sign}, holder);
    other.setProperty("_NET_CLIENT_LIST", "WINDOW", {listed.id()}, root);
    listed.setProperty("_NET_FRAME_EXTENTS", "CARDINAL", {1, 2, 20, 4});
    EXPECT_THAT(ids(), ElementsAre(other.id(), listed.id()));
    EXPECT_EQ(find(other.id())->windowLayer, 25);
    EXPECT_EQ(find(listed.id())->windowLayer, 0);
    EXPECT_EQ(find(listed.id())->frame, (Rect{99, 80, 203, 124})) << "decorated without a frame window";

    listed.setProperty("_NET_WM_STATE", "ATOM", {listed.connection().internAtom("_NET_WM_STATE_HIDDEN")});
    EXPECT_THAT(ids(), ElementsAre(other.id())) << "minimised without being unmapped";
    EXPECT_EQ(list->bounds(listed.id()), std::nullopt);

    other.sync(xcb_destroy_window(other.connection().get(), sign));
    EXPECT_EQ(find(other.id())->windowLayer, 0);
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
        window.setProperty(property, type, bytes);
        EXPECT_EQ(find(window.id())->title, title) << type;
    }
}

TEST_F(WindowListTests, OwnersAreTheProcessesThatCreatedTheWindows) {
    begin(false);
    const pid_t child = fork();
    if (child == 0) {
        TestWindow window = show({.frame = {0, 0, 80, 40}});
        window.setProperty("_NET_WM_PID", "CARDINAL", {1});
        window.setProperty("WM_NAME", "STRING", "ready");
        pause();
    }
    ASSERT_TRUE(eventually([&] {
        const auto all = list->windows();
        return !all.empty() && all[0].title == "ready";
    }));
    const xcb_window_t foreign = ids().front();
    TestWindow own = show({.frame = {0, 0, 80, 40}});
    own.setProperty("WM_CLASS", "STRING", "instance\0Class\0"sv);

    const auto owner = find(foreign).value_or(SCWindow()).owningApplication;
    EXPECT_EQ(owner, (SCRunningApplication{child, "x11-window-test"})) << "the program's name, cut by Linux";
    EXPECT_EQ(find(own.id())->owningApplication, (SCRunningApplication{getpid(), "Class"}));
    own.setProperty("WM_CLASS", "STRING", "instance\0\0"sv);
    EXPECT_EQ(find(own.id())->owningApplication->applicationName, "instance");

    kill(child, SIGKILL);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_TRUE(eventually([&] { return !find(foreign); }));
}

TEST_F(WindowListTests, LayersFollowTypes) {
    begin(false);
    const struct {
        bool managed;
        std::vector<const char*> types;
        int layer;
    } cases[] = {{true, {"DIALOG"}, 0},           {true, {"UNKNOWN", "DOCK", "NORMAL"}, 20},
                 {true, {"DESKTOP"}, -1000},      {false, {}, 25},
                 {false, {"NORMAL", "DOCK"}, 25}, {false, {"POPUP_MENU"}, 101}};
    for (const auto& [managed, types, layer] : cases) {
        TestWindow window = show({.frame = {0, 0, 80, 40}, .managed = managed});
        std::vector<xcb_atom_t> atoms;
        for (const std::string type : types)
            atoms.push_back(window.connection().internAtom("_NET_WM_WINDOW_TYPE_" + type));
        window.setProperty("_NET_WM_WINDOW_TYPE", "ATOM", atoms);
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
    const auto setOpacity = [&](std::uint32_t which, std::uint32_t opacity) {
        window.setProperty("_NET_WM_WINDOW_OPACITY", "CARDINAL", {opacity}, which);
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

class ContentWatchTests : public WindowListTests {
 protected:
    bool waitForMoreThan(int before, std::chrono::milliseconds timeout = 20s) const {
        return eventually([&] { return calls > before; }, timeout);
    }
    /// Until no call has come for longer than one could be delayed; the number of calls.
    int settle() const {
        while (waitForMoreThan(calls, 3 * ContentWatch::interval)) {
        }
        return calls;
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
    const auto setTitle = [](TestWindow& of) { of.setProperty("_NET_WM_NAME", "UTF8_STRING", "新"); };
    const std::pair<const char*, std::function<void()>> changes[] = {
        {"title", [&] { window.setProperty("WM_NAME", "STRING", "new"); }},
        {"type", [&] { window.setProperty("_NET_WM_WINDOW_TYPE", "ATOM", {XCB_ATOM_ANY}); }},
        {"move", [&] { window.move(30, 40); }},
        {"resize", [&] { window.place(enlarged); }},
        {"order", [&] { window.raise(); }},
        {"unmapped", [&] { panel.unmap(); }},
        {"mapped", [&] { panel.map(); }},
        {"new window", [&] { another.emplace(server->displayName(), look); }},
        {"title of the new one", [&] { setTitle(*another); }},
        {"program ended", [&] { another.reset(); }},
        {"monitor", [&] { painter.setMonitor("beamer", monitor); }},
        {"monitor gone", [&] { painter.deleteMonitor("beamer"); }},
        {"window manager", [&] { server->startWindowManager(); }},
        {"title inside a frame", [&] { setTitle(window); }},
        {"move with a frame", [&] { window.move(60, 80); }},
        {"minimised", [&] { test::ask(window, "WM_CHANGE_STATE", {iconicState}); }},
        {"restored", [&] { window.map(); }},
        {"screen size", [&] { painter.resizeScreen(640, 480); }},
    };
    const ContentWatch watch([this] { ++calls; }, server->displayName());
    for (const auto& [name, change] : changes) {
        const int before = settle();
        change();
        EXPECT_TRUE(waitForMoreThan(before)) << name;
    }
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
        window.setProperty("_NET_WM_USER_TIME", "CARDINAL", {time});
    test::makeWindow(window, window.connection().root(), XCB_WINDOW_CLASS_INPUT_OUTPUT, false);
    EXPECT_FALSE(waitForMoreThan(before, 2 * ContentWatch::interval));
}

TEST_F(ContentWatchTests, NoCallFollowsItsEnd) {
    EXPECT_THROW(ContentWatch([] {}, ":4711"), PlatformError);
    begin(false);
    TestWindow window = show({.frame = {0, 0, 200, 100}});
    std::optional<ContentWatch> watch;
    for (int i = 1; i <= 20; ++i) {
        std::atomic<bool> over = false;
        watch.emplace([&] { EXPECT_FALSE(over); }, server->displayName());
        window.move(i, 0);
        if (i % 2 == 0) window.move(i, 1);
        watch.reset();
        over = true;
        window.move(i, 2);
    }
    watch.emplace([this] { ++calls; }, server->displayName());
    server->kill();
    EXPECT_FALSE(waitForMoreThan(0, ContentWatch::interval));
}

}  // namespace
}  // namespace lumicrate::x11
