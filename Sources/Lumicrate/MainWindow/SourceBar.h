// SPDX-License-Identifier: GPL-3.0-or-later
// SourceBar: the mode and source that the record button of the main window records.
#pragma once

#include "Lumicrate/Capture/CaptureSource.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Platform/NSUserDefaults.h"
#include "Support/Published.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate {

/// The mode is stored as a preference; the chosen window and display are kept in memory only. Main thread.
class SourceBar {
 public:
    struct Mode {
        CaptureMode mode;
        std::string label;
        std::string_view symbol;
    };
    struct Window {
        std::uint32_t id = 0;
        std::string application;
        std::string title;
        bool operator==(const Window&) const = default;
    };
    struct Display {
        std::uint32_t id = 0;
        std::string name;
        std::string size;  ///< "1920 × 1080", in pixels
        /// "left  ·  1920 × 1080"
        std::string description() const;
        bool operator==(const Display&) const = default;
    };

    /// Everything that is shown; always changed as a whole.
    struct Content {
        CaptureMode mode = CaptureMode::window;
        bool enabled = true;  ///< false while recording
        std::vector<Window> windows;
        /// The chosen window with its current title; absent if none is chosen or it has been closed.
        std::optional<Window> window;
        std::vector<Display> displays;
        /// The display on which an area is selected.
        std::optional<std::uint32_t> display;
        bool picksWindow = false;    ///< whether the window can be chosen here
        bool picksDisplay = false;   ///< whether the display can be chosen here
        bool repeatsChoice = false;  ///< of the desktop's dialog; chooseAgain() shows the dialog again
        std::string note;            ///< shown if there is nothing to choose
        /// Why nothing can be recorded, a sentence for the user.
        std::optional<std::string> missing;
        bool operator==(const Content&) const = default;
    };

    using ErrorHandler = std::function<void(const std::string&)>;

    /// Recorder and preferences must outlive this object. `reportError` is called with a sentence for the
    /// user when a preference cannot be stored.
    SourceBar(ScreenRecorder& recorder, NSUserDefaults& defaults, ErrorHandler reportError);
    SourceBar(const SourceBar&) = delete;
    SourceBar& operator=(const SourceBar&) = delete;

    Published<Content> content;

    /// The modes on offer, in order.
    static std::vector<Mode> modes();

    void setMode(CaptureMode mode);
    /// Stores a text preference, and reports a failure.
    void store(std::string_view key, const std::string& value);
    /// Also applies to the shortcut that starts a recording. `id` is of a window in `content`.
    void chooseWindow(std::uint32_t id);
    /// Also applies to the area shortcut.
    void chooseDisplay(std::uint32_t id);

    /// The next recording shows the desktop's dialog.
    void chooseAgain();

    /// Starts recording the chosen window, or lets the user choose on the screen: an area, a display if there
    /// are several, or a window if none is chosen here; a webcam is framed, and sound recorded, in a
    /// window of its own. Does nothing while `missing` is set.
    void record();

 private:
    void rebuild();
    void fillSources(Content& next) const;
    std::optional<std::string> missingFrom(const Content& content) const;

    ScreenRecorder& recorder_;
    NSUserDefaults& defaults_;
    ErrorHandler reportError_;
    // Copies, because observers are notified before the value changes.
    ScreenRecorder::State state_;
    std::vector<SCWindow> windows_;
    std::vector<SCDisplay> displays_;
    std::vector<CaptureDevice> cameras_;
    std::optional<std::uint32_t> display_;
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate
