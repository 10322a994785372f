// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/MovieFile/AssetWriterInput.h"

#include <utility>

namespace lumicrate::media {

std::exception_ptr WritingState::error() const {
    const std::lock_guard lock(mutex_);
    return error_;
}

bool WritingState::advance(AVAssetWriterStatus from, AVAssetWriterStatus to) {
    const std::lock_guard lock(mutex_);
    if (status() != from) return false;
    status_.store(to, std::memory_order_release);
    return true;
}

void WritingState::fail(std::exception_ptr error) {
    const std::lock_guard lock(mutex_);
    const AVAssetWriterStatus before = status();
    if (before != AVAssetWriterStatus::unknown && before != AVAssetWriterStatus::writing) return;
    error_ = std::move(error);
    status_.store(AVAssetWriterStatus::failed, std::memory_order_release);
}

void WritingState::interrupt(std::exception_ptr error) {
    if (interrupted_.exchange(true, std::memory_order_acq_rel)) return;
    {
        const std::lock_guard lock(mutex_);
        interruption_ = error;
    }
    if (onInterruption_) onInterruption_(std::move(error));
}

std::exception_ptr WritingState::interruption() const {
    const std::lock_guard lock(mutex_);
    return interruption_;
}

void WritingState::startSession(CMTime start) {
    const std::lock_guard lock(mutex_);
    sessionStart_ = start;
}

std::optional<CMTime> WritingState::sessionStart() const {
    const std::lock_guard lock(mutex_);
    return sessionStart_;
}

void WritingState::endSession(CMTime end) {
    const std::lock_guard lock(mutex_);
    sessionEnd_ = end;
}

std::optional<CMTime> WritingState::sessionEnd() const {
    const std::lock_guard lock(mutex_);
    return sessionEnd_;
}

AssetWriterInput::AssetWriterInput(WritingState& state, std::unique_ptr<TrackEncoder> encoder)
    : state_(state), encoder_(std::move(encoder)) {}

AssetWriterInput::~AssetWriterInput() {
    abandon();
}

bool AssetWriterInput::isReadyForMoreMediaData() const {
    const std::lock_guard lock(mutex_);
    return state_.isWriting() && !finished_ && (state_.isInterrupted() || hasRoom());
}

double AssetWriterInput::backlog() const {
    const std::lock_guard lock(mutex_);
    return std::min(roomTaken_, 1.0);
}

/// Sound longer than the whole queue is accepted when the queue is empty.
bool AssetWriterInput::hasRoom() const {
    constexpr double rounding = 1e-6;
    return roomTaken_ < 1 - rounding && !encoder_->isHeldUp();
}

/// A picture that repeats the last one in the queue takes hardly any memory: they share the pixels.
double AssetWriterInput::roomFor(const CMSampleBuffer& sample) const {
    constexpr double ofRepeat = 0.001;
    const bool isRepeat =
        sample.imageBuffer && !waiting_.empty() && waiting_.back().sample.imageBuffer == sample.imageBuffer;
    return isRepeat ? ofRepeat : encoder_->roomFor(sample);
}

bool AssetWriterInput::appendSampleBuffer(const CMSampleBuffer& sample) {
    if (!state_.isWriting() || !state_.sessionStart()) return false;
    const std::lock_guard lock(mutex_);
    if (finished_) return false;
    if (state_.isInterrupted() || !hasRoom()) return true;
    waiting_.push_back({sample, roomFor(sample)});
    roomTaken_ += waiting_.back().room;
    changed_.notify_one();
    return true;
}

void AssetWriterInput::markAsFinished() {
    const std::lock_guard lock(mutex_);
    finished_ = true;
    changed_.notify_one();
}

void AssetWriterInput::start() {
    thread_ = std::thread([this] { run(); });
}

void AssetWriterInput::drain() {
    markAsFinished();
    join();
}

void AssetWriterInput::abandon() {
    {
        const std::lock_guard lock(mutex_);
        waiting_.clear();
        roomTaken_ = 0;
        finished_ = true;
        changed_.notify_one();
    }
    join();
}

void AssetWriterInput::join() {
    if (thread_.joinable()) thread_.join();
}

std::optional<CMSampleBuffer> AssetWriterInput::next(bool& isIdle) {
    std::unique_lock lock(mutex_);
    const auto hasWork = [this] { return !waiting_.empty() || finished_; };
    const bool isEncoding = state_.isWriting() && !state_.isInterrupted();
    const auto timeout = realTime_ && isEncoding ? encoder_->idleTimeout() : std::nullopt;
    if (timeout) {
        isIdle = !changed_.wait_for(lock, *timeout, hasWork);
    } else {
        changed_.wait(lock, hasWork);
    }
    if (waiting_.empty()) return std::nullopt;
    const Waiting next = std::move(waiting_.front());
    waiting_.pop_front();
    roomTaken_ = waiting_.empty() ? 0 : roomTaken_ - next.room;
    return next.sample;
}

void AssetWriterInput::run() {
    for (;;) {
        bool isIdle = false;
        const std::optional<CMSampleBuffer> sample = next(isIdle);
        if (!sample && !isIdle) return;
        // After a failure samples are dropped, so that no caller waits for space in the queue.
        if (!state_.isWriting() || state_.isInterrupted()) continue;
        try {
            encoder_->setSaving(saving_);
            if (sample) {
                encoder_->encode(*sample, state_.sessionStart().value());
            } else {
                encoder_->handleIdle();
            }
        } catch (...) {
            state_.interrupt(std::current_exception());
        }
    }
}

}  // namespace lumicrate::media
