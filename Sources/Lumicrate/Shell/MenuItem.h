// MenuItem: a command of a menu, as data that the interface maps to its toolkit.
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
    /// Shown as the item's key; it is bound elsewhere.
    std::optional<Shortcut> shortcut;
    std::function<void()> action;
    bool separator = false;  ///< a line between items, with nothing of the above
    bool isHeading = false;  ///< nothing but the title of the items that follow
    /// Of an item that can be chosen among the others of its section, which ends at a line or a heading; none
    /// for a plain command.
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
