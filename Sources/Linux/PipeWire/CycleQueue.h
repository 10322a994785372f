// SPDX-License-Identifier: GPL-3.0-or-later
// CycleQueue: hands a stream's sound from the server's thread to the session's.
#pragma once

#include "Linux/PipeWire/Session.h"

#include <pipewire/stream.h>
#include <spa/utils/ringbuffer.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace lumicrate::pipewire {

/// The server's thread in this process wakes for each of the server's cycles. The session's thread, and those
/// that it wakes, are woken for each cycle with sound, but only now and then for silence: most of the time,
/// nothing plays.
class CycleQueue {
 public:
    /// The sound of one cycle.
    struct Cycle {
        pw_time time{};                ///< of the stream, in that cycle
        std::vector<std::byte> sound;  ///< not empty; in the stream's format, silent if all bytes are 0
    };
    using Handler = std::function<void(const Cycle& cycle)>;

    /// Reads a stream that is connected with PW_STREAM_FLAG_RT_PROCESS, until the stream is destroyed, which
    /// must be before the queue. `maxSilence`: how many bytes of silence may wait. `onCycle` is called with
    /// the session's lock held, in the order of the cycles. Session's lock held. Throws PlatformError.
    CycleQueue(Session& session, pw_stream* stream, std::size_t maxSilence, Handler onCycle);
    /// Session's lock held.
    ~CycleQueue() = default;
    CycleQueue(const CycleQueue&) = delete;
    CycleQueue& operator=(const CycleQueue&) = delete;

    /// Hands over what has been captured. Session's lock held.
    void drain();
    /// Wakes the session's thread for what has been captured, and from now on for each cycle. Any thread.
    void hurry();

 private:
    struct DestroySource {
        pw_loop* loop;
        void operator()(spa_source* source) const { pw_loop_destroy_source(loop, source); }
    };
    struct Header;

    static const pw_stream_events events;

    void read();
    void add(const pw_time& time, std::span<const std::byte> sound);
    void wake();

    Session& session_;
    pw_stream* const stream_;
    const std::size_t maxSilence_;
    const Handler onCycle_;
    std::vector<std::byte> memory_;  ///< of the ring: headers, each followed by its cycle's sound
    spa_ringbuffer ring_ = SPA_RINGBUFFER_INIT();
    std::size_t waiting_ = 0;  ///< bytes since the session's thread was woken; server's thread only
    std::atomic<bool> isHurried_ = false;
    Cycle cycle_;  ///< that is handed over
    spa_hook listener_{};
    std::unique_ptr<spa_source, DestroySource> wakeUp_;
};

}  // namespace lumicrate::pipewire
