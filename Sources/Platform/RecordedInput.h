// SPDX-License-Identifier: GPL-3.0-or-later
// RecordedInput: what the user did with pointer and keys during a recording, as it is kept in the movie.
#pragma once

#include "Support/Geometry.h"
#include "Support/MediaTime.h"

#include <string>

namespace lumicrate {

/// One instant of a recording's input.
struct RecordedInput {
    enum class Kind {
        pointer,  ///< the pointer is at `position` from now on
        press,    ///< a mouse button was pressed at `position`
        keys,     ///< pressed keys were shown; `position` means nothing
    };

    Kind kind = Kind::pointer;
    CMTime time;  ///< of the movie's presentation, pauses cut out
    /// In the picture: 0, 0 is its top left corner and 1, 1 its bottom right one, for any size in pixels.
    /// Values outside are outside the recorded part.
    Point position;
    int button = 0;    ///< of a press: 1 left, 2 middle, 3 right
    std::string keys;  ///< as they were shown, such as "Ctrl+S"; UTF-8

    bool operator==(const RecordedInput&) const = default;
};

}  // namespace lumicrate
