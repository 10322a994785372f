// SPDX-License-Identifier: GPL-3.0-or-later
// What the virtual mouse and keyboard of a private Wayland desktop do reaches X programs on it.
#include "Tests/Stage/Await.h"
#include "Tests/Stage/Wayland/Mutter.h"
#include "Tests/Stage/WaylandDesktop.h"
#include "Tests/Stage/Xcb.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <set>

namespace lumicrate::stage {
namespace {

/// Moves over an X window, clicks it and presses Ctrl+A, and expects that the window receives these.
void expectInput(VirtualInput& input) {
    const XcbConnection connection("");
    const xcb_window_t window = xcb_generate_id(connection.get());
    // The compositor shows a window when it has a picture, here its background.
    const std::uint32_t values[] = {connection.screen()->white_pixel, XCB_EVENT_MASK_POINTER_MOTION |
                                                                          XCB_EVENT_MASK_BUTTON_PRESS |
                                                                          XCB_EVENT_MASK_KEY_PRESS};
    xcb_create_window(connection.get(), XCB_COPY_FROM_PARENT, window, connection.screen()->root, 0, 0, 1280,
                      720, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                      XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
    xcb_map_window(connection.get(), window);
    connection.sync();
    std::set<std::string> received;
    const auto receives = [&](const std::string& what) {
        while (const XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(connection.get())}) {
            const auto& key = reinterpret_cast<const xcb_key_press_event_t&>(*event);
            const int type = event->response_type & 0x7f;
            if (type == XCB_MOTION_NOTIFY)
                received.insert("at " + std::to_string(key.root_x) + "," + std::to_string(key.root_y));
            if (type == XCB_BUTTON_PRESS) received.insert("button " + std::to_string(key.detail));
            if (type == XCB_KEY_PRESS && (key.state & XCB_MOD_MASK_CONTROL) != 0)
                received.insert("control + " + std::to_string(key.detail));
        }
        return received.contains(what);
    };
    // The window appears, and Xwayland adopts the new devices, in their own time.
    ASSERT_TRUE(eventually([&] {
        input.movePointer(600, 300);
        input.movePointer(640, 360);
        return receives("at 640,360");
    }));
    input.click(BTN_LEFT);
    EXPECT_TRUE(eventually([&] { return receives("button 1"); }));
    EXPECT_TRUE(eventually([&] {
        input.pressKeys({KEY_LEFTCTRL, KEY_A});
        return receives("control + " + std::to_string(KEY_A + 8));
    }));
}

TEST(InputTests, ReachesProgramsOnSway) {
    if (!Sway::isInstalled()) GTEST_SKIP() << "sway is not installed.";
    WaylandDesktop desktop({.sound = false, .portal = false});
    expectInput(desktop.input());
}

TEST(InputTests, ReachesProgramsOnMutter) {
    if (!Mutter::isInstalled()) GTEST_SKIP() << "mutter is not installed.";
    const auto session = std::make_shared<Session>();
    const SoundServer sound(session);
    Mutter mutter(session, {});
    const ScopedEnvironment environment(mutter.environment());
    expectInput(mutter.input());
}

}  // namespace
}  // namespace lumicrate::stage
