// The menus of a selection's bars.
#pragma once

class QMenu;

namespace lumicrate::views {

class PlateButton;

/// An empty one for a button, dark as its bar. The button stays pressed while it is shown; a press elsewhere
/// only closes it.
QMenu* makeMenu(PlateButton& button);
/// Shows it below the button's bar, or above where there is no room.
void popUp(QMenu& menu, const PlateButton& button);

}  // namespace lumicrate::views
