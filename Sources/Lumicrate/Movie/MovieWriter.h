// SPDX-License-Identifier: GPL-3.0-or-later
// MovieWriter: turns the live samples of one recording into one movie file.
//
// It receives the samples of a capture stream and passes them to an asset writer. The movie starts with the
// first complete frame, pauses are cut out of its timeline, samples that are incomplete, late or out of order
// are dropped, and the last frame is shown until the recording ends. While no frame arrives, the last one is
// repeated once a second: players that seek from picture to picture would otherwise show a later one.
#pragma once

#include "Lumicrate/Movie/FrameGrid.h"
#include "Lumicrate/Movie/InputTimeline.h"
#include "Lumicrate/Movie/LoadControl.h"
#include "Lumicrate/Movie/MicrophoneMeter.h"
#include "Lumicrate/Movie/PauseTimeline.h"
#include "Platform/AVAssetWriter.h"
#include "Platform/NSFileManager.h"
#include "Platform/ScreenCaptureKit.h"
#include "Support/DispatchQueue.h"
#include "Support/Error.h"
#include "Support/MediaTime.h"

#include <atomic>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

namespace lumicrate {

class MovieWriterError final : public LocalizedError {
 public:
    enum Case {
        noFrames,        ///< nothing was captured that could have been written
        cannotAddInput,  ///< the file cannot hold a track of the wanted form
        unknown,         ///< the writer failed without saying why
    };

    explicit MovieWriterError(Case which) : LocalizedError(description(which)), which_(which) {}
    Case which() const { return which_; }

 private:
    static std::string description(Case which) {
        switch (which) {
            case noFrames:
                return localized("No video frames were captured.");
            case cannotAddInput:
                return localized("The movie file couldn't be set up for this format.");
            case unknown:
                break;
        }
        return localized("The movie file couldn't be written.");
    }

    Case which_;
};

/// Writes one recording. All its state is confined to its serial queue. Nothing on the queue blocks: samples
/// that arrive while the encoder is busy are dropped.
class MovieWriter final : public SCStreamOutput {
 public:
    struct Settings {
        std::filesystem::path url;
        AVFileType fileType = AVFileType::mpeg4;
        AVVideoCodecType codec = AVVideoCodecType::h264;
        int width = 0;  ///< pixels
        int height = 0;
        int fps = 30;
        int bitRate = 0;  ///< of the video, bits per second
        bool systemAudio = false;
        bool microphone = false;
        bool video = true;    ///< false for a recording of sound alone
        bool camera = false;  ///< the video is a camera's
        bool input = false;   ///< a track of recorded input, besides video
        /// One picture every 1 ⁄ fps s (FrameGrid), instead of the frames at their own times.
        bool constantFrameRate = false;
        /// Seconds between key frames of a still screen.
        double stillKeyFrameInterval = AVVideoCompressionProperties().maxStillKeyFrameInterval;
    };

    /// Clock and files must outlive the writer.
    struct Services {
        AVAssetWriterFactory makeAssetWriter;
        const CMClock& clock;  ///< the clock of the sample times
        DispatchQueueFactory makeQueue;
        NSFileManager& files;
    };

    /// Receives the reason why the movie cannot be continued; any thread.
    using InterruptionHandler = std::function<void(std::exception_ptr)>;

    /// Opens the file with a track for each kind of media. `onInterruption` is called when nothing more can
    /// be written; the movie should then be finished. It must not destroy the writer, and may be called
    /// during construction. Throws PlatformError if the file cannot be created and MovieWriterError if it
    /// cannot be set up.
    MovieWriter(const Settings& settings, const Services& services, InterruptionHandler onInterruption = {});
    /// Runs the pending work of the queue. Must not be called on the queue; the stream must have stopped. A
    /// pending finish completes as failed.
    ~MovieWriter() override;
    MovieWriter(const MovieWriter&) = delete;
    MovieWriter& operator=(const MovieWriter&) = delete;

    /// The queue to deliver all samples on.
    DispatchQueue& queue() { return *queue_; }
    void didOutputSampleBuffer(const CMSampleBuffer& sample, SCStreamOutputType type) override;

    /// Cuts out what is captured after the call. Any thread; no effect while paused.
    void pause();
    /// Continues with what is captured after the call, and not before a frame of this revision of the
    /// stream's configuration, or of a later one, has arrived. Any thread; no effect unless paused.
    void resume(std::uint64_t revision = 0);
    /// Adds input that happened at a time of the clock; its own time means nothing. Of input before the movie
    /// or inside a pause only the last position is kept, for the beginning or the end of the pause. Any
    /// thread.
    void addInput(RecordedInput input, CMTime at);
    /// While muted, the microphone track contains silence. Any thread.
    void setMicrophoneMuted(bool muted);
    /// Call this at least once a second, and every few frames for a constant frame rate, because a still
    /// screen delivers no frames. Repeats the last frame where one is due, extends the movie to the present,
    /// so that it is complete up to here if the program crashes, and retries a last frame that the busy
    /// encoder refused. No effect while paused. Any thread.
    void keepUp();
    /// `sink` receives microphone levels, 0 … 1, at most about fifteen per second, on the queue. Any thread.
    void setOnMicrophoneLevel(std::function<void(float)> sink);

    /// Ends the movie now, or at the start of a pause in progress. `completion` is called exactly once, on
    /// any thread: with null if the movie was saved, or with the error, after which the file is deleted. Any
    /// thread, at most once.
    void finish(std::function<void(std::exception_ptr)> completion);

    /// The number of complete frames that are missing from the movie because the encoder was busy. Any
    /// thread.
    std::uint64_t refusedFrames() const { return refusedFrames_.load(std::memory_order_relaxed); }

 private:
    class Finishing;
    struct AwaitedFrame {
        std::uint64_t revision;
        CMTime notBefore;
    };
    struct Track {
        AVAssetWriterInput* input = nullptr;
        CMTime lastPTS;
    };

    AVAssetWriterInput& addTrack(const AVOutputSettings& settings);
    Track* trackFor(SCStreamOutputType type);
    bool isWriting();
    void fail();
    void interrupt(const std::exception_ptr& reason);
    void endPauseWith(const CMSampleBuffer& frame);
    void endPause(CMTime at);
    bool startSession(SCStreamOutputType type, CMTime at);
    bool append(const CMSampleBuffer& sample, Track& track);
    void appendInput(const std::optional<RecordedInput>& input);
    void appendFrame(const CMSampleBuffer& frame);
    bool fillGrid(CMTime until);
    void retryRefusedFrame();
    void repeatStillFrame(CMTime until);
    void finishNow(const std::shared_ptr<Finishing>& finishing);
    void endMovie();
    bool repeatLastFrame(CMTime at);
    void holdLastFrame(CMTime until);
    std::exception_ptr discard();

    const CMClock& clock_;
    NSFileManager& files_;
    InterruptionHandler onInterruption_;
    std::atomic<bool> interrupted_ = false;
    std::unique_ptr<AVAssetWriter> writer_;
    Track video_;
    LoadControl load_;
    Track systemAudio_;
    Track microphone_;
    Track input_;
    InputTimeline inputTimes_;
    bool sessionStarted_ = false;
    PauseTimeline pauses_;
    std::optional<AwaitedFrame> awaited_;  ///< the frame that ends the pause in progress
    std::optional<int> gridRate_;          ///< frames per second, if constant
    std::optional<FrameGrid> grid_;
    // Without a grid:
    std::optional<CMSampleBuffer> lastVideoFrame_;
    bool lastFrameRefused_ = false;
    std::exception_ptr failure_;
    MicrophoneMeter meter_;
    std::atomic<std::uint64_t> refusedFrames_ = 0;
    std::shared_ptr<Finishing> finishing_;
    // Destroyed first: its pending work uses everything above.
    std::unique_ptr<DispatchQueue> queue_;
};

}  // namespace lumicrate
