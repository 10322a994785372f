// The bars of a selection in the hands of a person: real keys, clicks and pixels on a private display.
#include "Tests/Linux/Desktop/EventLoop.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/PrivateDesktop.h"
#include "Tests/Views/Overlays/Selection/BarsStage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QLineEdit>
#include <QMenu>
#include <QScreen>

namespace lumicrate::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

void type(const std::string& keys) {
    stage::runProgram({"xdotool", "key", keys});
}

class SelectionBarsTests : public testing::Test {
 protected:
    using Size = std::pair<std::optional<int>, std::optional<int>>;

    SelectionBarsTests() {
        stage.model.onSize = [this](auto width, auto height) { sizes.push_back({width, height}); };
        stage.model.onCancel = [this] { calls += "cancel "; };
        stage.model.onConfirm = [this] { calls += "confirm "; };
        stage.model.onFullScreen = [this] { calls += "full "; };
        stage.ground.show();
        stage.ground.activateWindow();
        stage.ground.setFocus();
        EXPECT_TRUE(await([this] { return stage.ground.isActiveWindow() && stage.ground.hasFocus(); }));
    }

    QWidget& named(const QString& name, QWidget* within = nullptr) {
        QWidget* found = nullptr;
        for (auto* each : (within ? within : stage.toolbar)->findChildren<QWidget*>())
            if (each->accessibleName() == name && (!found || each->isVisible())) found = each;
        if (found) return *found;
        throw std::runtime_error("nothing is called " + name.toStdString());
    }
    QLineEdit& field(const QString& name) { return static_cast<QLineEdit&>(named(name)); }
    static QString focused() {
        const QWidget* const now = QApplication::focusWidget();
        return now ? now->accessibleName() : QString();
    }
    /// The Tab key until the control has the focus.
    void tabTo(const QString& name) {
        for (int i = 0; i < 20 && focused() != name; ++i) {
            const QWidget* const before = QApplication::focusWidget();
            type("Tab");
            ASSERT_TRUE(await([before] { return QApplication::focusWidget() != before; }));
        }
        ASSERT_EQ(focused(), name);
    }
    static void pointAt(const QWidget& part, QPoint inside) {
        const QPointF pixel =
            QPointF(part.mapToGlobal(inside)) * QGuiApplication::primaryScreen()->devicePixelRatio();
        stage::runProgram(
            {"xdotool", "mousemove", std::to_string(int(pixel.x())), std::to_string(int(pixel.y()))});
    }
    static void click(const QWidget& part, const char* button = "1") {
        pointAt(part, part.rect().center());
        stage::runProgram({"xdotool", "click", button});
    }
    static QMenu* openMenu() {
        QWidget* popup = nullptr;
        EXPECT_TRUE(await([&popup] { return (popup = QApplication::activePopupWidget()) != nullptr; }));
        return dynamic_cast<QMenu*>(popup);
    }
    /// A menu that is open would take the key.
    bool keysReachGround() {
        stage.ground.keys.clear();
        EXPECT_TRUE(await([] { return QApplication::activePopupWidget() == nullptr; }));
        type("x");
        return await([&] { return stage.ground.keys == std::vector<int>{Qt::Key_X}; });
    }
    bool isOn(const char* key) const { return stage.defaults.boolForKey(key); }

    std::vector<Size> sizes;
    std::string calls;
    BarsStage stage;
};

TEST_F(SelectionBarsTests, ASizeIsTypedOrStepped) {
    click(field("Width"));
    ASSERT_TRUE(await([&] { return field("Width").hasFocus(); }));
    // All of it is selected, so it goes.
    for (const char* key : {"8", "0", "0", "f"})
        type(key);
    ASSERT_TRUE(await([&] { return field("Width").text() == "800"; }));
    type("Return");
    ASSERT_TRUE(await([&] { return stage.ground.hasFocus(); }));
    EXPECT_THAT(sizes, ElementsAre(Size{800, std::nullopt}));
    EXPECT_EQ(field("Width").text(), "1280") << "what the selection makes of it is shown";
    EXPECT_THAT(stage.ground.keys, IsEmpty());
    type("Return");
    EXPECT_TRUE(await([&] { return stage.ground.keys == std::vector<int>{Qt::Key_Return}; }));

    tabTo("Height");
    type("Up");
    type("shift+Down");
    ASSERT_TRUE(await([&] { return sizes.size() == 3; }));
    EXPECT_EQ(sizes[1], (Size{std::nullopt, 721}));
    EXPECT_EQ(sizes[2], (Size{std::nullopt, 710}));
    stage.model.height = 710;
    EXPECT_EQ(field("Height").text(), "710");
    type("9");
    type("Tab");
    ASSERT_TRUE(await([&] { return sizes.size() == 4; })) << "leaving it commits";
    EXPECT_EQ(sizes[3], (Size{std::nullopt, 9}));
    tabTo("Width");
    type("0");
    type("Escape");
    ASSERT_TRUE(await([&] { return stage.ground.keys.back() == Qt::Key_Escape; }));
    type("Tab");
    EXPECT_TRUE(await([&] { return focused() == "Height" && field("Width").text() == "1280"; }));
    EXPECT_EQ(sizes.size(), 4U) << "nothing is no size";
}

TEST_F(SelectionBarsTests, AClickOnTheWayOnTakesWhatIsTyped) {
    click(field("Height"));
    ASSERT_TRUE(await([&] { return field("Height").hasFocus(); }));
    type("5");
    click(named("Record"));
    ASSERT_TRUE(await([this] { return calls == "confirm "; }));
    EXPECT_THAT(sizes, ElementsAre(Size{std::nullopt, 5}));
}

TEST_F(SelectionBarsTests, TheKeysGoFromLeftToRightAndTheRestGoesOn) {
    stage.model.windowTitle = std::optional<std::string>("Notes");
    QStringList order;
    for (int i = 0; i < 11; ++i) {
        const QWidget* const before = QApplication::focusWidget();
        type("Tab");
        ASSERT_TRUE(await([before] { return QApplication::focusWidget() != before; }));
        order << focused();
        stage.ground.keys.clear();
        if (order.back() == "Width" || order.back() == "Height") continue;
        for (const char* key : {"Return", "Up", "Escape"})
            type(key);
        EXPECT_TRUE(await([this] { return stage.ground.keys.size() == 3; })) << focused().toStdString();
    }
    EXPECT_EQ(order,
              QStringList({"Area", "Aspect", "Width", "Height", "Resolution and frame rate", "System audio",
                           "Microphone", "Choose a microphone", "Webcam", "Cancel (Esc)", "Record"}));
    EXPECT_EQ(calls, "");
    type("space");
    EXPECT_TRUE(await([this] { return calls == "confirm "; }));
    click(named("Cancel (Esc)"));
    EXPECT_TRUE(await([this] { return calls == "confirm cancel "; }));
    EXPECT_TRUE(stage.ground.hasFocus());
    EXPECT_THAT(sizes, IsEmpty());
}

TEST_F(SelectionBarsTests, TogglesStoreAtOnceAndShowWhatIsStored) {
    auto& audio = static_cast<QAbstractButton&>(named("System audio"));
    EXPECT_TRUE(audio.isChecked());
    click(audio);
    ASSERT_TRUE(await([this] { return !isOn("captureSystemAudio"); }));
    EXPECT_EQ(audio.toolTip(), "System audio off");
    EXPECT_FALSE(audio.isChecked());
    tabTo("Microphone");
    type("space");
    EXPECT_TRUE(await([this] { return isOn("captureMicrophone"); }));
    stage.defaults.readOnly = true;
    click(audio);
    EXPECT_TRUE(await([this] { return stage.complaints == 1; }));
    EXPECT_FALSE(audio.isChecked());
}

TEST_F(SelectionBarsTests, MenusOpenByKeysAndClicksAndSet) {
    tabTo("Aspect");
    type("Down");
    QMenu* menu = openMenu();
    ASSERT_NE(menu, nullptr);
    type("Down");
    type("Return");
    ASSERT_TRUE(await([this] { return *stage.model.aspect == AspectPreset::wide; }));
    EXPECT_THAT(stage.ground.keys, IsEmpty());

    QWidget& video = named("Resolution and frame rate");
    click(video);
    menu = openMenu();
    ASSERT_NE(menu, nullptr);
    ASSERT_EQ(menu->actions().size(), 9);
    EXPECT_TRUE(menu->actions()[2]->isChecked() && menu->actions()[7]->isChecked());
    EXPECT_NE(menu->actions()[2]->actionGroup(), menu->actions()[7]->actionGroup());
    pointAt(*menu, menu->actionGeometry(menu->actions()[8]).center());
    stage::runProgram({"xdotool", "click", "1"});
    ASSERT_TRUE(await([this] { return stage.defaults.integerForKey("fps") == 60; }));
    EXPECT_EQ(static_cast<QAbstractButton&>(video).text(), "1080p · 60 fps");

    click(video);
    ASSERT_NE(openMenu(), nullptr);
    click(video);
    EXPECT_TRUE(keysReachGround()) << "it closed, and did not open again";
    click(named("Choose a microphone"));
    ASSERT_NE(openMenu(), nullptr);
    EXPECT_FALSE(static_cast<QAbstractButton&>(video).isDown());
    pointAt(stage.ground, {5, 5});
    stage::runProgram({"xdotool", "click", "1"});
    EXPECT_TRUE(keysReachGround());
    EXPECT_EQ(stage.ground.presses, 0) << "it only closed the menu";
}

TEST_F(SelectionBarsTests, AWindowMayBeRecordedAlone) {
    const int width = stage.toolbar->width();
    QWidget& record = *named("Area").parentWidget();
    EXPECT_FALSE(record.isVisible());
    EXPECT_EQ(record.accessibleName(), "Record");
    // As when a window is picked: the bar is hidden meanwhile.
    stage.toolbar->hide();
    QCoreApplication::sendPostedEvents();
    stage.model.windowTitle = std::optional<std::string>("<b>Notes</b>");
    ASSERT_TRUE(await([&] { return stage.toolbar->width() > width; }));
    stage.toolbar->show();
    EXPECT_TRUE(record.isVisible());
    EXPECT_LT(stage.toolbar->width(), 900);
    EXPECT_TRUE(named("Window only").toolTip().contains("Records just the &lt;b&gt;Notes&lt;/b&gt; window"));
    click(named("Window only"));
    ASSERT_TRUE(await([this] { return *stage.model.windowOnly; }));
    tabTo("Window only");
    type("Left");
    ASSERT_TRUE(await([this] { return !*stage.model.windowOnly; }));
    stage.model.windowOnly = true;
    EXPECT_TRUE(static_cast<QAbstractButton&>(named("Window only")).isChecked());
    stage.model.windowOnly = false;
    stage.model.windowTitle = std::optional<std::string>();
    EXPECT_TRUE(await([&] { return stage.toolbar->width() == width; }));
}

TEST_F(SelectionBarsTests, TheGroundIsRoundAndNothingFallsThrough) {
    const QRect bar = stage.pickBar->geometry();
    const QPoint edge(4, bar.height() / 2);
    for (const char* button : {"1", "3"}) {
        pointAt(*stage.pickBar, edge);
        stage::runProgram({"xdotool", "click", button});
    }
    EXPECT_TRUE(keysReachGround());
    EXPECT_EQ(stage.ground.presses, 0);
    EXPECT_EQ(stage.pickBar->cursor().shape(), Qt::ArrowCursor);
    const QImage seen = stage.ground.grab().toImage();
    const auto colorAt = [&](QPoint point) {
        return seen.pixelColor((QPointF(bar.topLeft() + point) * seen.devicePixelRatio()).toPoint());
    };
    EXPECT_EQ(colorAt({1, 1}), QColor(200, 120, 60)) << "cut off by the corner";
    EXPECT_LT(colorAt(edge).lightness(), 60);
}

TEST_F(SelectionBarsTests, ThePickBarIsPressedByReturnToo) {
    QWidget& full = named("Full Screen", stage.pickBar);
    EXPECT_EQ(full.toolTip(), "Select the whole screen (F)");
    click(full);
    ASSERT_TRUE(await([this] { return calls == "full "; }));
    tabTo("Full Screen");
    type("Return");
    ASSERT_TRUE(await([this] { return calls == "full full "; }));
    type("Tab");
    type("Return");
    EXPECT_TRUE(await([this] { return calls == "full full cancel "; }));
    type("Escape");
    EXPECT_TRUE(await([this] { return stage.ground.keys == std::vector<int>{Qt::Key_Escape}; }));
}

}  // namespace
}  // namespace lumicrate::test

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    lumicrate::stage::PrivateDesktop::Options options;
    options.sound = false;
    options.display.width = 2048;
    const lumicrate::stage::PrivateDesktop desktop(options);
    qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    return RUN_ALL_TESTS();
}
