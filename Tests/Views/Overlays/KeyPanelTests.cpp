// Panels that take the keys: real ones reach what is in the panel, and nobody else, until the panel goes.
#include "Tests/Views/Overlays/OverlayStage.h"
#include "Views/Overlays/OverlayWidget.h"
#include "Views/Overlays/PanelContents.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QVBoxLayout>
#include <optional>

namespace lumicrate::test {
namespace {

/// The window of another program, which counts what is typed into it.
class OtherWindow {
 public:
    explicit OtherWindow(const QRect& place) : id_(xcb_generate_id(connection_.get())) {
        const std::uint32_t values[] = {0x30a060, XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_STRUCTURE_NOTIFY};
        xcb_create_window(connection_.get(), XCB_COPY_FROM_PARENT, id_, connection_.screen()->root,
                          std::int16_t(place.x()), std::int16_t(place.y()), std::uint16_t(place.width()),
                          std::uint16_t(place.height()), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                          XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, std::data(values));
        // Where it is told, also by a window manager.
        const std::uint32_t hints[18] = {1, std::uint32_t(place.x()), std::uint32_t(place.y())};
        xcb_change_property(connection_.get(), XCB_PROP_MODE_REPLACE, id_, XCB_ATOM_WM_NORMAL_HINTS,
                            XCB_ATOM_WM_SIZE_HINTS, 32, 18, std::data(hints));
        xcb_map_window(connection_.get(), id_);
        xcb_flush(connection_.get());
        EXPECT_TRUE(runUntil([this] { return takeEvents(), mapped_; }));
        focus();
    }

    xcb_window_t id() const { return id_; }
    void take() const {
        xcb_set_input_focus(connection_.get(), XCB_INPUT_FOCUS_POINTER_ROOT, id_, XCB_CURRENT_TIME);
        focused();
    }
    void focus() const {
        take();
        EXPECT_TRUE(runUntil([this] { return hasFocus(); }));
    }
    xcb_window_t focused() const {
        const stage::XcbReply<xcb_get_input_focus_reply_t> reply(
            xcb_get_input_focus_reply(connection_.get(), xcb_get_input_focus(connection_.get()), nullptr));
        return reply->focus;
    }
    bool hasFocus() const { return focused() == id_; }
    int keys() {
        takeEvents();
        return keys_;
    }

 private:
    void takeEvents() {
        while (const stage::XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(connection_.get())}) {
            if ((event->response_type & 0x7F) == XCB_MAP_NOTIFY) mapped_ = true;
            if ((event->response_type & 0x7F) == XCB_KEY_PRESS) ++keys_;
        }
    }

    stage::XcbConnection connection_{desktop->display().displayName()};
    xcb_window_t id_;
    bool mapped_ = false;
    int keys_ = 0;
};

/// Whether a program holds the keyboard.
bool isKeyboardTaken() {
    const stage::XcbConnection probe(desktop->display().displayName());
    const stage::XcbReply<xcb_grab_keyboard_reply_t> reply(
        xcb_grab_keyboard_reply(probe.get(),
                                xcb_grab_keyboard(probe.get(), 0, probe.screen()->root, XCB_CURRENT_TIME,
                                                  XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC),
                                nullptr));
    return reply->status == XCB_GRAB_STATUS_ALREADY_GRABBED;
}

/// A field and two buttons, as in a form.
class Form final : public views::OverlayWidget {
 public:
    Form() {
        auto* const column = new QVBoxLayout(this);
        for (QWidget* each : std::initializer_list<QWidget*>{&field, &first, &second})
            column->addWidget(each);
    }
    QPainterPath silhouette() const override {
        QPainterPath path;
        path.addRect(rect());
        return path;
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
        QWidget& window() const { return *form->window(); }
        bool isActive() const { return form->isActiveWindow() && window().internalWinId() != 0; }
    };

    KeyPanelTests() { xdotool({"mousemove", "900", "600"}); }

    Shown makePanel(double y = 100) {
        auto form = std::make_unique<Form>();
        Form* const shown = form.get();
        NSPanel::Settings settings;
        settings.frame = {400 / scale() + 20, y, 200, 140};
        settings.canBecomeKey = true;
        return {contents.content(std::move(form))->makePanel(std::move(settings)), shown};
    }
    Shown open(double y = 100) {
        Shown shown = makePanel(y);
        shown.panel->makeKeyAndOrderFront();
        EXPECT_TRUE(runUntil([&] { return shown.isActive() && shown.form->field.hasFocus(); }));
        return shown;
    }
    static bool comesToRead(const Form& form, const char* text) {
        return runUntil([&] { return form.field.text() == QLatin1String(text); });
    }

    views::PanelContents contents;
    OtherWindow other{{500, 20, 300, 200}};
};

TEST_F(KeyPanelTests, KeysGoToThePanelAndThenToTheApplicationAgain) {
    xdotool({"key", "a"});
    EXPECT_TRUE(runUntil([&] { return other.keys() == 1; }));
    {
        const Shown shown = open();
        xdotool({"key", "h", "i", "Tab"});
        EXPECT_TRUE(comesToRead(*shown.form, "hi"));
        EXPECT_TRUE(runUntil([&] { return shown.form->first.hasFocus(); }));
        bool pressed = false;
        QObject::connect(&shown.form->second, &QPushButton::clicked, [&] { pressed = true; });
        xdotool({"key", "Tab", "space", "Escape"});
        EXPECT_TRUE(runUntil([&] { return shown.form->escapes == 1; }));
        EXPECT_TRUE(pressed);
    }
    EXPECT_TRUE(runUntil([&] { return other.hasFocus(); }));
    xdotool({"key", "b"});
    EXPECT_TRUE(runUntil([&] { return other.keys() == 2; })) << other.keys();
}

TEST_F(KeyPanelTests, OneThatIsOnlyShownTakesNothing) {
    const Shown shown = makePanel();
    shown.panel->orderFrontRegardless();
    EXPECT_TRUE(runUntil([&] { return shown.window().isVisible(); }));
    xdotool({"key", "a"});
    EXPECT_TRUE(runUntil([&] { return other.keys() == 1; }));
    EXPECT_FALSE(shown.isActive());
    EXPECT_TRUE(other.hasFocus());
}

TEST_F(KeyPanelTests, ItHasTheKeysAsSoonAsAHotKeyIsReleased) {
    // The hot keys of this program are on a connection of their own.
    const stage::XcbConnection hotKeys(desktop->display().displayName());
    constexpr xcb_keycode_t keyR = 27;
    xcb_grab_key(hotKeys.get(), 0, hotKeys.screen()->root, XCB_MOD_MASK_ANY, keyR, XCB_GRAB_MODE_ASYNC,
                 XCB_GRAB_MODE_ASYNC);
    xcb_flush(hotKeys.get());
    xdotool({"keydown", "r"});
    const stage::XcbReply<xcb_generic_event_t> pressed(xcb_wait_for_event(hotKeys.get()));
    const Shown shown = open();
    xdotool({"key", "a", "keyup", "r", "key", "x"});
    EXPECT_TRUE(comesToRead(*shown.form, "x")) << "what came before was the hot key's";
    EXPECT_TRUE(runUntil([] { return isKeyboardTaken(); }));
    xdotool({"key", "r"});
    EXPECT_TRUE(comesToRead(*shown.form, "xr")) << "all keys are the panel's by now";
}

TEST_F(KeyPanelTests, AMenuHasTheKeysWhileItIsOpen) {
    const Shown shown = open();
    int chosen = 0;
    QMenu menu(&shown.form->field);
    menu.addAction(QStringLiteral("choose"), [&] { ++chosen; });
    for (int round = 1; round <= 2; ++round) {
        menu.popup(shown.form->mapToGlobal(QPoint(20, 20)));
        EXPECT_TRUE(runUntil([&] { return menu.isVisible(); }));
        xdotool({"key", "Down", round == 1 ? "Return" : "Escape"});
        EXPECT_TRUE(runUntil([&] { return !menu.isVisible(); }));
        EXPECT_TRUE(runUntil([] { return isKeyboardTaken(); }));
        xdotool({"key", "a"});
        EXPECT_TRUE(comesToRead(*shown.form, round == 1 ? "a" : "aa"));
        EXPECT_TRUE(shown.isActive());
    }
    EXPECT_EQ(chosen, 1);
    EXPECT_EQ(other.keys(), 0);
}

TEST_F(KeyPanelTests, AClickOnAnotherWindowTakesNoKeysUntilItGoes) {
    OtherWindow clicked({900, 400, 200, 150});
    other.focus();
    {
        const Shown shown = open();
        xdotool({"mousemove", "950", "450", "click", "1"});
        // As many programs do on a click, and most window managers.
        clicked.take();
        EXPECT_TRUE(runUntil([&] { return clicked.focused() == shown.window().internalWinId(); }));
        xdotool({"key", "a"});
        EXPECT_TRUE(comesToRead(*shown.form, "a"));
        EXPECT_TRUE(runUntil([&] { return shown.isActive() && shown.form->field.hasFocus(); }));
    }
    xdotool({"key", "b"});
    EXPECT_TRUE(runUntil([&] { return clicked.keys() == 1; }));
    EXPECT_EQ(other.keys(), 0);
    {
        const Shown shown = open();
        other.take();
    }
    EXPECT_TRUE(other.hasFocus()) << "the focus had gone elsewhere before the panel knew";
}

TEST_F(KeyPanelTests, NobodyIsWaitedForWhoHasGoneMeanwhile) {
    auto closed = std::make_unique<OtherWindow>(QRect(900, 400, 200, 150));
    xdotool({"mousemove", "600", "100"});
    {
        const Shown shown = open();
        closed.reset();
        xdotool({"key", "a"});
        EXPECT_TRUE(comesToRead(*shown.form, "a"));
    }
    // Whom a window manager chooses is under the pointer, too.
    EXPECT_TRUE(runUntil([&] {
        xdotool({"key", "b"});
        return other.keys() > 0;
    }));
}

TEST_F(KeyPanelTests, OfSeveralTheLastHasTheKeysInWhateverOrderTheyGo) {
    for (const bool lastGoesFirst : {true, false}) {
        std::optional<Shown> first = open(100);
        std::optional<Shown> second = open(300);
        xdotool({"key", "a"});
        EXPECT_TRUE(comesToRead(*second->form, "a"));
        Shown left = std::move(lastGoesFirst ? *first : *second);
        first.reset();
        second.reset();
        EXPECT_TRUE(runUntil([&] { return left.isActive() && isKeyboardTaken(); }));
        xdotool({"key", "b"});
        EXPECT_TRUE(comesToRead(*left.form, lastGoesFirst ? "b" : "ab"));
        left.panel.reset();
        EXPECT_TRUE(runUntil([&] { return other.hasFocus(); }));
    }
    EXPECT_FALSE(isKeyboardTaken());
    EXPECT_EQ(other.keys(), 0);
}

}  // namespace
}  // namespace lumicrate::test
