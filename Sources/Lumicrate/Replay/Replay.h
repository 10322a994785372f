// SPDX-License-Identifier: GPL-3.0-or-later
// Replay: keeps the last seconds of the main display in memory, so that what has just happened can be saved.
#pragma once

#include "Lumicrate/Library/RecordingFolder.h"
#include "Lumicrate/Movie/MovieWriter.h"
#include "Lumicrate/Movie/SoundFinishing.h"
#include "Lumicrate/Recording/CaptureSession.h"
#include "Lumicrate/Recording/InputRecorder.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Lumicrate/Shell/DesktopAbilities.h"
#include "Platform/AVReplayBuffer.h"
#include "Support/Notifications.h"
#include "Support/Published.h"
#include "Support/Task.h"

#include <array>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate {

/// How many seconds the preference can keep; 0 turns it off.
inline constexpr std::array replayChoices = {0, 15, 30, 60, 120};

/// Captures with the options of a recording, as long as the preference "replaySeconds" is not 0 and the
/// desktop lets it capture unasked. Nothing is
/// written to the disk before it is saved. It ends while a recording runs, and begins anew after it. If
/// capture fails, it is tried again every ten seconds. Main thread only.
class Replay {
 public:
    /// All must outlive this object.
    struct Services {
        Executor& executor;
        NSUserDefaults& defaults;
        NSProcessInfo& process;
        NotificationCenter& notifications;
        ScreenCaptureKit& capture;
        AVCaptureDevices& devices;
        RecordingFolder& folder;
        MovieWriter::Services movie;
        SoundFinishing* sound = nullptr;  ///< without it, sound stays as it was recorded
        AVReplayBufferFactory makeBuffer;
        ScreenRecorder& recorder;
        DesktopAbilities desktop = {};
        NSPointerMonitoring* pointer = nullptr;  ///< null where the desktop does not tell of the pointer
    };

    explicit Replay(Services services);
    ~Replay();
    Replay(const Replay&) = delete;
    Replay& operator=(const Replay&) = delete;

    /// Whether seconds are being kept.
    Published<bool> isOn;
    /// Why they are not although they should be, or why the last save failed.
    Published<std::optional<std::string>> errorMessage;
    /// Announced as recordings are, too.
    Published<std::optional<std::filesystem::path>> lastSaved;

    /// What the preference asks for; 0 if it is off or not valid.
    int seconds() const;
    /// What is kept now.
    AVReplayBuffer::Contents contents() const;
    /// Writes what is kept to a new file in the recordings folder. Throws LocalizedError.
    Task<std::filesystem::path> save();
    /// Begins a recording of the display with what is kept. Throws LocalizedError; a recording that cannot be
    /// begun says why itself.
    void record();
    /// Like save() without waiting, with its sound finished as that of a recording is. Sets `lastSaved` or
    /// `errorMessage`. Throws LocalizedError if nothing is being kept.
    void saveSoon();

 private:
    void requireOn() const;
    void preferencesChanged();
    void update(ScreenRecorder::State state);
    void stop();
    Task<void> run();
    Task<void> capture();
    Task<void> prepare();
    Task<void> saveAndReport();

    Services services_;
    RecordingOptions options_;  ///< of the capture
    int limit_ = 0;             ///< seconds, of the capture
    int chosen_ = 0;            ///< seconds, as in the preference
    std::string fileExtension_;
    std::unique_ptr<DispatchQueue> soundQueue_;
    std::shared_ptr<AVReplayBuffer> buffer_;
    std::unique_ptr<CaptureSession> session_;
    std::optional<InputRecorder> input_;  ///< feeds the session
    CaptureTarget target_;
    SCStreamConfiguration configuration_;
    std::exception_ptr ended_;  ///< why the stream has ended
    Subscription stateChanges_;
    Subscription defaultsChanges_;
    // Destroyed first: they use everything above.
    RunningTask running_;
    TaskBag saving_;
};

}  // namespace lumicrate
