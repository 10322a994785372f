// SPDX-License-Identifier: GPL-3.0-or-later
// CameraFormats: decides in which of its formats a camera is opened.
#pragma once

#include "Platform/CameraFrame.h"

#include <cstddef>
#include <optional>
#include <span>

namespace lumicrate {

/// The index of the best format; nothing when none has a usable size. In the order of importance:
///  1. 24 frames per second or more, or the wanted rate if that is lower; else at least 12;
///  2. a size that covers the wanted one, and of these the smallest area; else the largest area;
///  3. uncompressed, because compressed frames must be decoded;
///  4. the lowest rate that reaches the wanted one; else the highest rate.
///
/// Compressed formats must be allowed: above 640 × 480 most cameras are slow without compression. For
/// example, for 1280 × 720 at 30 per second, {YUY2 1280 × 720 at 10, MJPG 1280 × 720 at 30, MJPG 1920 × 1080
/// at 30} gives the second.
std::optional<std::size_t> chooseCameraFormat(std::span<const CameraFormat> offered, PixelSize wantedSize,
                                              double wantedRate);

}  // namespace lumicrate
