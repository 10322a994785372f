// SPDX-License-Identifier: GPL-3.0-or-later
// The main window under real keys and clicks, over a real folder of recordings and a fake recorder platform.
#include "App/QtExecutor.h"
#include "App/RecorderServices.h"
#include "Linux/Desktop/FileManager.h"
#include "Linux/Media/Images/ImageIO.h"
#include "Lumicrate/MainWindow/MainWindowModel.h"
#include "Support/DispatchQueue.h"
#include "Tests/Linux/Desktop/EventLoop.h"
#include "Tests/Lumicrate/Overlays/FakeOverlayContents.h"
#include "Tests/Lumicrate/Recording/RecorderFixture.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Xcb.h"
#include "Views/MainWindow/MainWindow.h"
#include "Views/MainWindow/RecordingList.h"
#include "Views/Shell/Launch.h"
#include "Views/Widgets/FlatButton.h"
#include "Views/Widgets/Menus.h"
#include "Views/Widgets/PictureRowDelegate.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Theme.h"

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
#include <QTimer>
#include <QUrl>
#include <fstream>

namespace lumicrate::test {
namespace {

using testing::ElementsAre;
using testing::SizeIs;
using views::FlatButton;

class MainWindowTests : public RecorderFixture {
 protected:
    MainWindowTests() {
        views::applyTheme(*qApp, views::ColorScheme::light);
        diskFiles.createDirectory(recordings.folder());
        // With one display the screen need not be chosen.
        capture.content.displays.pop_back();
        screens.all.pop_back();
        make();
        recorder->followSources();
        recorder->followDevices();
        setWindows({"notes", "Inbox (3)", "main.cpp"});
        library.emplace(RecordingLibrary::Services{
            loop, diskFiles, notifications, recordings, workspace, app::lengthReaders(), nullptr,
            [this](const std::filesystem::path& url) { previewed.push_back(url.filename()); },
            /*beep=*/nullptr});
        MainWindowModel::Commands commands;
        commands.openSettings = [this] { ++settingsOpened; };
        commands.menu = [] { return std::vector<MenuItem>(); };
        model.emplace(MainWindowModel::Services{loop, defaults, *recorder, *library,
                                                RecordingFiles(diskFiles, notifications), workspace, images,
                                                std::make_unique<SerialQueue>("thumbnails"), &screenshots,
                                                &mixingProgress, views::formatDate, commands});
        window = std::make_unique<views::MainWindow>(*model);
        window->show();
        window->activateWindow();
        EXPECT_TRUE(await([this] { return window->isActiveWindow(); }));
    }
    ~MainWindowTests() override { std::filesystem::remove_all(recordings.folder()); }
    void TearDown() override {
        window.reset();
        model.reset();
        library.reset();
        RecorderFixture::TearDown();
    }

    void setWindows(const std::vector<std::string>& titles) {
        capture.content.windows.clear();
        for (const std::string& title : titles) {
            SCWindow next;
            next.windowID = static_cast<std::uint32_t>(capture.content.windows.size()) + 7;
            next.frame = {40, 40, 640, 480};
            next.title = title;
            next.owningApplication = SCRunningApplication{9, "Editor " + std::to_string(next.windowID)};
            capture.content.windows.push_back(next);
        }
        capture.contentChanged();
        executor.advance(5s);
        ASSERT_THAT(*recorder->windows, SizeIs(titles.size()));
    }
    /// Two seconds of a test picture, or of sound when the name ends in m4a.
    std::filesystem::path addMovie(const std::string& name) {
        const std::filesystem::path url = recordings.folder() / name;
        const bool sound = url.extension() == ".m4a";
        stage::runProgram({"ffmpeg", "-v", "error", "-f", "lavfi", "-i",
                           sound ? "sine=duration=2" : "testsrc2=size=640x360:rate=5:duration=2", "-pix_fmt",
                           "yuv420p", url});
        return url;
    }
    QWidget* focused() { return QApplication::focusWidget(); }
    /// Sends a key to the widget with the focus, as the keyboard does.
    void press(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::keyClick(QApplication::activePopupWidget() ? QApplication::activePopupWidget()->focusWidget()
                                                          : QApplication::focusWidget(),
                        Qt::Key(key), modifiers);
    }
    FlatButton* button(const QString& name) {
        for (auto* found : window->findChildren<FlatButton*>())
            if (found->accessibleName().startsWith(name)) return found;
        ADD_FAILURE() << "no button " << name.toStdString();
        return nullptr;
    }
    views::RecordingList& list() { return *window->findChild<views::RecordingList*>(); }
    void reload(int rows) {
        library->reload();
        ASSERT_TRUE(await([&] { return list().model()->rowCount() == rows; }));
    }
    /// Plain files with the names of recordings; nothing can be read in them.
    void putFiles(const std::vector<std::string>& names) {
        for (const std::string& each : names)
            std::ofstream(recordings.folder() / each) << "no movie";
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

    app::QtExecutor loop;
    desktop::FileManager diskFiles;
    desktop::Calendar realCalendar;
    RecordingFolder recordings{diskFiles, realCalendar, defaults};
    FakeWorkspace workspace;
    FakeOverlayContents panels;
    FakeDisplayPictures screenshots{panels};
    media::ImageIO images;
    RecorderControls::Progress mixingProgress;
    std::vector<std::filesystem::path> previewed;
    int settingsOpened = 0;
    std::optional<RecordingLibrary> library;
    std::optional<MainWindowModel> model;
    std::unique_ptr<views::MainWindow> window;
};

TEST_F(MainWindowTests, EverythingIsReachableByTabAndHasAName) {
    putFiles({"a.mp4"});
    model->sources.chooseWindow(8);
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
    EXPECT_THAT(
        names, ElementsAre("Window", "Window: Editor 8 — Inbox (3)", "System Audio", "App Only", "Microphone",
                           "Choose a microphone", "Cursor", "Clicks", "Countdown", "Start Recording",
                           "Open Recordings Folder", "Settings", "More", "Recordings"));
    const auto roleOf = [this](const QString& name) {
        return QAccessible::queryAccessibleInterface(button(name))->role();
    };
    EXPECT_EQ(roleOf("Start Recording"), QAccessible::Button);
    EXPECT_EQ(roleOf("System Audio"), QAccessible::CheckBox);
}

TEST_F(MainWindowTests, ArrowKeysChooseTheModeAndTheModeItsFields) {
    button("Window")->setFocus();
    press(Qt::Key_Right);
    EXPECT_EQ(defaults.stringForKey("captureMode"), "area");
    capture.content.displays.push_back({2, {1920, 0, 800, 600}, 1, "right"});
    screens.all.push_back({2, {1920, 480, 800, 600}, {}, 1, "right"});
    capture.contentChanged();
    executor.advance(5s);
    auto* const displays = button("Screen: left  ·  1920 × 1080");
    EXPECT_TRUE(displays->isVisible());
    // The window follows changes made elsewhere.
    defaults.set("captureMode", std::string("audio"));
    EXPECT_TRUE(button("Audio")->isChecked());
    EXPECT_FALSE(button("Area")->isChecked());
    EXPECT_FALSE(displays->isVisible());
    EXPECT_FALSE(button("Cursor")->isVisible());
    EXPECT_TRUE(button("Microphone")->isVisible());
}

TEST_F(MainWindowTests, AWindowIsChosenByKeys) {
    auto* opener = button("Choose a Window");
    EXPECT_THAT(screenshots.taken, SizeIs(0));
    opener->setFocus();
    press(Qt::Key_Return);
    ASSERT_NE(QApplication::activePopupWidget(), nullptr);
    auto* choices = QApplication::activePopupWidget()->findChild<QListWidget*>();
    ASSERT_EQ(choices->count(), 3);
    const auto pictureOf = [choices](int row) {
        return choices->item(row)->data(views::PictureRowDelegate::picture).value<QImage>();
    };
    ASSERT_TRUE(await([&] { return !pictureOf(2).isNull(); }));
    EXPECT_NE(pictureOf(0).pixel(5, 5), pictureOf(1).pixel(5, 5));
    press(Qt::Key_Down);
    setWindows({"notes", "Inbox (4)"});
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
    EXPECT_EQ(model->sources.content->window->id, 8U);
}

TEST_F(MainWindowTests, RecordsByAKeyAndShowsTheState) {
    defaults.set("captureMode", std::string("screen"));
    defaults.set("captureMicrophone", true);
    QTest::keyClick(window.get(), Qt::Key_R, Qt::ControlModifier);
    auto* stop = button("Start Recording");
    executor.advance(100ms);
    EXPECT_EQ(stop->text(), "Stop Recording");
    deliverFrame();
    auto* pause = button("Pause Recording");
    EXPECT_TRUE(pause->isVisible());
    EXPECT_FALSE(button("Screen")->isEnabled());
    EXPECT_TRUE(recorder->elapsed.isObserved());
    QTest::mouseClick(pause, Qt::LeftButton);
    EXPECT_EQ(*recorder->state, ScreenRecorder::State::paused);
    EXPECT_EQ(pause->accessibleName(), "Resume Recording");
    window->hide();
    EXPECT_FALSE(recorder->elapsed.isObserved());
    window->show();
    stop->click();
    EXPECT_EQ(stop->text(), "Saving…");
    complete();
    EXPECT_EQ(stop->text(), "Start Recording");
    EXPECT_FALSE(pause->isVisible());
}

TEST_F(MainWindowTests, MessagesAreShownUntilTheyAreDismissed) {
    const int before = window->findChildren<QLabel*>().size();
    recorder->errorMessage = "Recording stopped: <b>full</b>.";
    const auto labels = window->findChildren<QLabel*>();
    ASSERT_EQ(labels.size(), before + 1);
    auto* close = button("Dismiss");
    EXPECT_TRUE(close->isVisible());
    QTest::mouseClick(close, Qt::LeftButton);
    EXPECT_TRUE(model->messages.banners->empty());
    EXPECT_TRUE(await([&] {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        return window->findChildren<QLabel*>().size() == before;
    }));
    EXPECT_FALSE(window->children().isEmpty());
    defaults.readOnly = true;
    QTest::mouseClick(button("Cursor"), Qt::LeftButton);
    EXPECT_TRUE(button("Cursor")->isChecked());
    EXPECT_THAT(*model->messages.banners, SizeIs(1));
}

TEST_F(MainWindowTests, VisibleRowsGetThumbnails) {
    const auto movie = addMovie("a.mp4");
    addMovie("b.m4a");
    reload(2);
    const auto pictureOf = [this](const QString& name) {
        const auto found = list().model()->match(list().model()->index(0, 0), Qt::DisplayRole, name);
        return found.value(0).data(views::PictureRowDelegate::picture).value<QImage>();
    };
    ASSERT_TRUE(await([&] { return !pictureOf("a").isNull(); }));
    const QImage grabbed = list().viewport()->grab(list().visualRect(list().model()->index(0, 0))).toImage();
    const QImage other = list().viewport()->grab(list().visualRect(list().model()->index(1, 0))).toImage();
    // The test picture is colourful, the symbol of sound is not.
    const auto isColourful = [](const QImage& image) {
        int colourful = 0;
        for (int y = 10; y < image.height() - 10; ++y)
            for (int x = 12; x < 100; ++x)
                colourful += QColor(image.pixel(x, y)).saturation() > 200 ? 1 : 0;
        return colourful > 200;
    };
    EXPECT_NE(isColourful(grabbed), isColourful(other));
    EXPECT_TRUE(pictureOf("b").isNull());

    for (int i = 0; i < 3000; ++i)
        std::filesystem::create_hard_link(movie,
                                          recordings.folder() / ("copy_" + std::to_string(i) + ".mp4"));
    library->reload();
    ASSERT_TRUE(await([&] { return list().model()->rowCount() == 3002 && !*library->readsDurations(); }));
    list().scrollToTop();
    ASSERT_TRUE(await([&] {
        return !list().model()->index(3, 0).data(views::PictureRowDelegate::picture).value<QImage>().isNull();
    }));
}

TEST_F(MainWindowTests, RecordingsAreHandledByKeys) {
    putFiles({"a.mp4", "b.mov", "c.mp4", "d.m4a"});
    select("b");
    press(Qt::Key_Return);
    EXPECT_THAT(previewed, ElementsAre("b.mov"));

    press(Qt::Key_F2);
    auto* editor = list().findChild<QLineEdit*>();
    ASSERT_NE(editor, nullptr);
    QTest::keyClicks(editor, "renamed");
    QTest::keyClick(editor, Qt::Key_Return);
    ASSERT_TRUE(await([&] { return list().currentIndex().data().toString() == "renamed"; }));
    EXPECT_THAT(names(), ElementsAre("a", "c", "d", "renamed"));
    EXPECT_TRUE(diskFiles.fileExists(recordings.folder() / "renamed.mov"));

    select("renamed");
    press(Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->mimeData()->urls().value(0).fileName(), "renamed.mov");

    // The selection survives added and removed files.
    std::ofstream(recordings.folder() / "e.mp4") << "no movie";
    std::filesystem::remove(recordings.folder() / "a.mp4");
    library->reload();
    EXPECT_THAT(names(), ElementsAre("c", "d", "e", "renamed"));
    ASSERT_THAT(list().selectionModel()->selectedRows(), SizeIs(1));
    EXPECT_EQ(list().selectionModel()->selectedRows()[0].data().toString(), "renamed");
    press(Qt::Key_Delete);
    EXPECT_THAT(names(), ElementsAre("c", "d", "e"));
    press(Qt::Key_A, Qt::ControlModifier);
    press(Qt::Key_Delete);
    EXPECT_THAT(names(), SizeIs(0));
    EXPECT_TRUE(await([&] { return !list().isVisible(); })) << "the page for an empty list is shown";
}

TEST_F(MainWindowTests, MenusActOnRowsAndTheFolderMayVanish) {
    putFiles({"a.mp4", "b.mp4"});
    select("a");
    const auto choose = [this](const QString& title) {
        ASSERT_TRUE(await([] { return QApplication::activePopupWidget() != nullptr; }));
        auto* menu = dynamic_cast<QMenu*>(QApplication::activePopupWidget());
        for (QAction* each : menu->actions()) {
            if (each->text() == title)
                return QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(each).center());
        }
        ADD_FAILURE() << "no " << title.toStdString();
    };
    const QRect row = list().visualRect(list().currentIndex());
    // The menu button at the end of the row.
    QTest::mouseClick(list().viewport(), Qt::LeftButton, {}, QPoint(row.right() - 20, row.center().y()));
    choose("Play in Default Player");
    EXPECT_THAT(workspace.opened, ElementsAre("a.mp4"));
    select("a");
    QContextMenuEvent byKeyboard(QContextMenuEvent::Keyboard, row.center(), list().mapToGlobal(row.center()));
    QCoreApplication::sendEvent(list().viewport(), &byKeyboard);
    choose("Show in File Viewer");
    EXPECT_THAT(workspace.revealed, ElementsAre(recordings.folder() / "a.mp4"));
    button("More")->click();
    choose("Settings…");
    EXPECT_EQ(settingsOpened, 1);

    std::filesystem::remove_all(recordings.folder());
    press(Qt::Key_Delete);
    EXPECT_THAT(*model->messages.banners, SizeIs(1));
    library->reload();
    EXPECT_THAT(names(), SizeIs(0));
}

TEST_F(MainWindowTests, RemembersItsSizeAndFollowsTheTheme) {
    window->resize(600, 700);
    const auto ground = [this] { return window->grab().toImage().pixelColor(3, 3).lightness(); };
    EXPECT_GT(ground(), 200);
    views::applyTheme(*qApp, views::ColorScheme::dark);
    EXPECT_TRUE(await([&] { return ground() < 60; }));
    for (const auto* label : window->findChildren<QLabel*>())
        EXPECT_GT(label->palette().color(QPalette::WindowText).lightness(), 120);
    window.reset();
    window = std::make_unique<views::MainWindow>(*model);
    EXPECT_EQ(window->size(), QSize(600, 700));
}

TEST(LaunchTests, EndsTheFeedbackOfTheLauncher) {
    EXPECT_EQ(views::Launch::timeIn("panel-1_TIME4294967295"), 4294967295U);
    for (const char* id : {"", "token", "panel_TIME", "panel_TIME12x", "panel_TIME4294967296"})
        EXPECT_EQ(views::Launch::timeIn(id), std::nullopt) << id;

    const stage::XcbConnection panel("");
    const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(panel.get(), panel.screen()->root, XCB_CW_EVENT_MASK, &mask);
    ASSERT_TRUE(panel.sync());
    { const views::Launch launch("launcher \"7\"_TIME5"); }
    const xcb_atom_t begin = stage::internAtom(panel.get(), "_NET_STARTUP_INFO_BEGIN");
    const xcb_atom_t more = stage::internAtom(panel.get(), "_NET_STARTUP_INFO");
    std::string text;
    QTimer pulse;
    pulse.start(5);
    ASSERT_TRUE(await([&] {
        while (const stage::XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(panel.get())}) {
            const auto& message = reinterpret_cast<const xcb_client_message_event_t&>(*event);
            if ((event->response_type & 0x7f) == XCB_CLIENT_MESSAGE &&
                (message.type == begin || message.type == more))
                text.append(reinterpret_cast<const char*>(message.data.data8), 20);
        }
        return !text.empty() && text.back() == '\0';
    }));
    EXPECT_STREQ(text.c_str(), R"(remove: ID="launcher \"7\"_TIME5")");
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
