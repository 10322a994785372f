// SPDX-License-Identifier: GPL-3.0-or-later
// ScrollingView: a program that scrolls a page, as scenes play it and clips contain it.
#pragma once

#include "Tests/Stage/Scene/Image.h"

#include <map>
#include <string>

namespace lumicrate::bench {

struct ScrollingView {
    stage::Image frame;  ///< the whole screen, without the page
    stage::Image page;   ///< twice as long as the view, followed by its beginning once more
    stage::Area view;    ///< where the page appears on the screen
    int pixelsPerStep = 0;

    /// The part of the page that is visible after that many steps, from 0.
    stage::Area visible(int steps) const;
};

/// By name: functions that draw such a program, of the size of the screen.
using ScrollingViewMakers = std::map<std::string, ScrollingView (*)(int width, int height, stage::Random&)>;
const ScrollingViewMakers& scrollingViews();

}  // namespace lumicrate::bench
