// SPDX-License-Identifier: GPL-3.0-or-later
// SelectionCursor: the shape of the pointer over a selection.
#pragma once

#include "Lumicrate/Overlays/Selection/SelectionGeometry.h"

namespace lumicrate {

struct SelectionCursor {
    enum class Kind { crosshair, openHand, closedHand, resize };
    Kind kind = Kind::crosshair;
    Handle handle = Handle::topLeft;  ///< of a resize cursor
    bool operator==(const SelectionCursor&) const = default;
};

}  // namespace lumicrate
