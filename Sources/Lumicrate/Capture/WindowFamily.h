// SPDX-License-Identifier: GPL-3.0-or-later
// The windows that are recorded with a window because they belong to it: menus, lists, tool tips, dialogs.
#pragma once

#include "Platform/ScreenCaptureKit.h"

#include <algorithm>
#include <span>

namespace lumicrate {

/// Whether a window belongs to a recorded one, which is the first of `family`; the others are those that were
/// found to belong to it. A window that says for which other one it is (WM_TRANSIENT_FOR) belongs where that
/// one does. Otherwise a pop-up of the same program belongs to the window that it lies over. Example: a tool
/// tip of another document of the program lies over the recorded one; it belongs to it only if it does not
/// name its own document. Any thread.
inline bool belongsToFamily(const SCWindowFacts& window, std::span<const SCWindowFacts> family) {
    if (family.empty()) return false;
    const int layer = window.windowLayer;
    if (layer == windowLayer::desktop || layer == windowLayer::dock || layer == windowLayer::notification)
        return false;
    const auto isMember = [&](std::uint32_t id) {
        return std::ranges::find(family, id, &SCWindowFacts::windowID) != family.end();
    };
    if (std::ranges::any_of(window.transientFor, isMember)) return true;
    const bool namesNone = window.transientFor.empty() || window.transientForGroup;
    if (!namesNone || !(window.unmanaged || window.transientForGroup)) return false;
    const SCWindowFacts& recorded = family.front();
    const auto isSame = [&](auto SCWindowFacts::*number) {
        return window.*number != 0 && window.*number == recorded.*number;
    };
    if (!isSame(&SCWindowFacts::processID) && !isSame(&SCWindowFacts::leaderID) &&
        !isSame(&SCWindowFacts::clientID))
        return false;
    return std::ranges::any_of(
        family, [&](const SCWindowFacts& each) { return !each.frame.intersection(window.frame).isEmpty(); });
}

}  // namespace lumicrate
