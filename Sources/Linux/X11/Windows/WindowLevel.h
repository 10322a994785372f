// The layer of a window, told from its type.
#pragma once

#include "Linux/X11/Windows/WindowAtoms.h"

#include <span>

namespace lumicrate::x11 {

/// The level that a window is on; higher ones lie in front as a rule, and 0 is for what a person calls a
/// window.
///
/// | type (_NET_WM_WINDOW_TYPE)                       | layer |
/// | ------------------------------------------------ | ----- |
/// | desktop                                          | -1000 |
/// | normal, dialog, utility, splash; none that is known | 0; unmanaged 25 |
/// | toolbar, menu torn off                           |     3 |
/// | dock                                             |    20 |
/// | notification                                     |    30 |
/// | drop-down menu, pop-up menu, list of a combo box |   101 |
/// | tool tip                                         |   102 |
/// | dragged along                                    |   500 |
///
/// Of several types the first known one counts. A window that no window manager manages is never on layer 0.
int windowLayer(std::span<const xcb_atom_t> types, bool managed, const WindowAtoms& atoms);

}  // namespace lumicrate::x11
