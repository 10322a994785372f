// SPDX-License-Identifier: GPL-3.0-or-later
// Executor: the event loop of the main thread. Work is posted to it or run after a delay.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

namespace lumicrate {

/// A thread's event loop. All state of recorder, library and windows is confined to the application's one
/// executor, so none of it needs a lock.
class Executor {
 public:
    using Work = std::function<void()>;
    using TimerId = std::uint64_t;

    virtual ~Executor() = default;

    /// Monotonic time since an arbitrary instant. Any thread.
    virtual std::chrono::nanoseconds now() const = 0;
    /// Runs `work` on the loop's thread, in the order of the calls, and never before post() returns. Any
    /// thread.
    virtual void post(Work work) = 0;
    /// Runs `work` once, on the loop's thread, when `delay` has passed. Loop's thread only.
    virtual TimerId after(std::chrono::nanoseconds delay, Work work) = 0;
    /// Cancels a timer; ignored if it has fired or never existed. Loop's thread only.
    virtual void cancel(TimerId timer) = 0;
};

}  // namespace lumicrate
