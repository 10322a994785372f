// SPDX-License-Identifier: GPL-3.0-or-later
// MenuItem: a menu item as data. The view creates the menu of its toolkit from it.
#pragma once

#include "Lumicrate/Shortcuts/Shortcut.h"

#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace lumicrate {

struct MenuItem {
    std::string title;
    bool enabled = true;
    /// Only displayed; it is bound elsewhere.
    std::optional<Shortcut> shortcut;
    std::function<void()> action;
    bool separator = false;  ///< a line between items; all else is empty
    bool isHeading = false;  ///< the title of the items that follow; not a command
    /// For an item that is one of several choices. The group of choices ends at a separator or heading.
    /// Absent for a plain command.
    std::optional<bool> checked;

    static MenuItem line() {
        MenuItem item;
        item.separator = true;
        return item;
    }
    static MenuItem heading(std::string title) {
        MenuItem item;
        item.title = std::move(title);
        item.isHeading = true;
        return item;
    }
    static MenuItem command(std::string title, std::function<void()> action, bool enabled = true) {
        MenuItem item;
        item.title = std::move(title);
        item.enabled = enabled;
        item.action = std::move(action);
        return item;
    }
};

}  // namespace lumicrate
