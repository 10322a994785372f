// WriteBehind: a thread that writes, so that a slow disk holds nobody up.
#pragma once

#include "Linux/Media/Files/ByteSink.h"

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

/// A queue of writes in front of a ByteSink. They are done in the order of their coming, by a thread that no
/// one else shares. Any thread may call, but drain() and the destructor not from within a callback.
///
/// Every append is followed by synchronize(), so a power cut costs no more than the fragment in work. That
/// costs no processor time to speak of, but each time the disk must write out what it would have gathered:
/// a few milliseconds on a solid-state disk, some tens on a turning one, during which other programs' writes
/// to that disk wait too. With two fragments a second this is little; for single samples it would be much.
class WriteBehind {
 public:
    /// Hears once of the first failure.
    using OnFailure = std::function<void(std::exception_ptr)>;
    /// Hears that an append is in the file and would outlast a power cut.
    using Written = std::function<void()>;

    /// `capacity` is how many bytes may wait: the seconds that the disk may stand still times the bytes that
    /// a second of the movie takes at most. `sink` must outlive this object and is used by its thread alone
    /// until drain() returns. Callbacks are called on that thread and must not throw.
    WriteBehind(ByteSink& sink, std::size_t capacity, OnFailure onFailure);
    /// Drops what still waits, after the write that is under way.
    ~WriteBehind();
    WriteBehind(const WriteBehind&) = delete;
    WriteBehind& operator=(const WriteBehind&) = delete;

    /// Never waits and refuses nothing, for what has been encoded must not be lost: the owner takes nothing
    /// new in while fill() is 1 or more, and then at most the capacity and one append are held here.
    void append(std::uint64_t offset, std::vector<std::uint8_t> bytes, Written written = {});
    /// Overwrites a few bytes, after all appends so far. A patch of the same place takes the turn of one that
    /// no append has followed yet, so patches do not pile up.
    void patch(std::uint64_t offset, std::span<const std::uint8_t> bytes);

    /// Bytes that wait or are being written.
    std::size_t backlog() const;
    /// The same as a share of the capacity.
    double fill() const { return static_cast<double>(backlog()) / static_cast<double>(capacity_); }

    /// Waits until nothing waits any more and no callback runs; false when the writing has failed.
    bool drain();
    /// Where the last append that is wholly in the file ends; 0 before the first. After a failure anything
    /// beyond may be half written and is to be cut off, for which OnFailure is a good place.
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
    void perform(Write write);
    void fail(const std::exception_ptr& error);

    ByteSink& sink_;
    const std::size_t capacity_;
    const OnFailure onFailure_;

    mutable std::mutex mutex_;
    std::condition_variable arrived_;
    std::condition_variable settled_;
    std::deque<Write> waiting_;
    std::size_t backlog_ = 0;
    std::uint64_t reached_ = 0;
    bool busy_ = false;
    bool failed_ = false;
    bool ending_ = false;
    std::thread thread_;
};

}  // namespace lumicrate::media
