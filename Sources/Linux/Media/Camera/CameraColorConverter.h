// SPDX-License-Identifier: GPL-3.0-or-later
// CameraColorConverter: changes the colours of a picture in NV12 to BT.709 in video range.
#pragma once

#include "Linux/Media/Libav.h"
#include "Platform/CameraFrame.h"

namespace lumicrate::media {

/// Works in place, in integers; a sample deviates by at most 1 from the exact value. `picture` is writable
/// NV12 in `colors`.
void convertToVideoColors(AVFrame& picture, const CameraColors& colors);

}  // namespace lumicrate::media
