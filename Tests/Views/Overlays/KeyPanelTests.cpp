// Panels that take the keyboard: real keys reach the content of the panel, and no other window, until it
// closes.
#include "Tests/Views/Overlays/OverlayStage.h"
#include "Views/Overlays/PanelContents.h"

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
    explicit OtherWindow(const QRect& place) : id_(xcb_generate_id(x_.get())) {
        const std::uint32_t values[] = {0x30a060, XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_STRUCTURE_NOTIFY};
        xcb_create_window(x_.get(), XCB_COPY_FROM_PARENT, id_, x_.screen()->root, std::int16_t(place.x()),
                          std::int16_t(place.y()), std::uint16_t(place.width()),
                          std::uint16_t(place.height()), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                          XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, std::data(values));
        // Makes a window manager keep the position.
        const std::uint32_t hints[18] = {1, std::uint32_t(place.x()), std::uint32_t(place.y())};
        xcb_change_property(x_.get(), XCB_PROP_MODE_REPLACE, id_, XCB_ATOM_WM_NORMAL_HINTS,
                            XCB_ATOM_WM_SIZE_HINTS, 32, 18, std::data(hints));
        xcb_map_window(x_.get(), id_);
        xcb_flush(x_.get());
        EXPECT_TRUE(runUntil([this] { return processEvents(), mapped_; }));
        focus();
    }

    void requestFocus() const {
        xcb_set_input_focus(x_.get(), XCB_INPUT_FOCUS_POINTER_ROOT, id_, XCB_CURRENT_TIME);
        focused();
    }
    void focus() const {
        requestFocus();
        EXPECT_TRUE(runUntil([this] { return hasFocus(); }));
    }
    xcb_window_t focused() const {
        const stage::XcbReply<xcb_get_input_focus_reply_t> reply(
            xcb_get_input_focus_reply(x_.get(), xcb_get_input_focus(x_.get()), nullptr));
        return reply->focus;
    }
    bool hasFocus() const { return focused() == id_; }
    int keys() {
        processEvents();
        return keys_;
    }

 private:
    void processEvents() {
        while (const stage::XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(x_.get())}) {
            if ((event->response_type & 0x7F) == XCB_MAP_NOTIFY) mapped_ = true;
            if ((event->response_type & 0x7F) == XCB_KEY_PRESS) ++keys_;
        }
    }

    stage::XcbConnection x_{desktop->display().displayName()};
    xcb_window_t id_;
    bool mapped_ = false;
    int keys_ = 0;
};

bool isKeyboardGrabbed() {
    const stage::XcbConnection x(desktop->display().displayName());
    const stage::XcbReply<xcb_grab_keyboard_reply_t> reply(
        xcb_grab_keyboard_reply(x.get(),
                                xcb_grab_keyboard(x.get(), 0, x.screen()->root, XCB_CURRENT_TIME,
                                                  XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC),
                                nullptr));
    return reply->status == XCB_GRAB_STATUS_ALREADY_GRABBED;
}

class Form final : public views::OverlayWidget {
 public:
    Form() {
        auto* const column = new QVBoxLayout(this);
        for (QWidget* each : std::initializer_list<QWidget*>{&field, &first, &second})
            column->addWidget(each);
    }

    QLineEdit field;
    QPushButton first{QStringLiteral("first")};
    QPushButton second{QStringLiteral("second")};
    int escapes = 0;

 protected:
    void keyPressEvent(QKeyEvent* event) override { escapes += event->key() == Qt::Key_Escape ? 1 : 0; }
};

class KeyPanelTests : public testing::Test {
 protected:
    struct Shown {
        std::unique_ptr<NSPanel> panel;
        Form* form;
        bool isActive() const { return form->isActiveWindow() && form->window()->internalWinId() != 0; }
    };

    KeyPanelTests() { pointToPixel({900, 600}); }

    Shown makePanel(double y = 100) {
        auto form = std::make_unique<Form>();
        Form* const shown = form.get();
        NSPanel::Settings settings;
        settings.frame = {420, y, 200, 140};
        settings.canBecomeKey = true;
        return {contents.content(std::move(form))->makePanel(std::move(settings)), shown};
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
        xdotool({"key", "h", "i", "Tab"});
        EXPECT_TRUE(comesToRead(shown, "hi"));
        EXPECT_TRUE(runUntil([&] { return shown.form->first.hasFocus(); }));
        bool pressed = false;
        QObject::connect(&shown.form->second, &QPushButton::clicked, [&] { pressed = true; });
        xdotool({"key", "Tab", "space", "Escape"});
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
        // As many programs and most window managers do on a click.
        clicked.requestFocus();
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
    auto closed = std::make_unique<OtherWindow>(QRect(900, 400, 200, 150));
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
        std::optional<Shown> first = open(100);
        std::optional<Shown> second = open(300);
        xdotool({"key", "a"});
        EXPECT_TRUE(comesToRead(*second, "a"));
        Shown left = std::move(lastClosesFirst ? *first : *second);
        first.reset();
        second.reset();
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
