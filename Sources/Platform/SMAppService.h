// Starting this program when its user logs in.
#pragma once

namespace lumicrate {

/// Main thread.
class SMAppService {
 public:
    virtual ~SMAppService() = default;
    virtual bool isEnabled() const = 0;
    /// Throw PlatformError when it cannot be changed.
    virtual void registerLoginItem() = 0;
    virtual void unregisterLoginItem() = 0;
};

}  // namespace lumicrate
