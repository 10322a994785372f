// The main window under real keys and clicks.
#include "Tests/Stage/PrivateDesktop.h"
#include "Tests/Views/MainWindow/MainWindowStage.h"
#include "Views/MainWindow/RecordingList.h"
#include "Views/Widgets/FlatButton.h"
#include "Views/Widgets/Menus.h"
#include "Views/Widgets/PictureRowDelegate.h"
#include "Views/Widgets/Theme.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMimeData>
#include <QTest>
#include <QUrl>
#include <fstream>

namespace lumicrate::test {
namespace {

using testing::ElementsAre;
using testing::SizeIs;
using views::FlatButton;

class MainWindowTests : public testing::Test {
 protected:
    MainWindowTests() {
        views::applyTheme(*qApp, views::ColorScheme::light);
        stage.window->show();
        stage.window->activateWindow();
        if (!awaitOnLoop([this] { return stage.window->isActiveWindow(); })) ADD_FAILURE() << "not active";
    }

    QWidget* focused() { return QApplication::focusWidget(); }
    /// As the person at the keyboard would: to whatever has the focus.
    void press(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::keyClick(QApplication::activePopupWidget() ? QApplication::activePopupWidget()->focusWidget()
                                                          : QApplication::focusWidget(),
                        Qt::Key(key), modifiers);
    }
    FlatButton* button(const QString& name) {
        for (auto* each : stage.window->findChildren<FlatButton*>())
            if (each->accessibleName().startsWith(name)) return each;
        ADD_FAILURE() << "no button " << name.toStdString();
        return nullptr;
    }
    views::RecordingList& list() { return *stage.window->findChild<views::RecordingList*>(); }
    void reload(int rows) {
        stage.library->reload();
        ASSERT_TRUE(awaitOnLoop([&] { return list().model()->rowCount() == rows; }));
    }
    /// Plain files with the names of recordings; nothing can be read in them.
    void putFiles(const std::vector<std::string>& names) {
        for (const std::string& each : names)
            std::ofstream(stage.folder.folder() / each) << "no movie";
        reload(static_cast<int>(names.size()));
    }
    std::vector<std::string> names() {
        std::vector<std::string> all;
        for (int i = 0; i < list().model()->rowCount(); ++i)
            all.push_back(list().model()->index(i, 0).data().toString().toStdString());
        std::sort(all.begin(), all.end());
        return all;
    }
    void select(const QString& name) {
        list().setCurrentIndex(
            list().model()->match(list().model()->index(0, 0), Qt::DisplayRole, name).value(0));
        list().setFocus();
    }

    MainWindowStage stage;
};

TEST_F(MainWindowTests, EverythingCanBeReachedByTheKeyboardAndHasAName) {
    putFiles({"a.mp4"});
    stage.content->sources.chooseWindow(8);
    button("Window")->setFocus();
    std::vector<QWidget*> order;
    for (QWidget* first = focused(); order.empty() || focused() != first; press(Qt::Key_Tab)) {
        order.push_back(focused());
        ASSERT_LT(order.size(), 40U);
    }
    std::vector<std::string> names;
    for (QWidget* each : order) {
        const auto* accessible = QAccessible::queryAccessibleInterface(each);
        names.push_back(accessible->text(QAccessible::Name).toStdString());
    }
    EXPECT_THAT(names, ElementsAre("Window", "Window: Editor 8 — Inbox (3)", "System Audio", "Microphone",
                                   "Choose a microphone", "Cursor", "Clicks", "Countdown", "Start Recording",
                                   "Open Recordings Folder", "Settings", "More", "Recordings"));
    const auto roleOf = [this](const QString& name) {
        return QAccessible::queryAccessibleInterface(button(name))->role();
    };
    EXPECT_EQ(roleOf("Start Recording"), QAccessible::Button);
    EXPECT_EQ(roleOf("System Audio"), QAccessible::CheckBox);
}

TEST_F(MainWindowTests, ArrowsChooseTheModeAndTheModeItsFields) {
    button("Window")->setFocus();
    press(Qt::Key_Right);
    EXPECT_EQ(stage.defaults.stringForKey("captureMode"), "area");
    stage.setDisplays(2);
    auto* const displays = button("Screen: DP-1  ·  1920 × 1080");
    EXPECT_TRUE(displays->isVisible());
    // Changed elsewhere, the window follows.
    stage.defaults.set("captureMode", std::string("audio"));
    EXPECT_TRUE(button("Audio")->isChecked());
    EXPECT_FALSE(button("Area")->isChecked());
    EXPECT_FALSE(displays->isVisible());
    EXPECT_FALSE(button("Cursor")->isVisible());
    EXPECT_TRUE(button("Microphone")->isVisible());
}

TEST_F(MainWindowTests, AWindowIsPickedWithTheKeyboard) {
    auto* opener = button("Choose a Window");
    EXPECT_EQ(stage.screenshots.taken, 0);
    opener->setFocus();
    press(Qt::Key_Return);
    ASSERT_NE(QApplication::activePopupWidget(), nullptr);
    auto* choices = QApplication::activePopupWidget()->findChild<QListWidget*>();
    ASSERT_EQ(choices->count(), 3);
    const auto pictureOf = [choices](int row) {
        return choices->item(row)->data(views::PictureRowDelegate::picture).value<QImage>();
    };
    ASSERT_TRUE(awaitOnLoop([&] { return !pictureOf(2).isNull(); }));
    EXPECT_NE(pictureOf(0).pixel(5, 5), pictureOf(1).pixel(5, 5));
    press(Qt::Key_Down);
    stage.setWindows({"notes", "Inbox (4)"});
    ASSERT_EQ(choices->count(), 2);
    EXPECT_EQ(choices->currentRow(), 1);
    EXPECT_FALSE(pictureOf(1).isNull());
    press(Qt::Key_Return);
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
    EXPECT_EQ(opener->text(), "Editor 8 — Inbox (4)");
    EXPECT_TRUE(button("Start Recording")->isEnabled());
    opener->click();
    press(Qt::Key_Escape);
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
    EXPECT_EQ(stage.content->sources.content->window->id, 8U);
}

TEST_F(MainWindowTests, RecordsAtAKeyAndShowsHowItGoes) {
    stage.defaults.set("captureMode", std::string("screen"));
    stage.defaults.set("captureMicrophone", true);
    QTest::keyClick(stage.window.get(), Qt::Key_R, Qt::ControlModifier);
    auto* stop = button("Start Recording");
    ASSERT_TRUE(awaitOnLoop([&] { return stop->text() == "Stop Recording"; }));
    stage.deliverFrame();
    auto* pause = button("Pause Recording");
    EXPECT_TRUE(pause->isVisible());
    EXPECT_FALSE(button("Screen")->isEnabled());
    EXPECT_TRUE(stage.recorder->elapsed.isObserved());
    QTest::mouseClick(pause, Qt::LeftButton);
    EXPECT_EQ(*stage.recorder->state, ScreenRecorder::State::paused);
    EXPECT_EQ(pause->accessibleName(), "Resume Recording");
    stage.window->hide();
    EXPECT_FALSE(stage.recorder->elapsed.isObserved());
    stage.window->show();
    stop->click();
    EXPECT_EQ(stop->text(), "Saving…");
    stage.completeMovie();
    EXPECT_EQ(stop->text(), "Start Recording");
    EXPECT_FALSE(pause->isVisible());
}

TEST_F(MainWindowTests, MessagesAreShownUntilTheyAreDismissed) {
    const int before = stage.window->findChildren<QLabel*>().size();
    stage.recorder->errorMessage = "Recording stopped: <b>full</b>.";
    const auto labels = stage.window->findChildren<QLabel*>();
    ASSERT_EQ(labels.size(), before + 1);
    auto* close = button("Dismiss");
    EXPECT_TRUE(close->isVisible());
    QTest::mouseClick(close, Qt::LeftButton);
    EXPECT_TRUE(stage.content->messages.banners->empty());
    EXPECT_TRUE(awaitOnLoop([&] { return stage.window->findChildren<QLabel*>().size() == before; }));
    EXPECT_FALSE(stage.window->children().isEmpty());
    stage.defaults.readOnly = true;
    QTest::mouseClick(button("Cursor"), Qt::LeftButton);
    EXPECT_TRUE(button("Cursor")->isChecked());
    EXPECT_THAT(*stage.content->messages.banners, SizeIs(1));
}

TEST_F(MainWindowTests, PicturesComeForRowsInView) {
    const auto movie = stage.addMovie("a.mp4");
    stage.addMovie("b.m4a");
    reload(2);
    const auto pictureOf = [this](const QString& name) {
        const auto found = list().model()->match(list().model()->index(0, 0), Qt::DisplayRole, name);
        return found.value(0).data(views::PictureRowDelegate::picture).value<QImage>();
    };
    ASSERT_TRUE(awaitOnLoop([&] { return !pictureOf("a").isNull(); }));
    const QImage grabbed = list().viewport()->grab(list().visualRect(list().model()->index(0, 0))).toImage();
    const QImage other = list().viewport()->grab(list().visualRect(list().model()->index(1, 0))).toImage();
    // The test picture is colourful, the symbol is not.
    const auto isColourful = [](const QImage& image) {
        int colourful = 0;
        for (int y = 10; y < image.height() - 10; ++y)
            for (int x = 12; x < 100; ++x)
                colourful += QColor(image.pixel(x, y)).saturation() > 200 ? 1 : 0;
        return colourful > 200;
    };
    EXPECT_NE(isColourful(grabbed), isColourful(other));
    EXPECT_TRUE(pictureOf("b").isNull());

    stage.addCopies(movie, 3000);
    stage.library->reload();
    ASSERT_TRUE(
        awaitOnLoop([&] { return list().model()->rowCount() == 3002 && !*stage.library->readsLengths(); }));
    list().scrollToTop();
    ASSERT_TRUE(awaitOnLoop([&] {
        return !list().model()->index(3, 0).data(views::PictureRowDelegate::picture).value<QImage>().isNull();
    }));
}

TEST_F(MainWindowTests, RecordingsAreHandledByKeys) {
    putFiles({"a.mp4", "b.mov", "c.mp4", "d.m4a"});
    select("b");
    press(Qt::Key_Return);
    EXPECT_THAT(stage.previewed, ElementsAre("b.mov"));

    press(Qt::Key_F2);
    auto* editor = list().findChild<QLineEdit*>();
    ASSERT_NE(editor, nullptr);
    QTest::keyClicks(editor, "renamed");
    QTest::keyClick(editor, Qt::Key_Return);
    ASSERT_TRUE(awaitOnLoop([&] { return list().currentIndex().data().toString() == "renamed"; }));
    EXPECT_THAT(names(), ElementsAre("a", "c", "d", "renamed"));
    EXPECT_TRUE(stage.files.fileExists(stage.folder.folder() / "renamed.mov"));

    select("renamed");
    press(Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->mimeData()->urls().value(0).fileName(), "renamed.mov");

    // Another file comes and one goes: what is selected stays selected.
    std::ofstream(stage.folder.folder() / "e.mp4") << "no movie";
    std::filesystem::remove(stage.folder.folder() / "a.mp4");
    stage.library->reload();
    EXPECT_THAT(names(), ElementsAre("c", "d", "e", "renamed"));
    ASSERT_THAT(list().selectionModel()->selectedRows(), SizeIs(1));
    EXPECT_EQ(list().selectionModel()->selectedRows()[0].data().toString(), "renamed");
    press(Qt::Key_Delete);
    EXPECT_THAT(names(), ElementsAre("c", "d", "e"));
    press(Qt::Key_A, Qt::ControlModifier);
    press(Qt::Key_Delete);
    EXPECT_THAT(names(), SizeIs(0));
    EXPECT_TRUE(awaitOnLoop([&] { return !list().isVisible(); })) << "the page for an empty list is shown";
}

TEST_F(MainWindowTests, MenusActOnRowsAndFoldersMayGo) {
    putFiles({"a.mp4", "b.mp4"});
    select("a");
    const auto choose = [this](const QString& title) {
        ASSERT_TRUE(awaitOnLoop([] { return QApplication::activePopupWidget() != nullptr; }));
        auto* menu = dynamic_cast<QMenu*>(QApplication::activePopupWidget());
        for (QAction* each : menu->actions()) {
            if (each->text() == title)
                return QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(each).center());
        }
        ADD_FAILURE() << "no " << title.toStdString();
    };
    const QRect row = list().visualRect(list().currentIndex());
    // The button at the end of the row.
    QTest::mouseClick(list().viewport(), Qt::LeftButton, {}, QPoint(row.right() - 20, row.center().y()));
    choose("Play in Default Player");
    EXPECT_THAT(stage.workspace.opened, ElementsAre("a.mp4"));
    select("a");
    QContextMenuEvent byKeyboard(QContextMenuEvent::Keyboard, row.center(), list().mapToGlobal(row.center()));
    QCoreApplication::sendEvent(list().viewport(), &byKeyboard);
    choose("Show in File Viewer");
    EXPECT_THAT(stage.workspace.revealed, ElementsAre(stage.folder.folder() / "a.mp4"));
    button("More")->click();
    choose("Settings…");
    EXPECT_THAT(stage.commands, ElementsAre("settings"));

    std::filesystem::remove_all(stage.folder.folder());
    press(Qt::Key_Delete);
    EXPECT_THAT(*stage.content->messages.banners, SizeIs(1));
    stage.library->reload();
    EXPECT_THAT(names(), SizeIs(0));
}

TEST_F(MainWindowTests, RemembersItsSizeAndFollowsTheTheme) {
    stage.window->resize(600, 700);
    const auto ground = [this] { return stage.window->grab().toImage().pixelColor(3, 3).lightness(); };
    EXPECT_GT(ground(), 200);
    views::applyTheme(*qApp, views::ColorScheme::dark);
    EXPECT_TRUE(awaitOnLoop([&] { return ground() < 60; }));
    for (const auto* label : stage.window->findChildren<QLabel*>())
        EXPECT_GT(label->palette().color(QPalette::WindowText).lightness(), 120);
    stage.window.reset();
    stage.window = std::make_unique<views::MainWindow>(*stage.content);
    EXPECT_EQ(stage.window->size(), QSize(600, 700));
}

TEST(MenusTests, ShowKeysWithoutBindingThem) {
    const auto text = [](const Shortcut& shortcut) {
        return views::keySequence(shortcut).toString(QKeySequence::PortableText).toStdString();
    };
    EXPECT_EQ(text({15, Shortcut::optionKey | Shortcut::cmdKey, "R"}), "Meta+Alt+R");
    EXPECT_EQ(text({49, Shortcut::controlKey | Shortcut::shiftKey, "Space"}), "Ctrl+Shift+Space");
    EXPECT_EQ(text({120, Shortcut::cmdKey, "F2"}), "");
    QMenu menu;
    MenuItem item = MenuItem::command("Save & Go", [] {});
    item.shortcut = Shortcut{15, Shortcut::controlKey, "R"};
    views::fillMenu(menu, {item, MenuItem::line()});
    ASSERT_THAT(menu.actions(), SizeIs(2));
    EXPECT_EQ(menu.actions()[0]->text(), "Save && Go");
    EXPECT_EQ(menu.actions()[0]->shortcut(), QKeySequence("Ctrl+R"));
    EXPECT_EQ(menu.actions()[0]->shortcutContext(), Qt::WidgetShortcut);
    EXPECT_TRUE(menu.actions()[1]->isSeparator());
}

}  // namespace
}  // namespace lumicrate::test

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    lumicrate::stage::PrivateDesktop::Options options;
    options.sound = false;
    const lumicrate::stage::PrivateDesktop desktop(options);
    qputenv("QT_QPA_PLATFORM", "xcb");
    const QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
