// SPDX-License-Identifier: GPL-3.0-or-later
// ScreenRecorder: runs recordings, from the record command to the saved file.
#pragma once

#include "Lumicrate/Capture/CaptureSource.h"
#include "Lumicrate/Capture/SourceChooser.h"
#include "Lumicrate/Capture/SourceLists.h"
#include "Lumicrate/Library/RecordingFolder.h"
#include "Lumicrate/Movie/MovieWriter.h"
#include "Lumicrate/Movie/SoundFinishing.h"
#include "Lumicrate/Overlays/CountdownController.h"
#include "Lumicrate/Overlays/RecorderOverlays.h"
#include "Lumicrate/Overlays/RecordingChrome.h"
#include "Lumicrate/Recording/ActiveRecording.h"
#include "Lumicrate/Recording/FreeSpaceGuard.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Lumicrate/Recording/SoundCheck.h"
#include "Lumicrate/Shortcuts/HotKeyCenter.h"
#include "Lumicrate/Webcam/WebcamStudio.h"
#include "Platform/AVCaptureSession.h"
#include "Platform/NSEvent.h"
#include "Platform/NSProcessInfo.h"
#include "Platform/NSScreen.h"
#include "Platform/NSUserDefaults.h"
#include "Platform/SCContentSharingPicker.h"
#include "Support/Executor.h"
#include "Support/Notifications.h"
#include "Support/Published.h"
#include "Support/Task.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lumicrate {

/// One long-lived object; main thread only. Every failure ends in state `idle` with a sentence in
/// `errorMessage`, which is set before the state changes. The recorder must not be destroyed by an observer
/// of its own values.
///
/// A recording passes through the states
///
///     idle → selectingArea → countingDown → starting → recording ⇄ paused → stopping → idle
///
/// without selectingArea if the source is already set, and without countingDown if the user turned it off.
class ScreenRecorder {
 public:
    enum class State {
        idle,
        selectingArea,  ///< the user is choosing what to record
        countingDown,
        starting,  ///< capture and writer are being set up
        recording,
        paused,    ///< capture continues, nothing is written
        stopping,  ///< the movie is being finished
    };

    /// All must outlive the recorder.
    struct Services {
        Executor& executor;
        NSUserDefaults& defaults;
        NSProcessInfo& process;
        NSScreens& screens;
        NotificationCenter& notifications;
        ScreenCaptureKit& capture;
        AVCaptureDevices& devices;
        HotKeyCenter& hotKeys;
        RecordingFolder& folder;
        MovieWriter::Services movie;
        SoundFinishing* sound = nullptr;  ///< without it, sound stays as it was recorded
        RecorderOverlays overlays;
        AVCaptureSessionFactory makeCameraSession = {};  ///< without it, there is no camera to record
        /// Without it, a webcam is recorded without a window.
        WebcamStudio::WindowFactory makeStudioWindow = {};
        SCContentSharingPicker* picker = nullptr;  ///< null where programs may capture without it
        NSPointerMonitoring* pointer = nullptr;    ///< null where the desktop does not tell of the pointer
    };

    /// Binds the global shortcuts.
    explicit ScreenRecorder(const Services& services);
    /// Ends a recording in progress without finishing it; its file keeps what has been written.
    ~ScreenRecorder();
    ScreenRecorder(const ScreenRecorder&) = delete;
    ScreenRecorder& operator=(const ScreenRecorder&) = delete;

    // Observable values. Only the recorder assigns to them.

    /// Every attempt to record, even one that fails or is cancelled at once, ends with a notification of
    /// `idle`.
    Published<State> state{State::idle};
    Published<double> elapsed;  ///< recorded seconds; updated four times a second while it is observed
    Published<bool> hasScreenAccess;
    Published<std::optional<std::filesystem::path>> lastRecording;
    /// Display texts of the shortcuts that could not be registered.
    Published<std::vector<std::string>> unavailableHotKeys;
    /// Those of `unavailableHotKeys` whose key the keyboard lacks; changes first.
    Published<std::vector<std::string>> missingHotKeys;
    Published<bool> recordsMicrophone;
    Published<bool> microphoneMuted;
    Published<float> microphoneLevel;  ///< 0 … 1
    /// The mode whose source is being chosen or recorded.
    Published<std::optional<CaptureMode>> pickingMode;
    Published<std::optional<CaptureSource>> source;
    /// The last error, until the next recording starts; also that the recorded window was closed, while
    /// the recording continues.
    Published<std::optional<std::string>> errorMessage;
    /// Sentences about the recording that has just ended, such as that the computer slept meanwhile.
    Published<std::vector<std::string>> notices;
    const Published<std::vector<SCDisplay>>& displays;
    const Published<std::vector<SCWindow>>& windows;
    const Published<std::vector<CaptureDevice>>& microphones;
    const Published<std::vector<CaptureDevice>>& cameras;
    /// The number of a countdown that is shown in a window instead of in its own panel.
    const Published<std::optional<int>>& countdownValue;

    /// Whether the recording runs without a control bar because the bar would be in the picture.
    bool hidesControlBar() const { return chrome_.hidesControlBar(); }
    /// Recording or paused.
    bool isActive() const { return *state == State::recording || *state == State::paused; }
    /// Recorded seconds up to now.
    double elapsedNow() const;
    /// The file being written, from just before the state becomes `recording` to the end of `stopping`.
    std::optional<std::filesystem::path> outputURL() const;
    /// Frames missing from the current or last recording because the encoder was busy.
    std::uint64_t refusedFrames() const;

    /// The action of the record button, of the shortcut and of the tray: starts a recording of the mode in
    /// the preferences (a window as recordWindow does), confirms the framing of a webcam, cancels a
    /// countdown, or stops.
    void toggle();
    /// Records the window of chooseWindow, or asks for one if none is chosen or it has been closed. Ignored
    /// unless idle.
    void recordWindow();
    /// Sets the window that recordWindow records without asking while it is listed.
    void chooseWindow(std::uint32_t windowID);
    /// The window of chooseWindow in such a list; none if it is not there.
    std::optional<std::uint32_t> chosenWindow(const std::vector<SCWindow>& listed) const;
    /// Asks the user what to record in that mode, then records it. For sound, shows the window that records
    /// it; without such a window, records it at once. Ignored unless idle.
    void record(CaptureMode mode);
    /// Records sound alone. Ignored unless idle.
    void recordAudioNow();
    /// Whether screens and windows are chosen in the desktop's own dialog, which this program can't replace.
    bool usesDesktopDialog() const { return services_.picker != nullptr; }
    /// Whether the next recording of a screen, area or window repeats the last choice of that dialog.
    bool remembersSharing(CaptureMode mode) const;
    /// The dialog is shown again.
    void forgetSharing();
    /// Records a camera alone, after framing in a window. Ignored unless idle.
    void recordWebcam();
    /// Records `source` without asking. If it is not set, records the saved area of the main display
    /// (`usingSavedArea`, and one is saved), or else the whole main display. Ignored unless idle.
    void start(bool usingSavedArea);
    /// Goes on with a capture of a display as a recording that begins with what is kept of it. Ignored unless
    /// idle.
    void start(RunningCapture capture);
    void togglePause();
    /// Whether parts of the recorded picture can be covered during a pause.
    bool offersCovers() const;
    /// Lets the user cover parts of the picture, from the end of the present pause on. Ignored unless paused.
    void drawCovers();
    void toggleMicrophoneMute();
    /// Ends the recording at the instant of the call and saves it asynchronously. Cancels a choice in
    /// progress, the framing of a webcam, a countdown, or a recording that is still starting.
    void requestStop();
    /// Calls requestStop and waits until the recorder is idle.
    Task<void> stop();

    /// Sets what the next recording records. Ignored unless idle.
    void setSource(const CaptureSource& next);
    /// Options for one recording, instead of the stored preferences.
    void setOptionsOverride(std::optional<RecordingOptions> options) {
        optionsOverride_ = std::move(options);
    }
    /// The file for one recording, instead of a new one in the recordings folder.
    void setOutputOverride(std::optional<std::filesystem::path> url) { outputOverride_ = std::move(url); }
    /// What to do with the sound of one recording, instead of what the preferences say.
    void setSoundOverride(const SoundChoices& choices) { soundOverride_ = choices; }
    /// Sound without which the next recording must not start; without this, missing sound is left out.
    void setRequiredSound(const RequiredSound& required) { requiredSound_ = required; }

    /// Called when the shortcut that saves the last seconds is pressed.
    std::function<void()> onSaveReplay;
    /// Binds the global shortcuts again after they were changed. Also done when the keyboard's layout
    /// changes.
    void registerHotKeys();
    /// Reloads displays and windows. A `source` that is gone is replaced by an area of the main display, but
    /// only while the recorder is idle. Throws the platform's error. The task must not outlive the recorder.
    Task<void> refreshSources();
    /// Refreshes the sources now and whenever displays or windows change.
    void followSources();
    /// Refreshes followed sources once more, such as after a change that their display server does not
    /// announce.
    void refreshSourcesSoon() {
        if (sourceFollower_) sourceFollower_->refresh();
    }
    void refreshDevices() { parts_->lists.refreshDevices(); }
    /// Refreshes microphones and cameras now and whenever one is connected or disconnected.
    void followDevices() { parts_->lists.followDevices(); }
    bool isSourceAvailable(const std::optional<CaptureSource>& which) const {
        return parts_->lists.isSourceAvailable(which);
    }
    std::uint32_t mainDisplayID() const { return parts_->lists.mainDisplayID(); }

 private:
    /// The owners of the values that are published by reference; created before the references.
    struct Parts {
        explicit Parts(const Services& services);
        SourceLists lists;
        InWindowCountdown inWindowCountdown;
    };
    ScreenRecorder(const Services& services, std::unique_ptr<Parts> parts);

    /// How long the overlays take to disappear from the screen.
    static constexpr std::chrono::milliseconds settlingTime{100};

    bool isAtRest() const { return *state == State::idle && !starting_.isRunning(); }
    RecordingOptions options() const;
    bool soundAlone() const { return !studio_ && isKind(*source, CaptureSource::Kind::audioOnly); }
    bool recordsScreen() const { return !studio_ && !soundAlone(); }

    // Choosing and starting: ScreenRecorderStart.cpp
    void begin(Task<void> steps);
    void clearMessages();
    Task<void> chooseAndStart(CaptureMode mode, std::uint32_t displayID);
    Task<bool> choose(CaptureMode mode, std::uint32_t displayID);
    Task<void> frameAndStart();
    void openStudio();
    void closeStudio();
    Task<void> startSequence();
    Task<bool> runStartSequence();
    Task<bool> shareSource(bool showsCursor);
    Task<bool> countDown(std::optional<NSScreen> screen);
    void cancelCountdown();
    RecordingChrome::Place place(const RecordingOptions& options) const;
    Task<void> beginCapture(RecordingOptions options);
    Task<RecordingOptions> withoutMissingSound(RecordingOptions options);
    ActiveRecording::Services activeServices() const;
    Task<ActiveRecording::Plan> makePlan(RecordingOptions options);
    CaptureTarget findTarget(const SCShareableContent& content, const RecordingOptions& options) const;
    CaptureSession::Handlers sessionHandlers();
    void giveUpStart();

    // Running and stopping: ScreenRecorder.cpp
    void beginSession();
    void pause();
    void resume();
    Task<void> askForCovers();
    Task<void> updateElapsed();
    Task<void> endWithWindow();
    FreeSpaceGuard freeSpace() const;
    void interrupt(const std::optional<std::string>& reason);
    void notice(const std::string& sentence);
    Task<void> finishRecording();
    void returnToIdle();

    Services services_;
    std::unique_ptr<Parts> parts_;
    SourceChooser chooser_;
    RecordingChrome chrome_;
    std::optional<SCWindow> chosenWindow_;  ///< as it was when it was chosen
    std::optional<RecordingOptions> optionsOverride_;
    std::optional<std::filesystem::path> outputOverride_;
    SoundChoices soundOverride_;
    RequiredSound requiredSound_;
    std::vector<CaptureDevice> connectedMicrophones_;  ///< connected when the recording started
    std::unique_ptr<DispatchQueue> soundQueue_;
    std::unique_ptr<WebcamStudio> studio_;  ///< during a webcam recording, from framing to idle
    std::optional<ActiveRecording> recording_;
    std::uint64_t lastRefusedFrames_ = 0;
    std::vector<std::string> pendingNotices_;  ///< published when the recording has ended
    std::vector<Rect> drawnCovers_;            ///< with the choice of the area
    bool countdownHasPanel_ = false;
    bool resumesAfterCovering_ = false;
    bool startGivenUp_ = false;
    Subscription stateLog_;
    Subscription screenChanges_;
    // Callbacks that may outlive the recorder hold this weakly.
    std::shared_ptr<ScreenRecorder*> self_;
    // Destroyed first: the tasks use everything above.
    RunningTask starting_;
    RunningTask timerTask_;
    RunningTask closedWindow_;
    RunningTask covering_;
    RunningTask stopping_;
    std::optional<ContentFollower> sourceFollower_;
};

template <>
struct RawValues<ScreenRecorder::State> {
    static constexpr std::array<std::string_view, 7> names = {
        "idle", "selectingArea", "countingDown", "starting", "recording", "paused", "stopping"};
};

}  // namespace lumicrate
