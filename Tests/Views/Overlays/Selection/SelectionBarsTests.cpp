// SPDX-License-Identifier: GPL-3.0-or-later
// AreaToolbarView and PickBarView with real keys and clicks.
#include "Lumicrate/Overlays/Selection/RecordOptionsBar.h"
#include "Tests/Lumicrate/FakePlatform.h"
#include "Tests/Views/Overlays/OverlayStage.h"
#include "Views/Overlays/Selection/AreaToolbarView.h"

#include <QAbstractButton>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QVBoxLayout>

namespace lumicrate::test {
namespace {

using testing::IsEmpty;

/// Stands in for the overlay: records the keys and presses that reach it.
struct Ground final : public QWidget {
    bool event(QEvent* event) override {
        if (event->type() == QEvent::LayoutRequest) ++layoutRequests;
        return QWidget::event(event);
    }
    void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(rect(), QColor(200, 120, 60)); }
    void keyPressEvent(QKeyEvent* event) override { keys.push_back(event->key()); }
    void mousePressEvent(QMouseEvent*) override { ++presses; }

    std::vector<int> keys;
    int presses = 0;
    int layoutRequests = 0;
};

class SelectionBarsTests : public testing::Test {
 protected:
    using Size = std::pair<std::optional<int>, std::optional<int>>;

    SelectionBarsTests() {
        model.width = 1280;
        model.height = 720;
        model.onSize = [this](auto width, auto height) { sizes.push_back({width, height}); };
        model.onCancel = [this] { calls += "cancel "; };
        model.onConfirm = [this] { calls += "confirm "; };
        model.onFullScreen = [this] { calls += "full "; };
        RecordingOptions::registerDefaults(defaults);
        options.emplace(defaults, model.microphones, [this](const std::string&) { ++complaints; });
        toolbar = new views::AreaToolbarView(model, *options, &ground);
        pickBar = new views::PickBarView(model, true, &ground);
        auto* const column = new QVBoxLayout(&ground);
        column->addWidget(toolbar, 0, Qt::AlignCenter);
        column->addWidget(pickBar, 0, Qt::AlignCenter);
        ground.setWindowFlags(Qt::FramelessWindowHint);
        ground.setFocusPolicy(Qt::StrongFocus);
        ground.setAttribute(Qt::WA_AlwaysShowToolTips);
        ground.setGeometry(0, 0, displayWidth, 300);
        ground.show();
        ground.activateWindow();
        ground.setFocus();
        EXPECT_TRUE(runUntil([this] { return ground.isActiveWindow() && ground.hasFocus(); }));
    }

    template <class Widget = QWidget>
    Widget& named(const QString& name) {
        Widget* found = nullptr;
        for (auto* each : ground.findChildren<Widget*>())
            if (each->accessibleName() == name && (!found || each->isVisible())) found = each;
        if (found) return *found;
        throw std::runtime_error("nothing is called " + name.toStdString());
    }
    QAbstractButton& button(const QString& name) { return named<QAbstractButton>(name); }
    QString textOf(const QString& field) { return named<QLineEdit>(field).text(); }
    static QString focused() {
        const QWidget* const now = QApplication::focusWidget();
        return now ? now->accessibleName() : QString();
    }
    template <class... Keys>
    static void type(const Keys&... keys) {
        xdotool({"key", keys...});
    }
    static bool pressTab() {
        const QWidget* const before = QApplication::focusWidget();
        type("Tab");
        return runUntil([before] { return QApplication::focusWidget() != before; });
    }
    void tabTo(const QString& name) {
        for (int i = 0; i < 20 && focused() != name; ++i)
            ASSERT_TRUE(pressTab());
        ASSERT_EQ(focused(), name);
    }
    static QMenu& openMenu() {
        EXPECT_TRUE(runUntil([] { return QApplication::activePopupWidget() != nullptr; }));
        return dynamic_cast<QMenu&>(*QApplication::activePopupWidget());
    }
    bool groundGets(std::vector<int> expected) {
        return runUntil([&] { return ground.keys == expected; });
    }
    /// An open menu would take the key.
    bool keysReachGround() {
        ground.keys.clear();
        EXPECT_TRUE(runUntil([] { return QApplication::activePopupWidget() == nullptr; }));
        type("x");
        return groundGets({Qt::Key_X});
    }
    bool comesToCall(const char* all) {
        return runUntil([&] { return calls == all; });
    }
    bool comesToRequest(std::size_t count, const Size& last) {
        return runUntil([&] { return sizes.size() == count; }) && sizes.back() == last;
    }

    FakeDefaults defaults;
    AreaToolbarModel model{"Record", {{"usb", "USB Microphone"}, {"card", "Built-in & more"}}};
    int complaints = 0;
    std::optional<RecordOptionsBar> options;
    Ground ground;
    views::AreaToolbarView* toolbar;
    views::PickBarView* pickBar;
    std::vector<Size> sizes;
    std::string calls;
};

TEST_F(SelectionBarsTests, SizesAreTypedOrStepped) {
    constexpr auto none = std::nullopt;
    clickOn(named("Width"));
    ASSERT_TRUE(runUntil([&] { return focused() == "Width"; }));
    // Everything is selected, so typing replaces it.
    type("8", "0", "0", "f");
    ASSERT_TRUE(runUntil([&] { return textOf("Width") == "800"; }));
    type("Return");
    ASSERT_TRUE(runUntil([&] { return ground.hasFocus(); }));
    EXPECT_TRUE(comesToRequest(1, {800, none}));
    EXPECT_EQ(textOf("Width"), "1280") << "the selection's value, which has not changed";
    EXPECT_THAT(ground.keys, IsEmpty());
    type("Return");
    EXPECT_TRUE(groundGets({Qt::Key_Return}));

    tabTo("Height");
    type("Up");
    EXPECT_TRUE(comesToRequest(2, {none, 721}));
    type("shift+Down");
    EXPECT_TRUE(comesToRequest(3, {none, 710}));
    model.height = 710;
    EXPECT_EQ(textOf("Height"), "710");
    type("9", "Tab");
    EXPECT_TRUE(comesToRequest(4, {none, 9})) << "leaving the field commits";
    tabTo("Width");
    type("0", "Escape");
    ASSERT_TRUE(runUntil([&] { return ground.keys.back() == Qt::Key_Escape; }));
    type("Tab");
    EXPECT_TRUE(runUntil([&] { return focused() == "Height" && textOf("Width") == "1280"; }));
    EXPECT_EQ(sizes.size(), 4U) << "0 is no size";
    type("5");
    clickOn(named("Record"));
    ASSERT_TRUE(comesToCall("confirm "));
    EXPECT_TRUE(comesToRequest(5, {none, 5})) << "a click on a button commits too";
}

TEST_F(SelectionBarsTests, TabVisitsTheControlsAndOtherKeysPass) {
    model.windowTitle = std::optional<std::string>("Notes");
    for (const char* control :
         {"Area", "Aspect", "Width", "Height", "Resolution and frame rate", "System audio", "Microphone",
          "Choose a microphone", "Webcam", "Cover", "Cancel (Esc)", "Record"}) {
        ASSERT_TRUE(pressTab());
        EXPECT_EQ(focused(), control);
        ground.keys.clear();
        if (focused() == "Width" || focused() == "Height") continue;
        type("Return", "Up", "Escape");
        EXPECT_TRUE(groundGets({Qt::Key_Return, Qt::Key_Up, Qt::Key_Escape})) << control;
    }
    type("space");
    EXPECT_TRUE(comesToCall("confirm "));
    clickOn(named("Cancel (Esc)"));
    EXPECT_TRUE(comesToCall("confirm cancel "));
    EXPECT_TRUE(ground.hasFocus());
    EXPECT_THAT(sizes, IsEmpty());

    tabTo("Full Screen");
    type("Return", "Tab", "Return");
    EXPECT_TRUE(comesToCall("confirm cancel full cancel ")) << "Return presses the pick bar's buttons";
    clickOn(named("Full Screen"));
    EXPECT_TRUE(comesToCall("confirm cancel full cancel full "));
}

TEST_F(SelectionBarsTests, TogglesShowWhatIsStored) {
    QAbstractButton& audio = button("System audio");
    EXPECT_TRUE(audio.isChecked());
    clickOn(audio);
    ASSERT_TRUE(runUntil([&] { return !audio.isChecked(); }));
    EXPECT_FALSE(defaults.boolForKey("captureSystemAudio"));
    EXPECT_EQ(audio.toolTip(), "System audio off");
    defaults.readOnly = true;
    clickOn(audio);
    EXPECT_TRUE(runUntil([this] { return complaints == 1; }));
    EXPECT_FALSE(audio.isChecked());
}

TEST_F(SelectionBarsTests, MenusOpenByKeysAndClicks) {
    tabTo("Aspect");
    type("Down");
    openMenu();
    type("Down", "Return");
    ASSERT_TRUE(runUntil([this] { return *model.aspect == AspectPreset::wide; }));
    EXPECT_THAT(ground.keys, IsEmpty());

    QAbstractButton& video = button("Resolution and frame rate");
    clickOn(video);
    QMenu& menu = openMenu();
    ASSERT_EQ(menu.actions().size(), 9);
    EXPECT_TRUE(menu.actions()[2]->isChecked() && menu.actions()[7]->isChecked());
    EXPECT_NE(menu.actions()[2]->actionGroup(), menu.actions()[7]->actionGroup());
    pointToPixel(menu.mapToGlobal(menu.actionGeometry(menu.actions()[8]).center()));
    xdotool({"click", "1"});
    ASSERT_TRUE(runUntil([&] { return video.text() == "1080p · 60 fps"; }));

    clickOn(video);
    openMenu();
    clickOn(video);
    EXPECT_TRUE(keysReachGround()) << "it closed, and did not open again";
    clickOn(named("Choose a microphone"));
    openMenu();
    EXPECT_FALSE(video.isDown());
    pointToPixel(ground.mapToGlobal(QPoint(5, 5)));
    xdotool({"click", "1"});
    EXPECT_TRUE(keysReachGround());
    EXPECT_EQ(ground.presses, 0) << "a click outside only closes the menu";
}

TEST_F(SelectionBarsTests, PickedWindowCanBeRecordedAlone) {
    const int width = toolbar->width();
    EXPECT_FALSE(named("Area").isVisible());
    // The bar is hidden while a window is picked.
    toolbar->hide();
    QCoreApplication::sendPostedEvents();
    const int requestsBefore = ground.layoutRequests;
    model.windowTitle = std::optional<std::string>("<b>Notes</b>");
    ASSERT_TRUE(runUntil([&] { return ground.layoutRequests > requestsBefore; }))
        << "another size, though hidden";
    toolbar->show();
    ASSERT_TRUE(runUntil([&] { return toolbar->width() > width; }));
    EXPECT_TRUE(named("Area").isVisible());
    EXPECT_LT(toolbar->width(), 960) << "fits a narrow screen";
    const QImage seen = ground.grab().toImage();
    const QPoint corner = pickBar->geometry().topLeft();
    EXPECT_EQ(seen.pixelColor(corner + QPoint(1, 1)), QColor(200, 120, 60)) << "outside of the rounding";
    EXPECT_LT(seen.pixelColor(corner + QPoint(4, 20)).lightness(), 60);
    EXPECT_TRUE(named("Window only").toolTip().contains("Records just the &lt;b&gt;Notes&lt;/b&gt; window"));
    clickOn(named("Window only"));
    ASSERT_TRUE(runUntil([this] { return *model.windowOnly; }));
    tabTo("Window only");
    type("Left");
    ASSERT_TRUE(runUntil([this] { return !*model.windowOnly; }));
    model.windowOnly = true;
    EXPECT_TRUE(button("Window only").isChecked());
    model.windowTitle = std::optional<std::string>();
    EXPECT_TRUE(runUntil([&] { return toolbar->width() == width; }));
}

}  // namespace
}  // namespace lumicrate::test
