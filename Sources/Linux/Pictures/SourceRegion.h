// SPDX-License-Identifier: GPL-3.0-or-later
// Which pixels of a captured content a stream shows, and which of them are covered.
#pragma once

#include "Support/Geometry.h"

#include <optional>
#include <vector>

namespace lumicrate::pictures {

/// `content` is in pixels; the region is in the same coordinates and may reach outside of the content.
/// `sourceRect` is in points relative to the content; all of the content when it is absent or empty. Position
/// and size are rounded independently, so that the size in pixels does not depend on the position: at scale
/// 2, x = 10.25 and width = 30.25 give 21 and 61 wherever the content is.
PixelRect sourceRegion(const PixelRect& content, const std::optional<Rect>& sourceRect, double scale);

/// The pixels of that region that are below covers, enlarged to whole ones; they may lie outside of it.
/// `covers` are in points relative to the content.
std::vector<PixelRect> coveredPixels(const std::vector<Rect>& covers, const std::optional<Rect>& sourceRect,
                                     double scale);

}  // namespace lumicrate::pictures
