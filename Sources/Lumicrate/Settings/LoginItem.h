// SPDX-License-Identifier: GPL-3.0-or-later
// LoginItem: the switch "Start Lumicrate when I log in".
#pragma once

#include "Platform/SMAppService.h"
#include "Support/Error.h"
#include "Support/Published.h"
#include "Support/Text.h"

#include <string>

namespace lumicrate {

/// Main thread only.
class LoginItem {
 public:
    /// `service` must outlive this object.
    explicit LoginItem(SMAppService& service) : enabled(service.isEnabled()), service_(service) {}
    LoginItem(const LoginItem&) = delete;
    LoginItem& operator=(const LoginItem&) = delete;

    std::string label() const { return localized("Start Lumicrate when I log in"); }
    /// The state that the system reports, also after a failed change.
    Published<bool> enabled;
    /// Why the last change failed; empty if it did not.
    Published<std::string> error;

    void set(bool wanted) {
        std::string message;
        try {
            if (wanted) {
                service_.registerLoginItem();
            } else {
                service_.unregisterLoginItem();
            }
        } catch (const PlatformError& failure) {
            message = failure.what();
        }
        refresh();
        error = message;
    }
    /// Reads the state again, which may have been changed outside the program.
    void refresh() { enabled = service_.isEnabled(); }

 private:
    SMAppService& service_;
};

}  // namespace lumicrate
