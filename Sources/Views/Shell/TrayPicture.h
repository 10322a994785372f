// The picture of the tray icon.
#pragma once

#include "Lumicrate/Shell/MenuBar.h"

#include <QIcon>

namespace lumicrate::views {

/// It can be made out on light panels and on dark ones: nobody tells which of the two a panel is.
QIcon trayPicture(const MenuBar::Icon& icon);

}  // namespace lumicrate::views
