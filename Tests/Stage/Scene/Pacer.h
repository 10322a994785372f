// Pacer: waits for instants on the monotonic clock, and for the signals that end or pause a scene.
#pragma once

#include "Tests/Stage/ChildProcess.h"

#include <cstdint>

namespace lumicrate::stage {

/// Nanoseconds of CLOCK_MONOTONIC.
using Nanoseconds = std::int64_t;

constexpr Nanoseconds nanoseconds(double seconds) {
    return static_cast<Nanoseconds>(seconds * 1e9);
}
Nanoseconds now();

class Pacer {
 public:
    enum class Event {
        Due,
        Rest,  ///< SIGUSR1: draw no more and leave the picture
        Quit,  ///< SIGINT, SIGTERM
    };

    /// Blocks the signals in this thread: create it before other threads start.
    Pacer();

    /// Returns at that instant, at once when it has passed, or earlier with a signal.
    Event waitUntil(Nanoseconds moment);
    Event waitForSignal();

 private:
    Descriptor timer_;
    Descriptor signals_;
};

}  // namespace lumicrate::stage
