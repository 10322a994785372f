// SPDX-License-Identifier: GPL-3.0-or-later
// CameraPortal: the desktop portal's access to cameras.
#pragma once

#include "Linux/Portal/PortalRequest.h"

#include <functional>
#include <memory>

namespace lumicrate::portal {

/// Main thread, except for openRemote().
class CameraPortal {
 public:
    /// Waits for the portal, up to a second.
    bool isCameraPresent() const;
    /// Asks the user, unless the answer is known from before. `completion` is called once, later, unless this
    /// is destroyed. One question at a time.
    void requestAccess(std::function<void(bool granted)> completion);
    /// A connection to the PipeWire server that shows the cameras alone, as a descriptor that the caller
    /// owns. Access must have been granted. Throws PlatformError. Any thread.
    static int openRemote();

 private:
    std::unique_ptr<PortalRequest> request_;
};

}  // namespace lumicrate::portal
