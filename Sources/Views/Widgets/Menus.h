// Menus as the interface shows them.
#pragma once

#include "Lumicrate/Shell/MenuItem.h"

#include <QKeySequence>
#include <vector>

class QMenu;

namespace lumicrate::views {

/// Fills a menu anew. Shortcuts are shown but not bound beyond the menu: they belong to the whole desktop.
void fillMenu(QMenu& menu, const std::vector<MenuItem>& items);

/// What a menu shows for a shortcut; empty where its key is no single character.
QKeySequence keySequence(const Shortcut& shortcut);

}  // namespace lumicrate::views
