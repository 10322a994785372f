// SPDX-License-Identifier: GPL-3.0-or-later
// InhibitPortal: keeps the desktop from blanking the screen and from suspending.
#pragma once

#include "Linux/Portal/Registry.h"
#include "Platform/NSProcessInfo.h"
#include "Support/Executor.h"
#include "Support/Task.h"

#include <functional>
#include <memory>
#include <string>

namespace lumicrate::portal {

class PortalRequest;

/// In force while it exists, from shortly after its construction, until the portal ends. Main thread. The
/// executor and the registry outlive it.
class InhibitPortal final : public NSActivity {
 public:
    /// `reason` is a sentence that the desktop may show. `refused` is called once, later, if the portal does
    /// not inhibit; it may destroy this.
    InhibitPortal(Executor& executor, Registry& registry, std::string reason,
                  std::function<void()> refused = {});
    ~InhibitPortal() override;
    InhibitPortal(const InhibitPortal&) = delete;
    InhibitPortal& operator=(const InhibitPortal&) = delete;

 private:
    Task<> inhibit(std::string reason, std::function<void()> refused);

    Registry& registry_;
    std::unique_ptr<PortalRequest> request_;
    RunningTask running_;
};

}  // namespace lumicrate::portal
