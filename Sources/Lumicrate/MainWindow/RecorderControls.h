// SPDX-License-Identifier: GPL-3.0-or-later
// RecorderControls: the record button and the controls around it.
#pragma once

#include "Lumicrate/MainWindow/SourceBar.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Lumicrate/Shell/DesktopAbilities.h"
#include "Lumicrate/Shell/MenuItem.h"
#include "Platform/NSUserDefaults.h"
#include "Support/Published.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate {

/// Translates the recorder's state into the content of the controls. Elapsed time and microphone level are
/// only observed while the window is visible, because the recorder measures them more often when observed.
/// Main thread.
class RecorderControls {
 public:
    enum class Phase { ready, waiting, recording };

    /// Everything that is shown; always changed as a whole.
    struct Content {
        Phase phase = Phase::ready;
        std::string title;
        std::string_view symbol;  ///< of the button; empty while waiting
        std::string time;         ///< recorded so far, or the countdown; empty if neither
        bool enabled = true;
        std::string hint;  ///< why recording is impossible; empty otherwise
        /// Progress of saving, 0 … 1.
        std::optional<double> progress;
        bool pauses = false;  ///< whether the pause button is shown
        std::string pauseTitle;
        std::string_view pauseSymbol;
        bool showsLevel = false;
        /// Keys of the toggles that apply to the chosen mode.
        std::vector<std::string_view> toggles;
        bool togglesEnabled = true;  ///< false while recording, which does not follow them
        bool operator==(const Content&) const = default;
    };

    /// A Boolean preference of the next recording.
    struct Toggle {
        std::string_view key;
        std::string_view symbol;
        std::string_view offSymbol;
        std::string label;
        std::string help;
        std::string_view parent = {};  ///< key of the toggle without which this one has no effect
        bool available = true;         ///< false: it has no effect on this desktop, and is shown switched off
    };

    using Progress = Published<std::optional<double>>;

    /// All must outlive this object. `mixing` is the progress of mixing audio; it may be nullptr.
    RecorderControls(ScreenRecorder& recorder, SourceBar& sources, NSUserDefaults& defaults,
                     const Progress* mixing, const DesktopAbilities& desktop = {});
    RecorderControls(const RecorderControls&) = delete;
    RecorderControls& operator=(const RecorderControls&) = delete;

    Published<Content> content;
    Published<float> level;  ///< microphone level, 0 … 1; only updated while shown

    std::vector<Toggle> toggles() const;
    /// The default and the connected microphones. If the stored one is not connected, the default is checked,
    /// because that is what would be recorded.
    std::vector<MenuItem> microphoneMenu() const;

    /// Starts, cancels or stops, depending on the state.
    void press();
    void togglePause() { recorder_.togglePause(); }
    void setVisible(bool visible);

 private:
    void rebuild();
    void describe(Content& next) const;
    bool isActive() const;
    void updateSubscriptions(const Content& next);

    ScreenRecorder& recorder_;
    SourceBar& sources_;
    NSUserDefaults& defaults_;
    DesktopAbilities desktop_;
    // Copies, because observers are notified before the value changes.
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
