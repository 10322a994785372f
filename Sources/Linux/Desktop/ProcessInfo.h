// SPDX-License-Identifier: GPL-3.0-or-later
// ProcessInfo: activities that keep the display awake, and the time that the computer was suspended.
#pragma once

#include "Platform/NSProcessInfo.h"

namespace lumicrate::desktop {

/// Activities inhibit org.freedesktop.ScreenSaver on the session bus, which every current desktop provides.
/// Without a session bus or that service, activities have no effect. Needs a running Qt event loop.
class ProcessInfo final : public NSProcessInfo {
 public:
    std::int32_t processIdentifier() const override;
    /// CLOCK_BOOTTIME minus CLOCK_MONOTONIC.
    std::chrono::nanoseconds timeAsleep() const override;
    std::unique_ptr<NSActivity> beginActivity(std::uint64_t options, const std::string& reason) override;
};

}  // namespace lumicrate::desktop
