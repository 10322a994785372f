// What the recorder asks of the process it lives in.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace lumicrate {

/// A running activity; destroying it ends the activity.
class NSActivity {
 public:
    virtual ~NSActivity() = default;
};

class NSProcessInfo {
 public:
    /// User-initiated work during which the display stays awake.
    static constexpr std::uint64_t activityUserInitiatedDisplayAwake = 0x10000FFFFFF;

    virtual ~NSProcessInfo() = default;

    /// This process's own identifier.
    virtual std::int32_t processIdentifier() const = 0;
    /// How long the computer has slept, in total, since an arbitrary instant. The host clock stands still
    /// meanwhile. Any thread.
    virtual std::chrono::nanoseconds timeAsleep() const = 0;
    /// Tells the system that work is under way. Never fails: where the system offers no such thing, the
    /// activity has no effect. Main thread.
    virtual std::unique_ptr<NSActivity> beginActivity(std::uint64_t options, const std::string& reason) = 0;
};

}  // namespace lumicrate
