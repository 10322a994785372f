// AppInfo: what the program says about itself.
#pragma once

#include <filesystem>
#include <string>

namespace lumicrate {

struct AppInfo {
    std::string name = "Lumicrate";
    std::string version;  ///< "1.2.3"

    std::string versionText() const;
    /// What it is, in a sentence.
    std::string summary() const;
    std::string licence() const;
};

/// A path as people write it: "~/Videos/Lumicrate" for what is in the home folder.
std::string pathForPeople(const std::filesystem::path& path, const std::filesystem::path& home);

}  // namespace lumicrate
