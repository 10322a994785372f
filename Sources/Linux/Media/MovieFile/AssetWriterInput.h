// AssetWriterInput: one track's waiting room and the thread that encodes what waits there.
#pragma once

#include "Linux/Media/Encoding/TrackEncoder.h"
#include "Platform/AVAssetWriter.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

namespace lumicrate::media {

/// What a writer and its inputs' threads share: how far the writing has come, and why it failed or was
/// interrupted.
class WritingState {
 public:
    AVAssetWriterStatus status() const { return status_.load(std::memory_order_acquire); }
    bool isWriting() const { return status() == AVAssetWriterStatus::writing; }
    std::exception_ptr error() const;
    /// False when the writing is not where it was thought to be.
    bool advance(AVAssetWriterStatus from, AVAssetWriterStatus to);
    /// Only the first failure counts, and none after the end.
    void fail(std::exception_ptr error);

    /// Nothing more can be taken in, but what has been can be completed. Only the first interruption is told.
    void interrupt(std::exception_ptr error);
    bool isInterrupted() const { return interrupted_.load(std::memory_order_acquire); }
    std::exception_ptr interruption() const;
    /// Only before the writing begins.
    void setOnInterruption(std::function<void(std::exception_ptr)> sink) {
        onInterruption_ = std::move(sink);
    }

    void startSession(CMTime start);
    std::optional<CMTime> sessionStart() const;
    void endSession(CMTime end);
    std::optional<CMTime> sessionEnd() const;

 private:
    std::atomic<AVAssetWriterStatus> status_{AVAssetWriterStatus::unknown};
    std::atomic<bool> interrupted_{false};
    std::function<void(std::exception_ptr)> onInterruption_;
    mutable std::mutex mutex_;
    std::exception_ptr error_;
    std::exception_ptr interruption_;
    std::optional<CMTime> sessionStart_;
    std::optional<CMTime> sessionEnd_;
};

/// The platform's operations come from one serial queue, the rest from the writer.
class AssetWriterInput final : public AVAssetWriterInput {
 public:
    /// `state` must outlive the input.
    AssetWriterInput(WritingState& state, std::unique_ptr<TrackEncoder> encoder);
    ~AssetWriterInput() override;

    void setExpectsMediaDataInRealTime(bool realTime) override { realTime_ = realTime; }
    bool isReadyForMoreMediaData() const override;
    /// A sample that comes although the input is not ready, or after an interruption, is dropped.
    bool appendSampleBuffer(const CMSampleBuffer& sample) override;
    void markAsFinished() override;

    TrackEncoder& encoder() { return *encoder_; }
    /// Starts the thread; the encoder is open.
    void start();
    /// Waits until all that waits is encoded and the thread has ended.
    void drain();
    /// Drops what waits and ends the thread.
    void abandon();

 private:
    void run();
    bool hasRoom() const;
    /// The next sample; nothing when the thread is to end or the track is to rest.
    std::optional<CMSampleBuffer> next(bool& resting);
    void join();

    WritingState& state_;
    std::unique_ptr<TrackEncoder> encoder_;
    std::atomic<bool> realTime_{false};
    std::thread thread_;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<CMSampleBuffer> waiting_;
    double roomTaken_ = 0;
    bool finished_ = false;
};

}  // namespace lumicrate::media
