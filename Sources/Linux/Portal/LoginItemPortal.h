// SPDX-License-Identifier: GPL-3.0-or-later
// LoginItemPortal: starts the program at login from inside a sandbox, which does not see the autostart
// folder.
#pragma once

#include "Platform/NSUserDefaults.h"
#include "Platform/SMAppService.h"

#include <memory>

namespace lumicrate::portal {

class PortalRequest;

/// The portal cannot be asked what it does at present, so its last answer is a preference. Main thread.
class LoginItemPortal final : public SMAppService {
 public:
    /// `defaults` must outlive it.
    explicit LoginItemPortal(NSUserDefaults& defaults);
    ~LoginItemPortal() override;
    LoginItemPortal(const LoginItemPortal&) = delete;
    LoginItemPortal& operator=(const LoginItemPortal&) = delete;

    bool isEnabled() const override;
    /// The user may be asked, so the answer comes later; until then the item counts as enabled.
    void registerLoginItem() override;
    void unregisterLoginItem() override;

 private:
    void request(bool enabled);

    NSUserDefaults& defaults_;
    std::unique_ptr<PortalRequest> request_;
};

}  // namespace lumicrate::portal
