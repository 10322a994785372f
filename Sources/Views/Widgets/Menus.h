// SPDX-License-Identifier: GPL-3.0-or-later
// Menus: shows the recorder's menu items in Qt menus.
#pragma once

#include "Lumicrate/Shell/MenuItem.h"

#include <QKeySequence>
#include <vector>

class QMenu;

namespace lumicrate::views {

/// Replaces the menu's content. Shortcuts are only shown, not bound: they are global hot keys already.
void fillMenu(QMenu& menu, const std::vector<MenuItem>& items);

/// The form in which a menu shows a shortcut; empty when its key is not a single character.
QKeySequence keySequence(const Shortcut& shortcut);

}  // namespace lumicrate::views
