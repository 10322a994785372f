// SPDX-License-Identifier: GPL-3.0-or-later
// ScreenCastFormats: the pixels of a screen cast, and what is negotiated with its producer.
#pragma once

#include "Support/Geometry.h"

#include <spa/pod/builder.h>

#include <array>
#include <optional>
#include <vector>

namespace lumicrate::pipewire {

/// The order of bytes in memory. The unused byte may also be an opacity, by which the colours are
/// premultiplied; it is ignored.
enum class CastPixels { bgrx, rgbx, xrgb, xbgr };

struct CastFormat {
    CastPixels pixels = CastPixels::bgrx;
    PixelSize size;
    bool isDmaBuf = false;  ///< memory of a graphics device, linear
};

/// What we accept, best first: any size and rate, in shared memory. With `dmaBuf` also memory of a graphics
/// device, as the last resort.
std::vector<const spa_pod*> buildCastFormats(spa_pod_builder& builder, bool dmaBuf);
/// Nothing for a format that we have not offered.
std::optional<CastFormat> castFormatIn(const spa_pod* format);
/// Buffers and metadata for that format.
std::array<const spa_pod*, 6> buildCastBuffers(spa_pod_builder& builder, const CastFormat& format);

}  // namespace lumicrate::pipewire
