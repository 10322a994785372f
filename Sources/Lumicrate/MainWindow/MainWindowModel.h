// SPDX-License-Identifier: GPL-3.0-or-later
// MainWindowModel: everything the main window shows, and the commands it forwards to the application.
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
    /// Implemented by the application. All are required, except those that say otherwise.
    struct Commands {
        std::function<void()> openSettings;
        std::function<void()> openFolder;
        std::function<void()> checkForUpdates;  ///< empty: there is no such menu item
        std::function<void()> showAbout;
        std::function<void()> quit;
        /// Further menu items, shown before the others; called each time the menu opens.
        std::function<std::vector<MenuItem>()> menu;
    };

    /// References and pointers must outlive the model.
    struct Services {
        Executor& executor;
        NSUserDefaults& defaults;
        ScreenRecorder& recorder;
        RecordingLibrary& library;
        RecordingFiles files;
        NSWorkspace& workspace;
        const ImageIO& images;
        std::unique_ptr<DispatchQueue> thumbnailQueue;
        SCScreenshotManager* screenshots = nullptr;          ///< nullptr: windows are listed without pictures
        const RecorderControls::Progress* mixing = nullptr;  ///< progress of mixing audio, if there is any
        std::function<std::string(std::chrono::system_clock::time_point)> formatDate;
        Commands commands;
        DesktopAbilities desktop = {};
    };

    explicit MainWindowModel(Services services);
    MainWindowModel(const MainWindowModel&) = delete;
    MainWindowModel& operator=(const MainWindowModel&) = delete;

    static std::string title() { return "Lumicrate"; }
    /// The current menu of the window.
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
