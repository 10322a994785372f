// SPDX-License-Identifier: GPL-3.0-or-later
// SMAppService: starts this program when the user logs in.
#pragma once

namespace lumicrate {

/// Main thread.
class SMAppService {
 public:
    virtual ~SMAppService() = default;
    virtual bool isEnabled() const = 0;
    /// Throws PlatformError if it cannot be changed.
    virtual void registerLoginItem() = 0;
    /// Throws PlatformError if it cannot be changed.
    virtual void unregisterLoginItem() = 0;
};

}  // namespace lumicrate
