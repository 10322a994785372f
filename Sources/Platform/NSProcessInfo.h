// SPDX-License-Identifier: GPL-3.0-or-later
// NSProcessInfo: this process, the sleep of the computer, and activities that keep the display awake or hold
// notifications back.
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

    virtual std::int32_t processIdentifier() const = 0;
    /// The total time that the computer has slept since an arbitrary instant. The host clock does not include
    /// it. Any thread.
    virtual std::chrono::nanoseconds timeAsleep() const = 0;
    /// Tells the system that work is in progress. Never fails: without support by the system the activity has
    /// no effect. Main thread.
    virtual std::unique_ptr<NSActivity> beginActivity(std::uint64_t options, const std::string& reason) = 0;
    /// While the result exists, the desktop does not show notifications, where it offers that. Never fails.
    /// Main thread.
    virtual std::unique_ptr<NSActivity> holdNotifications(const std::string& reason) = 0;
};

}  // namespace lumicrate
