// SessionClock: how long a recording has run, pauses left out.
#pragma once

#include <chrono>
#include <optional>

namespace lumicrate {

/// Told the instants at which things happen; it reads no clock of its own.
class SessionClock {
 public:
    /// Monotonic, since an arbitrary instant.
    using Instant = std::chrono::nanoseconds;

    /// Begins at zero.
    void start(Instant now);
    /// No effect while paused.
    void pause(Instant now);
    /// No effect unless paused.
    void resume(Instant now);
    /// Seconds recorded by `now`.
    double elapsed(Instant now) const;

 private:
    std::chrono::nanoseconds activeTimeBeforePause_{};
    std::optional<Instant> segmentStart_;
};

}  // namespace lumicrate
