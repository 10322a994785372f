#include "Lumicrate/Shell/AppInfo.h"

#include "Support/Text.h"

namespace lumicrate {

std::string AppInfo::versionText() const {
    return localized("Version ") + version;
}

std::string AppInfo::summary() const {
    return localized("Records your screen, a window, an area or just sound, and stays out of the way.");
}

std::string AppInfo::licence() const {
    return localized(
        "Free software under the GNU General Public License, version 3 or later "
        "(GPL-3.0-or-later). It comes without any warranty.");
}

std::string pathForPeople(const std::filesystem::path& path, const std::filesystem::path& home) {
    const std::filesystem::path inside = path.lexically_relative(home);
    const bool outside = home.empty() || inside.empty() || *inside.begin() == "..";
    if (outside) return path.string();
    return inside == "." ? "~" : "~/" + inside.string();
}

}  // namespace lumicrate
