// SPDX-License-Identifier: GPL-3.0-or-later
// WebcamBubbleGeometry: the measures of the webcam bubble: its outline, resize handle, level pill, speaking
// ring and border, and how it is resized.
#pragma once

#include "Lumicrate/Recording/RecordingOptions.h"
#include "Support/Geometry.h"

#include <array>

/// Lengths are in points. Places inside the bubble are relative to its bottom left corner, y up.
namespace lumicrate::bubble {

/// The height is rounded.
Size sizeOf(WebcamShape shape, double width);
double cornerRadius(WebcamShape shape, const Size& size);
double borderWidth(WebcamBorder border);

constexpr double handleDiameter = 14;
/// On the outline, at the bottom right.
Point handleCenter(WebcamShape shape, const Size& size);
/// Whether a press there takes the handle. Its reach is larger than its disc.
bool isOnHandle(Point place, WebcamShape shape, const Size& size);

/// The frame after its handle was dragged by (dx, dy), y up. The top left corner stays. Global coordinates.
Rect resized(const Rect& start, WebcamShape shape, double dx, double dy);
/// The frame of that size in the bottom right corner of an area, or centred on an area that is too small.
/// Global coordinates.
Rect frameInside(const Rect& area, const Size& size);

struct LevelPill {
    Rect frame;
    double cornerRadius = 0;
    /// Growing from left to right.
    std::array<Rect, 5> bars;
};
LevelPill layoutLevelPill(WebcamShape shape, const Size& size);
/// How much a bar of the pill is lit, 0 … 1. Each bar stands for a fifth of the level; the levels are 0 … 1.
double barBrightness(std::size_t bar, double level);

/// The ring along the inside of the outline.
double speakingRingWidth(const Size& size, double level);
/// 0 in silence, so that noise shows no ring, and 1 for speech. `level` is 0 … 1.
double speakingRingOpacity(double level);

}  // namespace lumicrate::bubble
