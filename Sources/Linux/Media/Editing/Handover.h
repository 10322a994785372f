// Handover: pieces of work from one thread to the next, a few at a time.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

namespace lumicrate::media {

/// One thread gives, one takes; either may close it.
template <class Piece>
class Handover {
 public:
    /// Of at most `room` pieces that wait.
    explicit Handover(std::size_t room) : room_(room) {}

    /// Waits for room. False once it is closed.
    bool give(Piece piece) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return closed_ || waiting_.size() < room_; });
        if (closed_) return false;
        waiting_.push_back(std::move(piece));
        changed_.notify_all();
        return true;
    }
    /// Waits for a piece; nothing once it is closed and all have been taken.
    std::optional<Piece> take() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return closed_ || !waiting_.empty(); });
        if (waiting_.empty()) return std::nullopt;
        std::optional<Piece> piece = std::move(waiting_.front());
        waiting_.pop_front();
        changed_.notify_all();
        return piece;
    }
    void close() {
        const std::lock_guard lock(mutex_);
        closed_ = true;
        changed_.notify_all();
    }

 private:
    const std::size_t room_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Piece> waiting_;
    bool closed_ = false;
};

}  // namespace lumicrate::media
