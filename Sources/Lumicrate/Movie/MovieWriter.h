// MovieWriter: turns the live samples of one recording into one movie file.
//
// It stands between a capture stream and an asset writer and adds what the asset writer leaves to its user:
// the movie starts with the first usable frame, paused stretches vanish from its timeline, samples that are
// incomplete, late or out of order never reach it, and the last picture lasts until the recording ends.
#pragma once

#include "Lumicrate/Movie/MovieWriterError.h"
#include "Lumicrate/Movie/PauseTimeline.h"
#include "Lumicrate/Recording/MicrophoneMeter.h"
#include "Platform/AVAssetWriter.h"
#include "Platform/NSFileManager.h"
#include "Platform/ScreenCaptureKit.h"
#include "Support/DispatchQueue.h"
#include "Support/MediaTime.h"

#include <atomic>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

namespace lumicrate {

/// Writes one recording. All its state lives on its serial queue; nothing on it waits, so a busy encoder
/// costs samples and never time.
class MovieWriter final : public SCStreamOutput {
 public:
    struct Settings {
        std::filesystem::path url;
        AVFileType fileType = AVFileType::mpeg4;
        AVVideoCodecType codec = AVVideoCodecType::h264;
        int width = 0;  ///< pixels
        int height = 0;
        int fps = 30;
        int bitRate = 0;  ///< of the picture, bits per second
        bool systemAudio = false;
        bool microphone = false;
        bool video = true;  ///< false for a recording of sound alone
    };

    /// What it is made with. Clock and files must outlive the writer.
    struct Services {
        AVAssetWriterFactory makeAssetWriter;
        const CMClock& clock;  ///< the one that samples are stamped with
        DispatchQueueFactory makeQueue;
        NSFileManager& files;
    };

    /// Told why the movie cannot go on; on any thread.
    using InterruptionHandler = std::function<void(std::exception_ptr)>;

    /// Opens the file with a track for each kind of media. `onInterruption` is called when nothing more can
    /// be written: the movie then is as long as it will get, and to be finished. It must not end the writer,
    /// and may be called during construction. Throws PlatformError when the file cannot be created and
    /// MovieWriterError when it cannot be set up.
    MovieWriter(const Settings& settings, const Services& services, InterruptionHandler onInterruption = {});
    /// Runs what the queue still holds. Not on the queue; the stream must have stopped delivering. A finish
    /// whose outcome is still out then completes as failed.
    ~MovieWriter() override;
    MovieWriter(const MovieWriter&) = delete;
    MovieWriter& operator=(const MovieWriter&) = delete;

    /// Where samples of all kinds are to be delivered.
    DispatchQueue& queue() { return *queue_; }
    void didOutputSampleBuffer(const CMSampleBuffer& sample, SCStreamOutputType type) override;

    /// Leaves out what is captured from the moment of the call on. Any thread; no effect while paused.
    void pause();
    /// Goes on with what is captured from the moment of the call on. Any thread; no effect unless paused.
    void resume();
    /// While muted the microphone's track goes on in silence. Any thread.
    void setMicrophoneMuted(bool muted);
    /// The recording has come to this instant, though the screen may stand still: should the program end
    /// without finishing, the movie lasts until here. A last frame that found the encoder busy is offered
    /// again. Nothing while paused. Any thread.
    void keepUp();
    /// Where microphone levels go: 0 … 1, at most about fifteen a second, called on the queue. Only before
    /// capture starts.
    void setOnMicrophoneLevel(std::function<void(float)> sink);

    /// Ends the movie at this instant, or where a pause in progress began. `completion` is called exactly
    /// once, on any thread, with the error that spoilt the recording, whose file then is deleted, or with
    /// none. Any thread, at most once.
    void finish(std::function<void(std::exception_ptr)> completion);

    /// How many complete frames came while the encoder was busy and are missing from the movie. Any thread.
    std::uint64_t refusedFrames() const { return refusedFrames_.load(std::memory_order_relaxed); }

 private:
    class Finishing;
    struct Track {
        AVAssetWriterInput* input = nullptr;
        CMTime lastPTS;
    };

    AVAssetWriterInput& addInput(const AVOutputSettings& settings);
    Track* trackFor(SCStreamOutputType type);
    bool isWriting();
    void fail();
    void interrupt(const std::exception_ptr& reason);
    bool startSession(SCStreamOutputType type, CMTime at);
    bool append(const CMSampleBuffer& sample, Track& track);
    void offerRefusedFrame();
    void finishNow(const std::shared_ptr<Finishing>& finishing);
    void endMovie();
    void showLastFrameAgain(CMTime at, CMTime age);
    std::exception_ptr discard();

    const CMClock& clock_;
    NSFileManager& files_;
    InterruptionHandler onInterruption_;
    std::atomic<bool> interrupted_ = false;
    std::unique_ptr<AVAssetWriter> writer_;
    Track video_;
    Track systemAudio_;
    Track microphone_;
    bool sessionStarted_ = false;
    PauseTimeline pauses_;
    std::optional<CMSampleBuffer> lastVideoFrame_;
    bool lastFrameRefused_ = false;
    std::exception_ptr failure_;
    MicrophoneMeter meter_;
    std::atomic<std::uint64_t> refusedFrames_ = 0;
    std::shared_ptr<Finishing> finishing_;
    // Last, so that it runs dry before anything its work uses goes away.
    std::unique_ptr<DispatchQueue> queue_;
};

}  // namespace lumicrate
