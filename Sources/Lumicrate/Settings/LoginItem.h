// LoginItem: the switch that starts the program when its user logs in.
#pragma once

#include "Platform/SMAppService.h"
#include "Support/Published.h"

#include <string>

namespace lumicrate {

/// Main thread only.
class LoginItem {
 public:
    /// `service` must outlive this.
    explicit LoginItem(SMAppService& service);
    LoginItem(const LoginItem&) = delete;
    LoginItem& operator=(const LoginItem&) = delete;

    std::string label() const;
    /// What the system says, also after a change that it refused.
    Published<bool> enabled;
    /// Why the last change was refused; empty when it was not.
    Published<std::string> complaint;

    void set(bool wanted);
    /// Asks the system again: people change this outside, too.
    void refresh() { enabled = service_.isEnabled(); }

 private:
    SMAppService& service_;
};

}  // namespace lumicrate
