// SPDX-License-Identifier: GPL-3.0-or-later
// The keys of a selection.
#pragma once

#include "Platform/NSEvent.h"
#include "Support/Geometry.h"

#include <cstdint>
#include <optional>

namespace lumicrate {

namespace selectionKey {
/// Virtual key codes.
enum Code : std::int64_t {
    f = 3,
    c = 8,
    enterReturn = 36,
    n = 45,
    m = 46,
    space = 49,
    backspace = 51,
    escape = 53,
    enter = 76,
    forwardDelete = 117,
    arrowLeft = 123,
    arrowRight = 124,
    arrowDown = 125,
    arrowUp = 126,
};
}  // namespace selectionKey

/// What an arrow key requests.
struct ArrowStep {
    double dx = 0;  ///< steps, y up
    double dy = 0;
    bool resizes = false;  ///< move only the right and bottom edges
};

/// One step, with Shift ten; none for another key.
inline std::optional<ArrowStep> arrowStep(const NSEvent& event) {
    const double step = (event.modifierFlags & NSEvent::shiftFlag) != 0 ? 10 : 1;
    const bool resizes = (event.modifierFlags & NSEvent::optionFlag) != 0;
    switch (event.keyCode) {
        case selectionKey::arrowLeft:
            return ArrowStep{-step, 0, resizes};
        case selectionKey::arrowRight:
            return ArrowStep{step, 0, resizes};
        case selectionKey::arrowDown:
            return ArrowStep{0, -step, resizes};
        case selectionKey::arrowUp:
            return ArrowStep{0, step, resizes};
        default:
            return std::nullopt;
    }
}

}  // namespace lumicrate
