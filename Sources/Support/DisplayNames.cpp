// SPDX-License-Identifier: GPL-3.0-or-later
#include "Support/DisplayNames.h"

#include "Support/Text.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace lumicrate {

namespace {

bool isBuiltIn(std::string_view connector) {
    return connector.starts_with("eDP") || connector.starts_with("LVDS") || connector.starts_with("DSI");
}

std::string nameOf(const NamedDisplay& display) {
    if (isBuiltIn(display.connector)) return localized("Built-in Display");
    return display.model.value_or(display.connector);
}

}  // namespace

std::vector<std::string> displayNames(const std::vector<NamedDisplay>& displays) {
    std::vector<std::string> plain;
    for (const NamedDisplay& each : displays)
        plain.push_back(nameOf(each));
    std::vector<std::string> names;
    for (std::size_t i = 0; i < displays.size(); ++i) {
        const bool isUnique = std::ranges::count(plain, plain[i]) == 1;
        const std::string& connector = displays[i].connector;
        names.push_back(isUnique || plain[i] == connector ? plain[i] : plain[i] + " (" + connector + ")");
    }
    return names;
}

}  // namespace lumicrate
