// SPDX-License-Identifier: GPL-3.0-or-later
// BufferMetadata: what a producer of pictures says of each buffer, besides the pixels. All of it is optional.
#pragma once

#include "Linux/Pictures/BlockRegion.h"
#include "Platform/CameraFrame.h"
#include "Support/Geometry.h"

#include <spa/buffer/buffer.h>
#include <spa/buffer/meta.h>
#include <spa/pod/builder.h>

#include <cstddef>
#include <optional>

namespace lumicrate::pipewire {

/// Requests metadata of that size in bytes, or of the nearest one within the range that the producer offers.
const spa_pod* buildMetadata(spa_pod_builder& builder, spa_meta_type type, std::size_t size);
const spa_pod* buildMetadata(spa_pod_builder& builder, spa_meta_type type, std::size_t size,
                             std::size_t smallest, std::size_t largest);

/// Null when the buffer has none of that type and size.
template <class Meta>
const Meta* metadataOf(const spa_buffer& buffer, spa_meta_type type) {
    return static_cast<const Meta*>(spa_buffer_find_meta_data(&buffer, type, sizeof(Meta)));
}

PictureTransform transformOf(const spa_buffer& buffer);

/// The part of the picture that is shown; may reach outside of it.
std::optional<PixelRect> cropOf(const spa_buffer& buffer);

/// Whether the producer marked the buffer as one without a valid picture.
bool isCorrupted(const spa_buffer& buffer);

/// Adds what changed since the producer's last buffer. That is everything unless the producer clearly says
/// otherwise: a list whose first entry is unused, or that is full and may have lost entries, says nothing.
void addDamage(const spa_buffer& buffer, pictures::BlockRegion& damage);

}  // namespace lumicrate::pipewire
