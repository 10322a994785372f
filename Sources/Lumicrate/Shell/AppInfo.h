// SPDX-License-Identifier: GPL-3.0-or-later
// AppInfo: name, version, summary and licence of the program, and its addresses on the web.
#pragma once

#include "Support/Text.h"

#include <string>

namespace lumicrate {

struct AppInfo {
    std::string name = "Lumicrate";
    std::string version = "1.0.0";  ///< "1.2.3"
    /// "https://lumicrate.example"; empty if this build has no web site.
    std::string site;
    /// Installed as a Flatpak or Snap: the store updates it.
    bool isUpdatedByStore = false;

    /// Whether this copy may look for newer versions. If not, nothing that has to do with it is shown.
    bool checksForUpdates() const { return hasSite() && !isUpdatedByStore; }

    /// All of them are https and empty without a site.
    std::string website() const { return page(""); }
    std::string downloadPage() const { return page("download"); }
    std::string updateFeed() const { return page("version.json"); }
    /// Redirects to the author's page on Ko-fi.
    std::string kofi() const { return page("ko-fi"); }

    std::string versionText() const { return localized("Version {}", {version}); }
    std::string summary() const {
        return localized("Records your screen, a window, an area or just sound, and stays out of the way.");
    }
    std::string licence() const {
        return localized(
            "Free software under the GNU General Public License, version 3 or later "
            "(GPL-3.0-or-later). It comes without any warranty.");
    }

 private:
    bool hasSite() const { return site.starts_with("https://"); }
    std::string page(const std::string& path) const { return hasSite() ? site + "/" + path : std::string(); }
};

}  // namespace lumicrate
