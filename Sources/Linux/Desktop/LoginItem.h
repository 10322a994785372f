// LoginItem: starts the program with its user's session, through an entry in the autostart folder.
#pragma once

#include "Platform/SMAppService.h"

#include <filesystem>
#include <string>
#include <vector>

namespace lumicrate::desktop {

/// The entry is lumicrate.desktop in the user's folder for such things, as the XDG Desktop Application
/// Autostart Specification says. What was made of it by others, a session's settings for example, counts.
class LoginItem final : public SMAppService {
 public:
    /// `program` is what is to be started, an absolute path; in the background.
    explicit LoginItem(std::filesystem::path program);
    /// With the entries in that folder.
    LoginItem(std::filesystem::path program, const std::filesystem::path& folder);

    bool isEnabled() const override;
    void registerLoginItem() override;
    void unregisterLoginItem() override;

 private:
    std::filesystem::path program_;
    std::filesystem::path entry_;
};

/// A command as the value of an entry's Exec key.
std::string execValue(const std::vector<std::string>& command);

}  // namespace lumicrate::desktop
