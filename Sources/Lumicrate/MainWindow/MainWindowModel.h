// MainWindowModel: all that the main window shows, and the commands it hands on.
#pragma once

#include "Lumicrate/Library/Thumbnails.h"
#include "Lumicrate/MainWindow/MessageBanners.h"
#include "Lumicrate/MainWindow/RecorderControls.h"
#include "Lumicrate/MainWindow/RecordingRows.h"
#include "Lumicrate/MainWindow/SourceBar.h"
#include "Lumicrate/MainWindow/WindowPicker.h"
#include "Lumicrate/Shell/MenuItem.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace lumicrate {

/// Main thread.
class MainWindowModel {
 public:
    /// What the application does for the window. None may be missing.
    struct Commands {
        std::function<void()> openSettings;
        std::function<void()> openFolder;
        std::function<void()> showAbout;
        std::function<void()> quit;
        /// What else the window's menu offers, before the above; asked for whenever it is opened.
        std::function<std::vector<MenuItem>()> menu;
    };

    /// What it stands on; all but the queue must outlive it.
    struct Services {
        Executor& executor;
        NSUserDefaults& defaults;
        ScreenRecorder& recorder;
        RecordingLibrary& library;
        RecordingFiles files;
        NSWorkspace& workspace;
        const ImageIO& images;
        std::unique_ptr<DispatchQueue> thumbnailQueue;
        SCScreenshotManager* screenshots = nullptr;  ///< without it, windows are listed without pictures
        const RecorderControls::Progress* mixing = nullptr;
        std::function<std::string(std::chrono::system_clock::time_point)> formatDate;
        Commands commands;
    };

    explicit MainWindowModel(Services services);
    MainWindowModel(const MainWindowModel&) = delete;
    MainWindowModel& operator=(const MainWindowModel&) = delete;

    static std::string title() { return "Lumicrate"; }
    /// The window's menu as it is now.
    std::vector<MenuItem> menu() const;

    NSUserDefaults& defaults;
    const Commands commands;
    MessageBanners messages;
    SourceBar sources;
    WindowPicker windowPicker;
    RecorderControls controls;
    RecordingRows recordings;
    Thumbnails thumbnails;
};

}  // namespace lumicrate
