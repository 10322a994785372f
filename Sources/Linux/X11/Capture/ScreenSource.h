// SPDX-License-Identifier: GPL-3.0-or-later
// ScreenSource: delivers the picture of a content filter of an X server as samples.
#pragma once

#include "Linux/Pictures/PictureSource.h"
#include "Linux/X11/Capture/DisplayCapture.h"

#include <memory>
#include <string>
#include <utility>

namespace lumicrate::x11 {

class ScreenSource final : public pictures::PictureSource {
 public:
    /// `displayName` is the X server's (":1"), or empty for that of $DISPLAY.
    ScreenSource(std::string displayName, const SCContentFilter& filter, SCStreamConfiguration configuration)
        : PictureSource(
              [displayName = std::move(displayName), filter](const SCStreamConfiguration& initial) {
                  return std::make_unique<DisplayCapture>(displayName, filter, initial);
              },
              filter.pointPixelScale, std::move(configuration)) {}
};

}  // namespace lumicrate::x11
