// SPDX-License-Identifier: GPL-3.0-or-later
// PortalError: the desktop portal did not do what was asked.
#pragma once

#include "Support/Error.h"

#include <cstdint>
#include <string>

namespace lumicrate::portal {

/// what() is one sentence for the user. A user who cancels a question of the portal is not an error: each
/// operation has a result of its own for that.
class PortalError final : public PlatformError {
 public:
    enum class Reason : std::uint8_t {
        failed,       ///< the portal or the desktop behind it refused or reported an error
        unavailable,  ///< no portal, not this interface or kind of source, or no answer in time
    };

    PortalError(Reason reason, const std::string& description)
        : PlatformError(description, static_cast<int>(reason)), reason_(reason) {}
    Reason reason() const { return reason_; }

 private:
    Reason reason_;
};

}  // namespace lumicrate::portal
