// SPDX-License-Identifier: GPL-3.0-or-later
// AppInfo: name, version, summary and licence of the program.
#pragma once

#include "Support/Text.h"

#include <string>

namespace lumicrate {

struct AppInfo {
    std::string name = "Lumicrate";
    std::string version;  ///< "1.2.3"

    std::string versionText() const { return localized("Version ") + version; }
    std::string summary() const {
        return localized("Records your screen, a window, an area or just sound, and stays out of the way.");
    }
    std::string licence() const {
        return localized(
            "Free software under the GNU General Public License, version 3 or later "
            "(GPL-3.0-or-later). It comes without any warranty.");
    }
};

}  // namespace lumicrate
