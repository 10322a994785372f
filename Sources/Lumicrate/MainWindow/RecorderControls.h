// RecorderControls: the record button and what stands around it.
#pragma once

#include "Lumicrate/MainWindow/SourceBar.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Lumicrate/Shell/MenuItem.h"
#include "Platform/NSUserDefaults.h"
#include "Support/Published.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate {

/// Says in the recorder's own words what the one large button does now. Nothing is followed that nobody sees:
/// elapsed time and microphone level only while the window is visible. Main thread.
class RecorderControls {
 public:
    enum class Look { ready, waiting, recording };

    /// All that is shown, changed in one piece.
    struct Content {
        Look look = Look::ready;
        std::string title;
        std::string_view symbol;  ///< empty while something is waited for
        std::string time;         ///< recorded so far; empty when nothing is recorded
        bool enabled = true;
        std::string hint;  ///< why it is not enabled; empty otherwise
        /// How far saving has come, 0 … 1.
        std::optional<double> progress;
        bool pauses = false;  ///< there is something to pause or resume
        std::string pauseTitle;
        std::string_view pauseSymbol;
        bool showsLevel = false;
        /// Those that take effect in the chosen mode.
        std::vector<std::string_view> toggles;
        bool togglesEnabled = true;  ///< a recording under way keeps what it began with
        bool operator==(const Content&) const = default;
    };

    /// A preference of the next recording that is on or off.
    struct Toggle {
        std::string_view key;
        std::string_view symbol;
        std::string_view offSymbol;
        std::string label;
        std::string help;
    };

    using Progress = Published<std::optional<double>>;

    /// All must outlive it. `mixing`, which may be missing, tells how far mixing has come.
    RecorderControls(ScreenRecorder& recorder, SourceBar& sources, NSUserDefaults& defaults,
                     const Progress* mixing, std::function<void(const std::string&)> complain);
    RecorderControls(const RecorderControls&) = delete;
    RecorderControls& operator=(const RecorderControls&) = delete;

    Published<Content> content;
    Published<float> level;  ///< of the microphone, 0 … 1; only while the content shows it

    static std::vector<Toggle> toggles();
    /// The microphones to choose from. A stored one that is not connected counts as the default, which is
    /// what would be recorded.
    std::vector<MenuItem> microphoneMenu() const;

    /// Begins, cancels or stops, as the button says.
    void press();
    void togglePause() { recorder_.togglePause(); }
    void setVisible(bool visible);

 private:
    void rebuild();
    void describe(Content& next) const;
    bool isActive() const;
    void followMoments(const Content& next);

    ScreenRecorder& recorder_;
    SourceBar& sources_;
    NSUserDefaults& defaults_;
    std::function<void(const std::string&)> complain_;
    // As they are about to be: announcements come before the change.
    ScreenRecorder::State state_;
    SourceBar::Content chosen_;
    std::optional<CaptureMode> picking_;
    std::optional<int> countdown_;
    bool recordsMicrophone_;
    std::optional<double> progress_;
    double elapsed_;
    bool visible_ = false;
    std::vector<Subscription> subscriptions_;
    std::optional<Subscription> elapsedSubscription_;
    std::optional<Subscription> levelSubscription_;
};

}  // namespace lumicrate
