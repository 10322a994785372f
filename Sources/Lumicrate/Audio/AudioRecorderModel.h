// SPDX-License-Identifier: GPL-3.0-or-later
// AudioRecorderModel: what the audio recorder window shows, and what its controls do.
#pragma once

#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Lumicrate/Shell/MenuItem.h"
#include "Platform/NSUserDefaults.h"
#include "Support/Published.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate {

/// It controls the shared recorder. The window may also be open while something else is recorded: then it
/// shows that recording's time. Main thread only.
class AudioRecorderModel {
 public:
    enum class MainButton { record, cancel, stop };

    struct Toggle {
        bool on = false;
        bool enabled = true;
        std::string help;
        bool operator==(const Toggle&) const = default;
    };

    /// Everything that is shown besides the level; always changed as a whole.
    struct Content {
        std::string timerText;  ///< "00:01:05", or "in 3…" during a countdown
        bool paused = false;
        MainButton mainButton = MainButton::record;
        bool mainEnabled = true;
        std::string mainTitle;
        std::string mainHelp;
        bool canPause = false;
        std::string pauseHelp;
        Toggle systemAudio;
        Toggle microphone;           ///< while recording, off means muted
        std::string microphoneName;  ///< of the one that is or would be recorded
        bool canChooseMicrophone = true;
        bool metersMicrophone = false;  ///< false: the meter shows 0 at once
        std::string message;            ///< shown instead of the meter; empty for none
        bool isError = false;           ///< the message reports a failure
        bool operator==(const Content&) const = default;
    };

    /// Both must outlive the model.
    AudioRecorderModel(ScreenRecorder& recorder, NSUserDefaults& defaults);
    AudioRecorderModel(const AudioRecorderModel&) = delete;
    AudioRecorderModel& operator=(const AudioRecorderModel&) = delete;

    Published<Content> content;
    /// Level of the microphone, 0 … 1: linear over −50 … 0 dBFS. Only updated while visible.
    Published<float> meterLevel;

    /// Starts, cancels the countdown or stops, depending on the state.
    void press();
    /// No effect in other states.
    void cancelCountdown();
    void togglePause() { recorder_.togglePause(); }
    /// Switches the microphone of the next recording, or mutes that of the running one.
    void toggleMicrophone();
    void toggleSystemAudio();
    std::vector<MenuItem> microphoneMenu();
    /// While it is not visible, the recorder need not update the time four times per second.
    void setVisible(bool visible);

 private:
    using State = ScreenRecorder::State;

    /// The preferences, as they were when the recorder left the state `idle`.
    struct Choices {
        bool systemAudio = false;
        bool microphone = false;
        std::string microphoneID;
    };

    void follow();
    void followError(const std::optional<std::string>& coming);
    void readChoices();
    void store(std::string_view key, const DefaultsValue& value);
    void rebuild();
    void updateSubscriptions();
    std::string timerText() const;
    void describeButtons(Content& next) const;
    Toggle systemAudioToggle() const;
    Toggle microphoneToggle() const;
    bool isActive() const { return state_ == State::recording || state_ == State::paused; }
    bool hasSource() const { return choices_.systemAudio || choices_.microphone; }

    ScreenRecorder& recorder_;
    NSUserDefaults& defaults_;
    Choices choices_;
    bool visible_ = false;
    std::optional<std::string> error_;
    // Copies, because observers are notified before the value changes.
    State state_;
    double elapsed_;
    std::optional<int> countdown_;
    bool recordsMicrophone_;
    bool muted_;
    float level_;
    std::vector<CaptureDevice> microphones_;
    std::vector<Subscription> subscriptions_;
    std::optional<Subscription> elapsedSubscription_;
    std::optional<Subscription> levelSubscription_;
};

}  // namespace lumicrate
