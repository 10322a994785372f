// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/BufferMetadata.h"

#include <spa/param/param.h>

#include <algorithm>
#include <cstdint>
#include <span>

namespace lumicrate::pipewire {

namespace {

PixelRect rectOf(const spa_region& region) {
    constexpr std::uint32_t maxSide = 1U << 16;
    constexpr std::int32_t maxPosition = 1 << 16;
    return {std::clamp(region.position.x, -maxPosition, maxPosition),
            std::clamp(region.position.y, -maxPosition, maxPosition),
            static_cast<int>(std::min(region.size.width, maxSide)),
            static_cast<int>(std::min(region.size.height, maxSide))};
}

}  // namespace

const spa_pod* buildMetadata(spa_pod_builder& builder, spa_meta_type type, std::size_t size) {
    return static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(type),
        SPA_PARAM_META_size, SPA_POD_Int(static_cast<int>(size))));
}

const spa_pod* buildMetadata(spa_pod_builder& builder, spa_meta_type type, std::size_t size,
                             std::size_t smallest, std::size_t largest) {
    return static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(type),
        SPA_PARAM_META_size,
        SPA_POD_CHOICE_RANGE_Int(static_cast<int>(size), static_cast<int>(smallest),
                                 static_cast<int>(largest))));
}

PictureTransform transformOf(const spa_buffer& buffer) {
    const auto* meta = metadataOf<spa_meta_videotransform>(buffer, SPA_META_VideoTransform);
    if (!meta || meta->transform > SPA_META_TRANSFORMATION_Flipped270) return {};
    return {meta->transform >= SPA_META_TRANSFORMATION_Flipped, static_cast<int>(meta->transform % 4)};
}

std::optional<PixelRect> cropOf(const spa_buffer& buffer) {
    const auto* meta = metadataOf<spa_meta_region>(buffer, SPA_META_VideoCrop);
    if (!meta || !spa_meta_region_is_valid(meta)) return std::nullopt;
    return rectOf(meta->region);
}

bool isCorrupted(const spa_buffer& buffer) {
    const auto* header = metadataOf<spa_meta_header>(buffer, SPA_META_Header);
    return header && (header->flags & SPA_META_HEADER_FLAG_CORRUPTED) != 0;
}

void addDamage(const spa_buffer& buffer, pictures::BlockRegion& damage) {
    const spa_meta* const list = spa_buffer_find_meta(&buffer, SPA_META_VideoDamage);
    const std::size_t room = list ? list->size / sizeof(spa_meta_region) : 0;
    const std::span entries(room > 0 ? static_cast<const spa_meta_region*>(list->data) : nullptr, room);
    const auto end =
        std::ranges::find_if(entries, [](const auto& entry) { return !spa_meta_region_is_valid(&entry); });
    // With room for one, a producer sends the bounds of all.
    if (end == entries.begin() || (end == entries.end() && room > 1)) {
        damage.addAll();
        return;
    }
    std::for_each(entries.begin(), end, [&](const auto& entry) { damage.add(rectOf(entry.region)); });
}

}  // namespace lumicrate::pipewire
