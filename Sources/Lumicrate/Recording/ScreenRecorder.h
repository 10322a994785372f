// ScreenRecorder: runs recordings, from the wish to record to the saved file.
#pragma once

#include "Lumicrate/Capture/CaptureSource.h"
#include "Lumicrate/Capture/ContentFollower.h"
#include "Lumicrate/Capture/SourceChooser.h"
#include "Lumicrate/Capture/SourceLists.h"
#include "Lumicrate/Capture/WindowFollower.h"
#include "Lumicrate/Library/RecordingFolder.h"
#include "Lumicrate/Movie/AudioMixing.h"
#include "Lumicrate/Movie/MovieWriter.h"
#include "Lumicrate/Overlays/InWindowCountdown.h"
#include "Lumicrate/Overlays/RecorderOverlays.h"
#include "Lumicrate/Overlays/RecordingChrome.h"
#include "Lumicrate/Recording/CaptureSession.h"
#include "Lumicrate/Recording/FreeSpaceGuard.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Lumicrate/Recording/SessionClock.h"
#include "Lumicrate/Shortcuts/HotKeyCenter.h"
#include "Platform/NSProcessInfo.h"
#include "Platform/NSScreen.h"
#include "Platform/NSUserDefaults.h"
#include "Support/Executor.h"
#include "Support/Notifications.h"
#include "Support/Published.h"
#include "Support/Task.h"

#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate {

/// One long-lived object; main thread only. Every failure ends in `idle` with a sentence in `errorMessage`,
/// which is set before the state changes. It must not be destroyed from inside one of its own announcements.
class ScreenRecorder {
 public:
    enum class State {
        idle,
        selectingArea,  ///< a chooser waits for the user
        countingDown,
        starting,  ///< capture and writer are being set up
        recording,
        paused,    ///< capture runs, nothing is written
        stopping,  ///< the recording is being finished
    };

    /// What it is made with; all must outlive the recorder.
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
        AudioMixing* mixing = nullptr;  ///< without it, tracks stay apart
        RecorderOverlays overlays;
    };

    /// Binds the global shortcuts.
    explicit ScreenRecorder(const Services& services);
    /// Ends a recording in progress without saving it; its file stays as far as it was written.
    ~ScreenRecorder();
    ScreenRecorder(const ScreenRecorder&) = delete;
    ScreenRecorder& operator=(const ScreenRecorder&) = delete;

 private:
    // Before the references to what they publish.
    Services services_;
    SourceLists lists_;
    InWindowCountdown inWindowCountdown_;

 public:
    // What views watch. Only the recorder assigns to these.
    /// Every attempt to record, also one that fails or is cancelled at once, ends with an announcement of
    /// `idle`.
    Published<State> state{State::idle};
    Published<double> elapsed;  ///< seconds recorded; four times a second while somebody watches
    Published<bool> hasScreenAccess;
    Published<std::optional<std::filesystem::path>> lastRecording;
    Published<std::vector<std::string>> unavailableHotKeys;
    Published<bool> recordsMicrophone;
    Published<bool> microphoneMuted;
    Published<float> microphoneLevel;  ///< 0 … 1
    /// The mode whose source is being chosen or recorded.
    Published<std::optional<CaptureMode>> pickingMode;
    Published<std::optional<CaptureSource>> source;
    /// The last error, until the next recording is begun.
    Published<std::optional<std::string>> errorMessage;
    /// What else is worth knowing about the recording that has just ended, a sentence each.
    Published<std::vector<std::string>> notices;
    const Published<std::vector<SCDisplay>>& displays{lists_.displays};
    const Published<std::vector<SCWindow>>& windows{lists_.windows};
    const Published<std::vector<CaptureDevice>>& microphones{lists_.microphones};
    const Published<std::vector<CaptureDevice>>& cameras{lists_.cameras};
    /// The number of a countdown that has no panel of its own.
    const Published<std::optional<int>>& countdownValue{inWindowCountdown_.value};

    /// Recording or paused.
    bool isActive() const { return *state == State::recording || *state == State::paused; }
    /// Seconds recorded up to now.
    double elapsedNow() const;
    /// The file being written, from just before the state becomes `recording` to the end of `stopping`.
    std::optional<std::filesystem::path> outputURL() const;
    /// Pictures missing from the running or last recording, because the encoder was busy.
    std::uint64_t refusedFrames() const;

    /// The one action behind the record button: begins, cancels a countdown, or stops.
    void toggle();
    /// Has the user choose what to record in that mode, then records it. Ignored unless idle.
    void record(CaptureMode mode);
    /// Records sound alone. Ignored unless idle.
    void recordAudioNow();
    /// Records `source` without asking. Where none is set, that is the saved area of the main display if
    /// `usingSavedArea` and there is one, else the whole main display. Ignored unless idle.
    void start(bool usingSavedArea);
    void togglePause();
    void toggleMicrophoneMute();
    /// Ends the recording at the instant of the call and saves it, as a task of the recorder's own. A
    /// countdown is cancelled; a recording that is still being set up is given up.
    void requestStop();
    /// requestStop, and awaits the recorder's being idle.
    Task<void> stop();

    /// What the next recording records; ignored unless idle.
    void setSource(const CaptureSource& next);
    /// Used instead of the stored preferences for one recording.
    void setOptionsOverride(std::optional<RecordingOptions> options);
    /// The file to write instead of one in the recordings folder, for one recording.
    void setOutputOverride(std::optional<std::filesystem::path> url);
    /// Whether the next recording's sound is mixed into one track, whatever the preferences say.
    void setMixingOverride(std::optional<bool> mixes) { mixingOverride_ = mixes; }

    /// Binds the global shortcuts anew, after they have changed.
    void registerHotKeys();
    /// Reloads displays and windows; a source that is gone gives way to an area of the main display, but not
    /// under a recording. Throws the platform's error. The task must not outlive the recorder.
    Task<void> refreshSources();
    /// Does so now and whenever displays or windows change, for as long as the recorder lives.
    void followSources();
    void refreshDevices() { lists_.refreshDevices(); }
    /// Reloads microphones and cameras now and whenever one comes or goes.
    void followDevices() { lists_.followDevices(); }
    bool isSourceAvailable(const std::optional<CaptureSource>& which) const {
        return lists_.isSourceAvailable(which);
    }
    std::uint32_t mainDisplayID() const { return lists_.mainDisplayID(); }

 private:
    /// The file of the recording under way.
    struct Output {
        RecordingFolder::InProgress file;
        bool existedBefore;
    };

    bool isAtRest() const;
    RecordingOptions options() const;
    bool soundAlone() const { return isKind(*source, CaptureSource::Kind::audioOnly); }

    // Choosing.
    void begin(Task<void> steps);
    Task<void> chooseAndStart(CaptureMode mode, std::uint32_t displayID);
    Task<bool> choose(CaptureMode mode, std::uint32_t displayID);
    Task<bool> accept(Task<std::optional<SourceChooser::Choice>> choosing);
    std::uint32_t displayToSelectOn() const;

    // Starting.
    Task<void> startSequence();
    Task<bool> runStartSequence();
    Task<bool> countDown(std::optional<NSScreen> screen);
    void cancelCountdown();
    Task<void> beginCapture(RecordingOptions options);
    Task<CaptureTarget> makeTarget(RecordingOptions options);
    std::unique_ptr<CaptureSession> makeSession(const RecordingOptions& options, const CaptureTarget& target);
    void chooseOutput(const std::string& fileExtension);
    RecordingChrome::Place place(const RecordingOptions& options) const;
    void beginSession();
    void followWindow();
    void giveUpStart();
    void hideChrome();
    void comeToRest();

    // While recording.
    Task<void> updateElapsed();
    void microphoneLevelChanged(float level);
    void streamStopped(const std::exception_ptr& error);
    void interrupt(const std::optional<std::string>& reason);
    FreeSpaceGuard freeSpace() const;
    void noteSleep();
    void notice(const std::string& sentence);

    // Stopping.
    void beginStopping();
    Task<void> finishRecording();
    Task<void> saveRecording(std::filesystem::path url);

    SourceChooser chooser_;
    RecordingChrome chrome_;
    SessionClock clock_;
    std::optional<RecordingOptions> optionsOverride_;
    std::optional<std::filesystem::path> outputOverride_;
    std::optional<bool> mixingOverride_;
    std::optional<Output> output_;
    std::unique_ptr<CaptureSession> session_;
    std::optional<FollowedWindow> followed_;
    std::unique_ptr<NSActivity> sleepActivity_;
    std::uint64_t refusedFramesBefore_ = 0;
    std::chrono::nanoseconds asleepBefore_{};
    std::vector<std::string> noticed_;  ///< of the recording under way
    bool countdownHasPanel_ = false;
    bool startGivenUp_ = false;
    // What is bound outside finds the recorder through this, or finds it gone.
    std::shared_ptr<ScreenRecorder*> self_;
    // Last, so that they unwind while all else is still there.
    RunningTask starting_;
    RunningTask timerTask_;
    RunningTask followTask_;
    RunningTask stopping_;
    std::optional<ContentFollower> sourceFollower_;
};

}  // namespace lumicrate
