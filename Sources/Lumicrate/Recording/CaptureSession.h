// SPDX-License-Identifier: GPL-3.0-or-later
// CaptureSession: the capture stream and the movie writer of one recording.
#pragma once

#include "Lumicrate/Movie/MovieWriter.h"
#include "Platform/ScreenCaptureKit.h"
#include "Support/Executor.h"
#include "Support/Task.h"

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate {

/// Call order: constructor, start, stop, finish, each once. Destroying the session at any point ends capture;
/// later events are ignored. Main thread only.
class CaptureSession final : private SCStreamDelegate {
 public:
    /// Called on the main thread, and only while the session exists.
    struct Handlers {
        /// The stream ended by itself.
        std::function<void(const std::exception_ptr& error)> onStopped;
        /// Capture continues, but the user should be told this sentence at the end.
        std::function<void(const std::string& sentence)> onNotice;
        /// The movie cannot be continued and should be finished.
        std::function<void(const std::exception_ptr& reason)> onInterruption;
        /// 0 … 1. Optional.
        std::function<void(float level)> onMicrophoneLevel;
    };

    using StreamFactory = std::function<std::unique_ptr<SCStream>(SCStreamDelegate&)>;

    /// Opens the movie's file and makes the stream, which has this configuration. Throws what MovieWriter
    /// throws. All references must outlive the session.
    CaptureSession(const MovieWriter::Settings& settings, const StreamFactory& makeStream,
                   const SCStreamConfiguration& configuration, const MovieWriter::Services& services,
                   Executor& executor, Handlers handlers);
    ~CaptureSession() override;
    CaptureSession(const CaptureSession&) = delete;
    CaptureSession& operator=(const CaptureSession&) = delete;

    /// Other handlers from now on.
    void setHandlers(Handlers handlers);
    /// Throws the platform's error.
    Task<void> start();
    /// Captures another part of the content, in points, into frames of the same size. If the stream refuses,
    /// nothing changes.
    Task<void> setSourceRect(Rect sourceRect);
    /// Captures other windows. If the stream refuses, nothing changes.
    void setContentFilter(const SCContentFilter& filter);
    /// Ends capture. Errors of the stream are ignored.
    Task<void> stop();
    /// Completes the movie. Throws the error that spoilt it.
    Task<void> finish();

    void pause() { writer_.pause(); }
    /// The first picture is the present one, also on a still screen, and has the present covers.
    void resume();
    /// Covers these parts of the content, in points, from the end of the present pause on. Call it while
    /// paused.
    void setCovers(std::vector<Rect> covers);
    /// Extends the movie to the present even if no new frame arrives.
    void keepUp() { writer_.keepUp(); }
    /// The same, and returns when that is done.
    Task<void> catchUp();
    /// Adds input that happened at a time of the clock (MovieWriter::addInput).
    void addInput(RecordedInput input, CMTime at) { writer_.addInput(std::move(input), at); }
    void setMicrophoneMuted(bool muted) { writer_.setMicrophoneMuted(muted); }
    /// Frames that are missing from the movie because the encoder was busy.
    std::uint64_t refusedFrames() const { return writer_.refusedFrames(); }

 private:
    void followMicrophone();
    void didStopWithError(std::exception_ptr error) override;
    void didNotice(std::string sentence) override;
    using Report = std::function<void(const Handlers& handlers)>;
    std::function<void(Report)> reporter() const;

    SCStreamConfiguration configuration_;
    std::uint64_t coversRevision_ = 0;  ///< of the configuration that the present covers came with
    Executor& executor_;
    Handlers handlers_;
    // Work posted by other threads holds this weakly.
    std::shared_ptr<CaptureSession*> self_;
    MovieWriter writer_;
    // Destroyed before the writer, to which it delivers.
    std::unique_ptr<SCStream> stream_;
};

}  // namespace lumicrate
