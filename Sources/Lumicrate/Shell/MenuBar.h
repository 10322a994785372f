// SPDX-License-Identifier: GPL-3.0-or-later
// MenuBar: content of the tray icon and its menu.
#pragma once

#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Lumicrate/Replay/Replay.h"
#include "Lumicrate/Shell/DesktopAbilities.h"
#include "Lumicrate/Shell/MenuItem.h"
#include "Platform/NSUserDefaults.h"
#include "Support/Published.h"

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lumicrate {

/// Main thread only.
class MenuBar {
 public:
    /// The appearance of the icon.
    struct Icon {
        enum class Tint { plain, recording, paused };

        std::string_view symbol = "record.circle";
        Tint tint = Tint::plain;
        std::string toolTip;
        bool operator==(const Icon&) const = default;
    };

    /// Implemented by the application. All are required, except those that say otherwise.
    struct Commands {
        std::function<void()> showMain;
        std::function<void()> openFolder;
        std::function<void()> checkForUpdates;  ///< empty: there is no such menu item
        std::function<void()> showAbout;
        std::function<void()> quit;
    };

    /// The references must outlive this object.
    MenuBar(ScreenRecorder& recorder, Replay& replay, const NSUserDefaults& defaults, Commands commands,
            const DesktopAbilities& desktop = {});
    MenuBar(const MenuBar&) = delete;
    MenuBar& operator=(const MenuBar&) = delete;

    Published<Icon> icon;

    /// The complete menu for the current state, with the shortcuts that are stored now; without them where
    /// the desktop assigns the keys.
    std::vector<MenuItem> items() const;
    /// The first item of the menu while recording or paused: the state and the time recorded so far.
    std::string statusText() const;
    /// `changed` is called after the shortcuts in the menu may have changed.
    [[nodiscard]] Subscription observeShortcuts(std::function<void()> changed) const {
        return defaults_.observe(std::move(changed));
    }
    /// The items that start, stop and pause, and the one that saves the last seconds while they are kept.
    std::vector<MenuItem> recordingItems() const;

 private:
    MenuItem bound(std::string title, ShortcutAction action, std::function<void()> command) const;
    MenuItem toggleItem() const;

    ScreenRecorder& recorder_;
    Replay& replay_;
    const NSUserDefaults& defaults_;
    Commands commands_;
    DesktopAbilities desktop_;
    Subscription stateChanges_;
};

}  // namespace lumicrate
