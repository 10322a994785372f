// SPDX-License-Identifier: GPL-3.0-or-later
// LoginItem: starts the program at login through an XDG autostart entry.
#pragma once

#include "Platform/SMAppService.h"

#include <filesystem>

namespace lumicrate::desktop {

/// The entry has the name of the installed desktop entry, in the user's autostart folder. Changes that the
/// desktop's own settings make to the entry are respected.
class LoginItem final : public SMAppService {
 public:
    /// `program` is the absolute path of the program, which is started with "--background".
    explicit LoginItem(std::filesystem::path program);
    /// Uses `folder` instead of the user's autostart folder.
    LoginItem(std::filesystem::path program, const std::filesystem::path& folder);

    bool isEnabled() const override;
    void registerLoginItem() override;
    void unregisterLoginItem() override;

 private:
    std::filesystem::path program_;
    std::filesystem::path entry_;
};

}  // namespace lumicrate::desktop
