// SPDX-License-Identifier: GPL-3.0-or-later
// AssetWriterInput: one track's queue of samples and the thread that encodes them.
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

/// The state that a writer shares with its inputs' threads: its status, why it failed or was interrupted, and
/// the session's times. Any thread.
class WritingState {
 public:
    AVAssetWriterStatus status() const { return status_.load(std::memory_order_acquire); }
    bool isWriting() const { return status() == AVAssetWriterStatus::writing; }
    std::exception_ptr error() const;
    /// Changes the status from `from` to `to`; returns false if it was not `from`.
    bool advance(AVAssetWriterStatus from, AVAssetWriterStatus to);
    /// Ignored after the first failure, and when the writing has ended.
    void fail(std::exception_ptr error);

    /// No more samples can be taken, but the file can still be completed. Only the first interruption is
    /// reported.
    void interrupt(std::exception_ptr error);
    bool isInterrupted() const { return interrupted_.load(std::memory_order_acquire); }
    std::exception_ptr interruption() const;
    /// To be set before the writing begins. Called once, on any thread.
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

/// The operations of AVAssetWriterInput are called from one serial queue, the others by the writer.
class AssetWriterInput final : public AVAssetWriterInput {
 public:
    /// `state` must outlive the input.
    AssetWriterInput(WritingState& state, std::unique_ptr<TrackEncoder> encoder);
    ~AssetWriterInput() override;

    void setExpectsMediaDataInRealTime(bool realTime) override { realTime_ = realTime; }
    bool isReadyForMoreMediaData() const override;
    double backlog() const override;
    void setSaving(int level) override { saving_ = level; }
    /// Drops the sample if the input is not ready or was interrupted.
    bool appendSampleBuffer(const CMSampleBuffer& sample) override;
    void markAsFinished() override;

    TrackEncoder& encoder() { return *encoder_; }
    /// Starts the thread. The encoder must be open.
    void start();
    /// Waits until all queued samples are encoded and the thread has ended.
    void drain();
    /// Drops the queue and ends the thread.
    void abandon();

 private:
    struct Waiting {
        CMSampleBuffer sample;
        double room = 0;  ///< the fraction of the queue that it takes
    };

    void run();
    bool hasRoom() const;
    double roomFor(const CMSampleBuffer& sample) const;
    /// Waits for the next sample; nothing when the thread should end or, with `isIdle` set, the sample is
    /// late.
    std::optional<CMSampleBuffer> next(bool& isIdle);
    void join();

    WritingState& state_;
    std::unique_ptr<TrackEncoder> encoder_;
    std::atomic<bool> realTime_{false};
    std::atomic<int> saving_{0};
    std::thread thread_;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Waiting> waiting_;
    double roomTaken_ = 0;
    bool finished_ = false;
};

}  // namespace lumicrate::media
