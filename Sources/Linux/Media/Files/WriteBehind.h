// SPDX-License-Identifier: GPL-3.0-or-later
// WriteBehind: a queue of writes carried out by a thread of its own, so that a slow disk delays nobody.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

namespace lumicrate::media {

/// What WriteBehind writes to, such as a file. One thread at a time.
class ByteSink {
 public:
    virtual ~ByteSink() = default;

    /// Writes all of `bytes` at `offset` (bytes from the beginning); a gap before `offset` reads as zeros.
    /// Throws PlatformError, after which any part of `bytes` may have been written.
    virtual void write(std::uint64_t offset, std::span<const std::uint8_t> bytes) = 0;
    /// Returns when everything written so far would survive a power cut. Throws PlatformError.
    virtual void synchronize() = 0;

 protected:
    ByteSink() = default;
    ByteSink(const ByteSink&) = default;
    ByteSink& operator=(const ByteSink&) = default;
};

/// Writes are carried out in the order in which they were queued. Any thread may call, but drain() and the
/// destructor must not be called from a callback.
///
/// Every append is followed by synchronize(), so a power cut loses at most the fragment being written. That
/// takes hardly any processor time, but the disk must write out what it would have collected: a few
/// milliseconds on a solid-state disk, tens of milliseconds on a rotating one, during which other programs'
/// writes to that disk wait too. At two fragments a second that is little; for single samples it would be
/// much. Appends that have piled up are synchronized together.
class WriteBehind {
 public:
    /// Called once, with the first failure.
    using OnFailure = std::function<void(std::exception_ptr)>;
    /// Called when an append is in the file and would survive a power cut.
    using Written = std::function<void()>;

    /// `capacity` in bytes: the seconds for which the disk may stall, times the movie's maximum bytes a
    /// second. `sink` must outlive this object and is used by its thread only, until drain() returns.
    /// Callbacks run on that thread and must not throw.
    WriteBehind(ByteSink& sink, std::size_t capacity, OnFailure onFailure);
    /// Completes the write in progress and drops the rest.
    ~WriteBehind();
    WriteBehind(const WriteBehind&) = delete;
    WriteBehind& operator=(const WriteBehind&) = delete;

    /// Never blocks and never refuses, because encoded samples must not be lost: the owner stops encoding
    /// while fill() is 1 or more. So at most the capacity and one append are queued.
    void append(std::uint64_t offset, std::vector<std::uint8_t> bytes, Written written = {});
    /// Overwrites a few bytes, after all appends queued so far. A patch replaces an earlier one of the same
    /// place that no append has followed yet, so patches do not pile up while the disk stalls. For example,
    ///
    ///     append(A)  patch(8, "x")  patch(8, "y")  append(B)  patch(8, "z")
    ///
    /// is carried out as A, "y", B, "z".
    void patch(std::uint64_t offset, std::span<const std::uint8_t> bytes);

    /// Bytes queued or being written.
    std::size_t backlog() const;
    /// The backlog divided by the capacity.
    double fill() const { return static_cast<double>(backlog()) / static_cast<double>(capacity_); }

    /// Waits until the queue has room, fill() < 1, or a write has failed.
    void waitForRoom();
    /// Waits until the queue is empty and no callback is running. Returns false if a write has failed.
    bool drain();
    /// Where the last append that is completely in the file ends; 0 before the first. After a failure
    /// anything beyond it may be half written; OnFailure is a good place to truncate the file.
    std::uint64_t reached() const;

 private:
    struct Write {
        std::uint64_t offset = 0;
        std::vector<std::uint8_t> bytes;
        bool isPatch = false;
        Written written;
    };

    void enqueue(Write write);
    bool replacePatch(Write& write);
    void run();
    std::vector<Write> takeBatch();
    void perform(const std::vector<Write>& batch);
    void settle(std::span<const Write> done);
    void fail(const std::exception_ptr& error);

    ByteSink& sink_;
    const std::size_t capacity_;
    const OnFailure onFailure_;

    mutable std::mutex mutex_;
    std::condition_variable arrived_;
    std::condition_variable settled_;  ///< less is waiting than before
    std::deque<Write> waiting_;
    std::size_t backlog_ = 0;
    std::uint64_t reached_ = 0;
    bool busy_ = false;
    bool failed_ = false;
    bool ending_ = false;
    std::thread thread_;
};

}  // namespace lumicrate::media
