// SourceBar: what the record button is to record, as the main window lets its user choose it.
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

/// The mode is a preference; the window and the display are remembered for as long as this lives. Main
/// thread.
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
        /// Both, for people.
        std::string description() const;
        bool operator==(const Display&) const = default;
    };

    /// All that is shown of it, changed in one piece.
    struct Content {
        CaptureMode mode = CaptureMode::window;
        bool enabled = true;  ///< nothing can be chosen while a recording is under way
        std::vector<Window> windows;
        /// The chosen one, with its title now; none also when it has gone.
        std::optional<Window> window;
        std::vector<Display> displays;
        /// On which an area is dragged.
        std::optional<std::uint32_t> display;
        bool picksDisplay = false;  ///< it is chosen here, and there is something to choose
        std::string note;           ///< said where there is nothing to choose
        /// Why the record button would do nothing, a sentence.
        std::optional<std::string> missing;
        bool operator==(const Content&) const = default;
    };

    using Complaints = std::function<void(const std::string&)>;

    /// Recorder and preferences must outlive it. Where a preference cannot be stored, `complain` is told why.
    SourceBar(ScreenRecorder& recorder, NSUserDefaults& defaults, Complaints complain);
    SourceBar(const SourceBar&) = delete;
    SourceBar& operator=(const SourceBar&) = delete;

    Published<Content> content;

    /// Those that are offered, in their order.
    static std::vector<Mode> modes();
    static bool isOffered(CaptureMode mode);

    void setMode(CaptureMode mode);
    void chooseWindow(std::uint32_t id);
    /// Counts for the shortcut, too.
    void chooseDisplay(std::uint32_t id);

    /// Begins to record the chosen window, or has something chosen on the screen: an area, a display, or a
    /// window where none is chosen here. Nothing happens where something is missing.
    void record();

 private:
    void rebuild();
    void fillSources(Content& next) const;
    std::optional<std::string> missingFrom(const Content& content) const;
    void store(std::string_view key, const std::string& value);

    ScreenRecorder& recorder_;
    NSUserDefaults& defaults_;
    Complaints complain_;
    // As they are about to be: announcements come before the change.
    ScreenRecorder::State state_;
    std::vector<SCWindow> windows_;
    std::vector<SCDisplay> displays_;
    std::optional<std::uint32_t> window_;
    std::optional<std::uint32_t> display_;
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate
