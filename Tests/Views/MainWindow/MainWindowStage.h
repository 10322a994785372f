// MainWindowStage: the main window over a real folder of real movies, with capture that goes by a script.
#pragma once

#include "App/RecorderServices.h"
#include "App/QtExecutor.h"
#include "Linux/Desktop/FileManager.h"
#include "Linux/Media/Images/ImageIO.h"
#include "Lumicrate/MainWindow/MainWindowModel.h"
#include "Support/DispatchQueue.h"
#include "Tests/Lumicrate/FakePlatform.h"
#include "Tests/Lumicrate/Movie/FakeAssetWriter.h"
#include "Views/MainWindow/MainWindow.h"

#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::test {

/// Spins Qt's loop until `reached`, a minute at most; whether it was reached.
bool awaitOnLoop(const std::function<bool()>& reached);

class StageWorkspace final : public NSWorkspace {
 public:
    void openURL(const std::filesystem::path& url) override { opened.push_back(url.filename()); }
    void activateFileViewerSelecting(const std::vector<std::filesystem::path>& urls) override {
        if (urls.empty()) throw PlatformError("There is nothing to show.");
        revealed = urls;
    }
    std::vector<std::filesystem::path> opened;
    std::vector<std::filesystem::path> revealed;
};

/// Each window has a colour of its own.
class StageScreenshots final : public SCScreenshotManager {
 public:
    std::optional<CGImage> captureImage(std::uint32_t windowID, Size maximumSize) override;
    std::optional<CGImage> captureDisplay(std::uint32_t) override { return std::nullopt; }
    int taken = 0;
};

/// A QApplication, a private display and a session of its own are there before it and after it.
class MainWindowStage {
 public:
    MainWindowStage();
    ~MainWindowStage();
    MainWindowStage(const MainWindowStage&) = delete;
    MainWindowStage& operator=(const MainWindowStage&) = delete;

    /// A movie of a test picture, made by FFmpeg, or sound where the name ends in m4a.
    std::filesystem::path addMovie(const std::string& name);
    /// As many files as wished that cannot be told from recordings by their names.
    void addCopies(const std::filesystem::path& original, int count);
    void setWindows(const std::vector<std::string>& titles);
    void setDisplays(int count);
    // These throw std::runtime_error when what they wait for does not come.
    /// Begins to record the main display and waits until it does.
    void record();
    void deliverFrame();
    /// The file is written out.
    void completeMovie();

    app::QtExecutor executor;
    FakeDefaults defaults;
    FakeProcess process;
    FakeScreens screens;
    NotificationCenter notifications;
    FakeCapture capture;
    FakeDevices devices;
    FakeHotKeys keys;
    HotKeyCenter hotKeys{keys};
    desktop::FileManager files;
    desktop::Calendar calendar;
    RecordingFolder folder{files, calendar};
    HostClock clock;
    StageWorkspace workspace;
    StageScreenshots screenshots;
    media::ImageIO images;
    RecorderControls::Progress mixing;
    std::deque<FakeMovie> movies;
    std::vector<std::filesystem::path> previewed;
    std::vector<std::string> commands;
    std::optional<ScreenRecorder> recorder;
    std::optional<RecordingLibrary> library;
    std::optional<MainWindowModel> content;
    std::unique_ptr<views::MainWindow> window;
};

}  // namespace lumicrate::test
