// The main thread as the recorder sees it: run this soon, run that later.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

namespace lumicrate {

/// A thread's event loop. All state of recorder, library and windows lives on the one that the application
/// hands out, so that none of it needs a lock.
class Executor {
 public:
    using Work = std::function<void()>;
    using TimerId = std::uint64_t;

    virtual ~Executor() = default;

    /// Monotonic time since an arbitrary instant. Any thread.
    virtual std::chrono::nanoseconds now() const = 0;
    /// Runs `work` on the loop's thread, in the order of the calls, never inside the call. Any thread.
    virtual void post(Work work) = 0;
    /// Runs `work` once, on the loop's thread, when `delay` has passed. Loop's thread only.
    virtual TimerId after(std::chrono::nanoseconds delay, Work work) = 0;
    /// Forgets a timer; one that has fired or never was is ignored. Loop's thread only.
    virtual void cancel(TimerId timer) = 0;
};

}  // namespace lumicrate
