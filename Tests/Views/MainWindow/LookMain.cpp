// Shows the main window in one of its states and saves what is then on the screen, for a person to look at:
//   lumicrate-stage --no-sound -- main-window-look SCENE PICTURE.png [dark] [WIDTHxHEIGHT]
// Without a picture ("-") the window stays until it is closed.
#include "Tests/Views/MainWindow/MainWindowStage.h"
#include "Views/MainWindow/RecordingList.h"
#include "Views/Widgets/FlatButton.h"
#include "Views/Widgets/Theme.h"

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QPixmap>
#include <QScreen>
#include <QStringList>
#include <QTimer>
#include <cstdio>
#include <map>

namespace lumicrate::test {
namespace {

views::FlatButton* button(MainWindowStage& stage, const QString& name) {
    for (auto* each : stage.window->findChildren<views::FlatButton*>())
        if (each->accessibleName().startsWith(name)) return each;
    throw std::runtime_error("no button of that name");
}

void addSome(MainWindowStage& stage) {
    stage.addMovie("Recording-Screen_2026-05-01_14.03.22.mp4");
    stage.addMovie("A talk about things with a long name that does not fit into one line.mov");
    stage.addMovie("Recording-Audio_2026-05-02_09.12.01.m4a");
    stage.library->reload();
}

using Scene = std::function<void(MainWindowStage&)>;

const std::map<std::string, Scene>& scenes() {
    static const std::map<std::string, Scene> all = {
        {"idle", addSome},
        {"empty", [](MainWindowStage&) {}},
        {"chosen",
         [](MainWindowStage& stage) {
             addSome(stage);
             stage.content->sources.chooseWindow(8);
         }},
        {"area",
         [](MainWindowStage& stage) {
             addSome(stage);
             stage.setDisplays(2);
             stage.content->sources.setMode(CaptureMode::area);
         }},
        {"screen",
         [](MainWindowStage& stage) {
             addSome(stage);
             stage.setDisplays(2);
             stage.content->sources.setMode(CaptureMode::screen);
         }},
        {"audio", [](MainWindowStage& stage) { stage.content->sources.setMode(CaptureMode::audio); }},
        {"recording",
         [](MainWindowStage& stage) {
             addSome(stage);
             stage.defaults.set("captureMicrophone", true);
             stage.defaults.set("captureMode", std::string("screen"));
             stage.record();
             stage.recorder->microphoneLevel = 0.6F;
         }},
        {"paused",
         [](MainWindowStage& stage) {
             addSome(stage);
             stage.record();
             stage.recorder->togglePause();
         }},
        {"saving",
         [](MainWindowStage& stage) {
             addSome(stage);
             stage.record();
             stage.mixing = 0.4;
             stage.recorder->requestStop();
         }},
        {"error",
         [](MainWindowStage& stage) {
             addSome(stage);
             stage.recorder->errorMessage = "Recording stopped: The disk is almost full.";
             stage.recorder->notices = std::vector<std::string>{
                 "The computer slept for 12:40 during the recording; that time was left out."};
         }},
        {"many",
         [](MainWindowStage& stage) {
             stage.addCopies(stage.addMovie("Recording-Screen_2026-05-01_14.03.22.mp4"), 5000);
             stage.library->reload();
         }},
        {"picker",
         [](MainWindowStage& stage) {
             addSome(stage);
             button(stage, QStringLiteral("Choose a Window"))->click();
         }},
        {"menu",
         [](MainWindowStage& stage) {
             addSome(stage);
             auto* list = stage.window->findChild<views::RecordingList*>();
             awaitOnLoop([list] { return !list->isEmpty(); });
             list->setCurrentIndex(list->model()->index(1, 0));
             list->openMenu(list->mapToGlobal(QPoint(200, 40)));
         }},
        {"rename",
         [](MainWindowStage& stage) {
             addSome(stage);
             auto* list = stage.window->findChild<views::RecordingList*>();
             list->setCurrentIndex(list->model()->index(1, 0));
             list->edit(list->currentIndex());
         }},
        {"more", [](MainWindowStage& stage) { button(stage, QStringLiteral("More"))->click(); }},
        {"microphones",
         [](MainWindowStage& stage) { button(stage, QStringLiteral("Choose a microphone"))->click(); }},
    };
    return all;
}

int look(const QStringList& arguments) {
    const auto scene = scenes().find(arguments.value(1).toStdString());
    if (scene == scenes().end() || arguments.size() < 3) {
        for (const auto& [name, play] : scenes())
            std::printf("%s\n", name.c_str());
        return 2;
    }
    const bool dark = arguments.contains(QStringLiteral("dark"));
    views::applyTheme(*qApp, dark ? views::ColorScheme::dark : views::ColorScheme::light);
    MainWindowStage stage;
    const QStringList size = arguments.last().split(QLatin1Char('x'));
    if (size.size() == 2) stage.window->resize(size[0].toInt(), size[1].toInt());
    stage.window->move(20, 40);
    stage.window->show();
    stage.window->activateWindow();
    awaitOnLoop([&stage] { return stage.window->isActiveWindow(); });
    scene->second(stage);
    if (arguments[2] == QLatin1String("-")) return QApplication::exec();
    // Whatever is still to come is there in a moment; a picture for people needs no better condition.
    bool settled = false;
    QTimer::singleShot(1500, qApp, [&settled] { settled = true; });
    awaitOnLoop([&settled] { return settled; });
    const bool saved = stage.window->screen()->grabWindow(0).save(arguments[2]);
    return saved ? 0 : 1;
}

}  // namespace
}  // namespace lumicrate::test

int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    return lumicrate::test::look(QCoreApplication::arguments());
}
