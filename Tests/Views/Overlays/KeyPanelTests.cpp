// SPDX-License-Identifier: GPL-3.0-or-later
// Panels that take the keyboard: real keys reach the content of the panel, and no other window, until it
// closes.
#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Views/Overlays/OverlayStage.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QVBoxLayout>

namespace lumicrate::test {
namespace {

/// A window of another program, which counts the keys that it gets.
class OtherWindow {
 public:
    explicit OtherWindow(const PixelRect& place)
        : window_(desktop->display().displayName(), {.frame = place, .managed = true}) {
        const std::uint32_t keyPresses = XCB_EVENT_MASK_KEY_PRESS;
        xcb_change_window_attributes(x_, window_.id(), XCB_CW_EVENT_MASK, &keyPresses);
        window_.move(place.x, place.y);
        focus();
    }

    void requestFocus() const {
        xcb_set_input_focus(x_, XCB_INPUT_FOCUS_POINTER_ROOT, window_.id(), XCB_CURRENT_TIME);
        focused();  // waits for the server
    }
    void focus() const {
        EXPECT_TRUE(runUntil([this] { return requestFocus(), hasFocus(); }));
    }
    xcb_window_t focused() const {
        const stage::XcbReply<xcb_get_input_focus_reply_t> reply(
            xcb_get_input_focus_reply(x_, xcb_get_input_focus(x_), nullptr));
        return reply->focus;
    }
    bool hasFocus() const { return focused() == window_.id(); }
    int keys() {
        while (const stage::XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(x_)})
            keys_ += (event->response_type & 0x7F) == XCB_KEY_PRESS ? 1 : 0;
        return keys_;
    }

 private:
    TestWindow window_;
    xcb_connection_t* x_ = window_.connection().get();
    int keys_ = 0;
};

bool isKeyboardGrabbed() {
    const stage::XcbConnection x(desktop->display().displayName());
    const auto cookie = xcb_grab_keyboard(x.get(), 0, x.screen()->root, XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC,
                                          XCB_GRAB_MODE_ASYNC);
    const stage::XcbReply<xcb_grab_keyboard_reply_t> reply(xcb_grab_keyboard_reply(x.get(), cookie, nullptr));
    return reply->status == XCB_GRAB_STATUS_ALREADY_GRABBED;
}

struct Form final : public views::OverlayWidget {
    Form() {
        auto* const column = new QVBoxLayout(this);
        column->addWidget(&field);
        column->addWidget(&button);
    }
    void keyPressEvent(QKeyEvent* event) override { escapes += event->key() == Qt::Key_Escape ? 1 : 0; }

    QLineEdit field;
    QPushButton button{QStringLiteral("button")};
    int escapes = 0;
};

class KeyPanelTests : public testing::Test {
 protected:
    struct Shown {
        std::unique_ptr<NSPanel> panel;
        Form* form;
        bool isActive() const { return form->isActiveWindow(); }
    };

    KeyPanelTests() { pointToPixel({900, 600}); }

    Shown makePanel(double y = 100) {
        auto form = std::make_unique<Form>();
        Form* const shown = form.get();
        return {contents.content(std::move(form))
                    ->makePanel({{420, y, 200, 140}, NSPanel::statusLevel, false, false, true, nullptr}),
                shown};
    }
    Shown open(double y = 100) {
        Shown shown = makePanel(y);
        shown.panel->makeKeyAndOrderFront();
        EXPECT_TRUE(runUntil([&] { return shown.isActive() && shown.form->field.hasFocus(); }));
        return shown;
    }
    static bool comesToRead(const Shown& shown, const char* text) {
        return runUntil([&] { return shown.form->field.text() == QLatin1String(text); });
    }
    bool otherGetsKeys(int count) {
        return runUntil([&] { return other.keys() == count; });
    }

    views::PanelContents contents;
    OtherWindow other{{500, 20, 300, 200}};
};

TEST_F(KeyPanelTests, PanelHasTheKeyboardUntilItCloses) {
    {
        const Shown shown = makePanel();
        shown.panel->orderFrontRegardless();
        EXPECT_TRUE(runUntil([&] { return shown.form->isVisible(); }));
        xdotool({"key", "a"});
        EXPECT_TRUE(otherGetsKeys(1)) << "only shown, not key";
        EXPECT_FALSE(shown.isActive());
    }
    {
        const Shown shown = open();
        bool pressed = false;
        QObject::connect(&shown.form->button, &QPushButton::clicked, [&] { pressed = true; });
        xdotool({"key", "h", "i", "Tab", "space", "Escape"});
        EXPECT_TRUE(comesToRead(shown, "hi"));
        EXPECT_TRUE(runUntil([&] { return shown.form->escapes == 1; }));
        EXPECT_TRUE(pressed);
    }
    EXPECT_TRUE(runUntil([&] { return other.hasFocus(); }));
    xdotool({"key", "b"});
    EXPECT_TRUE(otherGetsKeys(2)) << other.keys();
}

TEST_F(KeyPanelTests, PanelGetsTheKeyboardWhenAHotKeyIsReleased) {
    const stage::XcbConnection hotKeys(desktop->display().displayName());
    constexpr xcb_keycode_t keyR = 27;
    xcb_grab_key(hotKeys.get(), 0, hotKeys.screen()->root, XCB_MOD_MASK_ANY, keyR, XCB_GRAB_MODE_ASYNC,
                 XCB_GRAB_MODE_ASYNC);
    xcb_flush(hotKeys.get());
    xdotool({"keydown", "r"});
    const stage::XcbReply<xcb_generic_event_t> pressed(xcb_wait_for_event(hotKeys.get()));
    const Shown shown = open();
    xdotool({"key", "a", "keyup", "r", "key", "x"});
    EXPECT_TRUE(comesToRead(shown, "x")) << "the hot key's owner got the keys before";
    EXPECT_TRUE(runUntil(isKeyboardGrabbed));
    xdotool({"key", "r"});
    EXPECT_TRUE(comesToRead(shown, "xr")) << "now the panel gets all keys";
}

TEST_F(KeyPanelTests, OpenMenuHasTheKeyboard) {
    const Shown shown = open();
    int chosen = 0;
    QMenu menu(&shown.form->field);
    menu.addAction(QStringLiteral("choose"), [&] { ++chosen; });
    for (const auto& [key, text] : {std::pair("Return", "a"), {"Escape", "aa"}}) {
        menu.popup(shown.form->mapToGlobal(QPoint(20, 20)));
        EXPECT_TRUE(runUntil([&] { return menu.isVisible(); }));
        xdotool({"key", "Down", key});
        EXPECT_TRUE(runUntil([&] { return !menu.isVisible(); }));
        EXPECT_TRUE(runUntil(isKeyboardGrabbed));
        xdotool({"key", "a"});
        EXPECT_TRUE(comesToRead(shown, text));
        EXPECT_TRUE(shown.isActive());
    }
    EXPECT_EQ(chosen, 1);
    EXPECT_EQ(other.keys(), 0);
}

TEST_F(KeyPanelTests, ClickedWindowGetsTheKeyboardOnlyAfterwards) {
    OtherWindow clicked({900, 400, 200, 150});
    other.focus();
    {
        const Shown shown = open();
        xdotool({"mousemove", "950", "450", "click", "1"});
        clicked.requestFocus();  // as many programs and most window managers do on a click
        EXPECT_TRUE(runUntil([&] { return clicked.focused() == shown.form->window()->internalWinId(); }));
        xdotool({"key", "a"});
        EXPECT_TRUE(comesToRead(shown, "a"));
        EXPECT_TRUE(runUntil([&] { return shown.isActive() && shown.form->field.hasFocus(); }));
    }
    xdotool({"key", "b"});
    EXPECT_TRUE(runUntil([&] { return clicked.keys() == 1; }));
    EXPECT_EQ(other.keys(), 0);
    {
        const Shown shown = open();
        other.requestFocus();
    }
    EXPECT_TRUE(other.hasFocus()) << "the focus moved before the panel noticed";
}

TEST_F(KeyPanelTests, FocusReturnsToAnotherWindowIfThePreviousIsGone) {
    std::optional<OtherWindow> closed(std::in_place, PixelRect{900, 400, 200, 150});
    // The window that a window manager would choose is under the pointer too.
    pointToPixel({600, 100});
    {
        const Shown shown = open();
        closed.reset();
        xdotool({"key", "a"});
        EXPECT_TRUE(comesToRead(shown, "a"));
    }
    EXPECT_TRUE(runUntil([&] {
        xdotool({"key", "b"});
        return other.keys() > 0;
    }));
}

TEST_F(KeyPanelTests, OfSeveralPanelsTheLastHasTheKeyboard) {
    for (const bool lastClosesFirst : {true, false}) {
        Shown left = open(100);
        Shown closed = open(300);
        xdotool({"key", "a"});
        EXPECT_TRUE(comesToRead(closed, "a"));
        if (!lastClosesFirst) std::swap(left, closed);
        closed.panel.reset();
        EXPECT_TRUE(runUntil([&] { return left.isActive() && isKeyboardGrabbed(); }));
        xdotool({"key", "b"});
        EXPECT_TRUE(comesToRead(left, lastClosesFirst ? "b" : "ab"));
        left.panel.reset();
        EXPECT_TRUE(runUntil([&] { return other.hasFocus(); }));
    }
    EXPECT_FALSE(isKeyboardGrabbed());
    EXPECT_EQ(other.keys(), 0);
}

}  // namespace
}  // namespace lumicrate::test
