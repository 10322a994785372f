// SPDX-License-Identifier: GPL-3.0-or-later
// All windows in the language for tests: its letters show which texts aren't in the catalogue, and its length
// which ones don't fit.
#include "App/AppWindows.h"
#include "App/Language.h"
#include "App/Previews.h"
#include "Lumicrate/Library/RecordingLibrary.h"
#include "Tests/App/DrawnTexts.h"
#include "Tests/Linux/Desktop/EventLoop.h"
#include "Tests/Lumicrate/FakeCamera.h"
#include "Tests/Lumicrate/Recording/RecorderFixture.h"
#include "Views/Overlays/ScreenChoiceView.h"
#include "Views/Settings/SettingsWindow.h"
#include "Views/Webcam/StudioWindow.h"
#include "Views/Widgets/QtText.h"

#include <QAbstractButton>
#include <QRegularExpression>
#include <QTest>
#include <typeinfo>

namespace lumicrate::test {
namespace {

/// Without names, files, keys and commands, which are no texts of ours.
QString withoutData(QString text) {
    static const QRegularExpression data(
        QStringLiteral("(</?p>|~?/[^ ,]*|\\S*\\d\\d\\.\\d\\d\\S*|systemctl .*|wpctl "
                       "\\w+|\\b(Lumicrate|screen|mp4|Del|dB|[A-Z]\\b|F\\d+))"));
    return text.remove(data);
}

class LanguageTests : public RecorderFixture, public testing::WithParamInterface<const char*> {
 protected:
    LanguageTests() {
        app::useLanguage(QLatin1String(GetParam()));
        app::applyLanguage(*qApp);
    }
    ~LanguageTests() override {
        setCatalogue(nullptr);
        QApplication::setLayoutDirection(Qt::LeftToRight);
    }

    static QAbstractButton* shown(const char* name) {
        for (QWidget* each : QApplication::allWidgets()) {
            if (each->objectName() == QLatin1String(name) && each->isVisible())
                return qobject_cast<QAbstractButton*>(each);
        }
        return nullptr;
    }
    static bool press(const char* name) {
        QAbstractButton* const button = shown(name);
        if (button) button->click();
        return button != nullptr;
    }
    static void check(const QString& text, const QString& where) {
        static const QRegularExpression plainLetter(QStringLiteral("[A-Za-z]"));
        EXPECT_FALSE(withoutData(text).contains(plainLetter))
            << where.toStdString() << ": not in the catalogue: " << text.toStdString();
    }
    /// The texts of all visible windows.
    static void checkWindows(const char* step) {
        SCOPED_TRACE(step);
        QTest::qWait(60);  // until layouts have settled
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (!window->isVisible()) continue;
            for (const DrawnText& drawn : DrawnTexts::of(*window)) {
                check(drawn.text, drawn.widget);
                EXPECT_FALSE(drawn.isClipped)
                    << drawn.widget.toStdString() << ": cut off: " << drawn.text.toStdString();
            }
            QList<QWidget*> all = window->findChildren<QWidget*>();
            all.append(window);
            for (const QWidget* each : all) {
                const QString where = QLatin1String(typeid(*each).name());
                for (const QString& text : {each->toolTip(), each->accessibleName(), each->windowTitle()})
                    check(text, where);
            }
        }
    }
};

TEST_P(LanguageTests, AllWindowsAreTranslatedAndFit) {
    app::SystemServices system;
    app::DesktopSession session(system);
    app::RecorderServices recording(system, session.services());
    desktop::Workspace workspace([](const std::string&) {});
    app::Previews previews(system, workspace);
    RecordingLibrary library({system.executor, system.files, system.notifications, recording.folder,
                              workspace, app::lengthReaders(), app::watchFolder,
                              [](const std::filesystem::path&) {}, [] {}});
    app::AppWindows windows(system, session, recording, library, workspace,
                            {[] {}, [] {}, [] { return std::vector<MenuItem>(); }, [] {}});
    ScreenRecorder& live = recording.recorder;
    const auto awaitState = [&](State state) { ASSERT_TRUE(await([&] { return *live.state == state; })); };
    live.followSources();
    live.followDevices();
    session.controlBar.setRecorder(&live);

    for (const CaptureMode mode : allCases<CaptureMode>()) {
        system.defaults.set(preference::captureMode, std::string(rawValue(mode)));
        windows.showMain();
        checkWindows(rawValue(mode).data());
    }
    windows.showAbout();
    windows.showWelcomeIfDue();
    windows.showPermissionsIfMissing();
    windows.showAlert({localized("Couldn't check for updates"), "", {localized("OK")}, {}}, [](auto) {});
    windows.showSettings();
    views::SettingsWindow* settings = nullptr;
    for (QWidget* each : QApplication::topLevelWidgets()) {
        if (auto* found = dynamic_cast<views::SettingsWindow*>(each)) settings = found;
    }
    for (const SettingsModel::Page page : SettingsModel::pages) {
        settings->showPage(page);
        checkWindows("the settings and messages");
    }
    for (QWidget* each : QApplication::topLevelWidgets())
        each->close();

    live.record(CaptureMode::area);
    awaitState(State::selectingArea);
    checkWindows("choosing an area");
    ASSERT_TRUE(await([] { return shown("confirm") || press("fullScreen"); }));
    ASSERT_TRUE(await([] { return shown("confirm") != nullptr; }));
    checkWindows("the toolbar of an area");
    press("confirm");
    awaitState(State::countingDown);
    checkWindows("counting down");
    awaitState(State::recording);
    checkWindows("recording");
    ASSERT_TRUE(await([&] { return *live.elapsed > 1; }));
    live.requestStop();
    awaitState(State::idle);

    ASSERT_TRUE(*live.lastRecording);
    previews.windows.show(**live.lastRecording);
    ASSERT_TRUE(await([] { return QApplication::activeWindow() != nullptr; }));
    QWidget* const preview = QApplication::activeWindow();
    checkWindows("the preview");
    for (const Qt::Key key : {Qt::Key_G, Qt::Key_Escape, Qt::Key_T}) {
        QTest::keyClick(QApplication::activePopupWidget() ? QApplication::activePopupWidget() : preview, key);
        checkWindows("the menu of GIFs, and trimming");
    }
    preview->close();

    live.record(CaptureMode::audio);
    checkWindows("the audio recorder");
}

TEST_P(LanguageTests, ChoosingAScreenAndFramingAWebcam) {
    ScreenChoice choice{1, "screen", "1920 × 1080", std::nullopt, [] {}, [] {}};
    views::ScreenChoiceView chooser(choice);
    chooser.resize(800, 600);
    chooser.show();
    checkWindows("choosing a screen");
    chooser.hide();
    FakeCameras cameras;
    devices.seen = {{"x", "x"}};
    makeCameraSession = cameras.factory();
    makeStudioWindow = [](WebcamStudio& studio) { return std::make_unique<views::StudioWindow>(studio); };
    make().recordWebcam();
    executor.drain();
    checkWindows("the webcam studio");
}

INSTANTIATE_TEST_SUITE_P(Pseudo, LanguageTests, testing::Values("en-XA", "ar-XB"));

}  // namespace
}  // namespace lumicrate::test
