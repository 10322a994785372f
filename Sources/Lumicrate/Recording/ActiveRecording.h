// SPDX-License-Identifier: GPL-3.0-or-later
// ActiveRecording: one recording, from the choice of its file to the saved movie.
#pragma once

#include "Lumicrate/Capture/ContentFilter.h"
#include "Lumicrate/Library/RecordingFolder.h"
#include "Lumicrate/Movie/MovieWriter.h"
#include "Lumicrate/Movie/SoundFinishing.h"
#include "Lumicrate/Overlays/RecordingChrome.h"
#include "Lumicrate/Recording/CaptureSession.h"
#include "Lumicrate/Recording/InputRecorder.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Platform/AVCaptureSession.h"
#include "Platform/AVReplayBuffer.h"
#include "Platform/NSProcessInfo.h"
#include "Platform/ScreenCaptureKit.h"
#include "Support/Executor.h"
#include "Support/Task.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

namespace lumicrate {

/// Measures the recorded time without pauses. It reads no clock: callers pass the current instant.
class SessionClock {
 public:
    /// Monotonic, since an arbitrary instant.
    using Instant = std::chrono::nanoseconds;

    void start(Instant now);
    /// No effect while paused.
    void pause(Instant now);
    /// No effect unless paused.
    void resume(Instant now);
    /// Recorded seconds.
    double elapsed(Instant now) const;

 private:
    std::chrono::nanoseconds beforePause_{};
    std::optional<Instant> runningSince_;
};

/// A capture that runs already, whose last seconds are kept. Movable.
struct RunningCapture {
    std::unique_ptr<CaptureSession> session;
    std::shared_ptr<AVReplayBuffer> buffer;  ///< what the session writes to
    RecordingOptions options;
    CaptureTarget target;
    SCStreamConfiguration configuration;
};

/// Call order: constructor, start or continueCapture, begin, any number of pause and resume, end, stop, save.
/// Up to `begin`, discard may be called instead of the rest. Main thread only.
class ActiveRecording {
 public:
    /// All must outlive the recording.
    struct Services {
        Executor& executor;
        NSProcessInfo& process;
        ScreenCaptureKit& capture;
        RecordingFolder& folder;
        const MovieWriter::Services& movie;
        SoundFinishing* sound;  ///< may be null
        InputMonitors input = {};
    };

    struct Plan {
        RecordingOptions options;
        RecordingFolder::Kind kind = RecordingFolder::Kind::screen;
        CaptureTarget target;                ///< of a screen recording
        AVCaptureSession* camera = nullptr;  ///< of a webcam recording; must outlive it
        SCStreamConfiguration configuration;
        /// The file to write, instead of a new one in the recordings folder.
        std::optional<std::filesystem::path> output;
    };

    /// Chooses the file and marks it as in progress until the object is destroyed. Throws PlatformError if
    /// the folder cannot be created.
    ActiveRecording(const Services& services, const Plan& plan);
    ActiveRecording(const ActiveRecording&) = delete;
    ActiveRecording& operator=(const ActiveRecording&) = delete;

    /// Opens the file and starts capture. Throws the error of the movie writer or of the capture stream.
    Task<void> start(CaptureSession::Handlers handlers);
    /// Takes over a capture; the movie begins with what has been kept of it. Throws PlatformError if the file
    /// cannot be created.
    void continueCapture(RunningCapture capture, CaptureSession::Handlers handlers);
    /// Capture runs: recorded time starts here, the display is kept awake, and a recorded window is followed,
    /// together with the overlays in `chrome`, which must outlive the recording. `windowClosed` is called
    /// when the recorded window has been closed.
    void begin(RecordingChrome& chrome, std::function<void()> windowClosed);

    void pause();
    void resume();
    const RecordingOptions& options() const { return plan_.options; }
    /// Covers other parts of a screen from the end of the present pause on: points of the screen, y down.
    void setCovers(std::vector<Rect> covers);
    void setMicrophoneMuted(bool muted) { session_->setMicrophoneMuted(muted); }
    /// Overlays have appeared or disappeared. No effect before start().
    void setOverlays(const OverlayWindows& overlays);
    /// Extends the movie to the present even if no new frame arrives.
    void keepUp() { session_->keepUp(); }

    /// The movie ends here, however long it takes to stop the stream. Reports through onNotice how long the
    /// computer was asleep during the recording.
    void end();
    /// Stops capture.
    Task<void> stop();
    /// Completes the movie and finishes its sound. Throws the error that spoilt the movie.
    Task<void> save(SoundWishes wishes);
    /// Ends capture and deletes the file, unless the file existed before the recording.
    void discard();

    const std::filesystem::path& url() const { return file_.url(); }
    /// Recorded seconds up to now.
    double elapsed() const { return clock_.elapsed(services_.executor.now()); }
    /// Frames that are missing because the encoder was busy.
    std::uint64_t refusedFrames() const { return session_ ? session_->refusedFrames() : refusedFrames_; }

 private:
    std::unique_ptr<SCStream> makeStream(SCStreamDelegate& delegate) const;
    bool recordsInput() const;
    void recordInput();
    void noteSleep() const;
    Task<void> fillUp();

    Services services_;
    Plan plan_;
    RecordingFolder::InProgress file_;
    bool fileExistedBefore_;
    CaptureSession::Handlers handlers_;
    SessionClock clock_;
    double secondsBefore_ = 0;  ///< kept by the capture that was taken over
    std::chrono::nanoseconds asleepBefore_{};
    std::unique_ptr<CaptureSession> session_;
    std::optional<InputRecorder> input_;  ///< feeds the session
    std::uint64_t refusedFrames_ = 0;     ///< of the session that has ended
    std::unique_ptr<NSActivity> displayAwake_;
    std::unique_ptr<NSActivity> quiet_;  ///< holds notifications back
    // Destroyed first: they use the session.
    RunningTask followTask_;
    RunningTask fillTask_;
};

}  // namespace lumicrate
