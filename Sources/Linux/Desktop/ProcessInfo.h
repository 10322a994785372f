// ProcessInfo: activities that keep the display awake, through the session's screen saver service, and how
// long the computer has slept.
#pragma once

#include "Platform/NSProcessInfo.h"

namespace lumicrate::desktop {

/// Asks org.freedesktop.ScreenSaver on the session bus, which every current desktop answers. Needs a running
/// Qt event loop. Without a session bus or such a service, activities have no effect.
class ProcessInfo final : public NSProcessInfo {
 public:
    std::int32_t processIdentifier() const override;
    /// What CLOCK_BOOTTIME counts and CLOCK_MONOTONIC does not.
    std::chrono::nanoseconds timeAsleep() const override;
    std::unique_ptr<NSActivity> beginActivity(std::uint64_t options, const std::string& reason) override;
};

}  // namespace lumicrate::desktop
