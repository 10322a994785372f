// Pacer: waits for moments on the monotonic clock, and for the signals that end or halt a scene.
#pragma once

#include "Tests/Stage/ChildProcess.h"

#include <cstdint>

namespace lumicrate::stage {

// Nanoseconds of CLOCK_MONOTONIC.
using Nanoseconds = std::int64_t;

constexpr Nanoseconds nanoseconds(double seconds) {
    return static_cast<Nanoseconds>(seconds * 1e9);
}
Nanoseconds now();

class Pacer {
 public:
    enum class Event {
        Due,
        Rest,  // SIGUSR1: draw no more, but leave what is there
        Quit,  // SIGINT, SIGTERM
    };

    // Blocks the signals in this thread; make it before any other thread starts.
    Pacer();

    // Returns at that very moment (at once when it has gone by), or earlier with a signal.
    Event waitUntil(Nanoseconds moment);
    Event waitForSignal();

 private:
    Event readSignal();

    Descriptor timer_;
    Descriptor signals_;
};

}  // namespace lumicrate::stage
