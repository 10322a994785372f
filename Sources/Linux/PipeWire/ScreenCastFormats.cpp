// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/ScreenCastFormats.h"

#include "Linux/PipeWire/BufferMetadata.h"

#include <spa/param/buffers.h>
#include <spa/param/format-utils.h>
#include <spa/param/video/format-utils.h>

#include <cstddef>
#include <cstdint>
#include <utility>

namespace lumicrate::pipewire {

namespace {

constexpr std::pair<spa_video_format, CastPixels> knownFormats[]{
    {SPA_VIDEO_FORMAT_BGRx, CastPixels::bgrx}, {SPA_VIDEO_FORMAT_BGRA, CastPixels::bgrx},
    {SPA_VIDEO_FORMAT_RGBx, CastPixels::rgbx}, {SPA_VIDEO_FORMAT_RGBA, CastPixels::rgbx},
    {SPA_VIDEO_FORMAT_xRGB, CastPixels::xrgb}, {SPA_VIDEO_FORMAT_ARGB, CastPixels::xrgb},
    {SPA_VIDEO_FORMAT_xBGR, CastPixels::xbgr}, {SPA_VIDEO_FORMAT_ABGR, CastPixels::xbgr}};

constexpr int maxSide = 32767;
/// DRM_FORMAT_MOD_LINEAR
constexpr std::int64_t linearModifier = 0;

const spa_pod* buildFormat(spa_pod_builder& builder, bool dmaBuf) {
    const spa_rectangle usual{1920, 1080};
    const spa_rectangle smallest{1, 1};
    const spa_rectangle largest{maxSide, maxSide};
    // A producer that sends pictures when something changes has the rate 0.
    const spa_fraction anyRate{0, 1};
    const spa_fraction usualRate{60, 1};
    const spa_fraction highestRate{1000, 1};
    spa_pod_frame object{};
    spa_pod_builder_push_object(&builder, &object, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
    spa_pod_builder_add(&builder, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video),
                        SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw), 0);
    spa_pod_builder_prop(&builder, SPA_FORMAT_VIDEO_format, 0);
    spa_pod_frame choice{};
    spa_pod_builder_push_choice(&builder, &choice, SPA_CHOICE_Enum, 0);
    spa_pod_builder_id(&builder, knownFormats[0].first);
    for (const auto& [format, pixels] : knownFormats)
        spa_pod_builder_id(&builder, format);
    spa_pod_builder_pop(&builder, &choice);
    if (dmaBuf) {
        spa_pod_builder_prop(&builder, SPA_FORMAT_VIDEO_modifier, SPA_POD_PROP_FLAG_MANDATORY);
        spa_pod_builder_long(&builder, linearModifier);
    }
    spa_pod_builder_add(
        &builder, SPA_FORMAT_VIDEO_size, SPA_POD_CHOICE_RANGE_Rectangle(&usual, &smallest, &largest),
        SPA_FORMAT_VIDEO_framerate, SPA_POD_CHOICE_RANGE_Fraction(&usualRate, &anyRate, &highestRate), 0);
    return static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &object));
}

}  // namespace

std::vector<const spa_pod*> buildCastFormats(spa_pod_builder& builder, bool dmaBuf) {
    std::vector<const spa_pod*> formats{buildFormat(builder, false)};
    if (dmaBuf) formats.push_back(buildFormat(builder, true));
    return formats;
}

std::optional<CastFormat> castFormatIn(const spa_pod* format) {
    std::uint32_t type = 0;
    std::uint32_t subtype = 0;
    spa_video_info_raw info{};
    if (spa_format_parse(format, &type, &subtype) < 0 || type != SPA_MEDIA_TYPE_video ||
        subtype != SPA_MEDIA_SUBTYPE_raw || spa_format_video_raw_parse(format, &info) < 0)
        return std::nullopt;
    const bool isEmpty = info.size.width == 0 || info.size.height == 0;
    if (isEmpty || info.size.width > maxSide || info.size.height > maxSide) return std::nullopt;
    const bool isDmaBuf = spa_pod_find_prop(format, nullptr, SPA_FORMAT_VIDEO_modifier) != nullptr;
    for (const auto& [number, pixels] : knownFormats) {
        if (number == info.format)
            return CastFormat{
                pixels, {static_cast<int>(info.size.width), static_cast<int>(info.size.height)}, isDmaBuf};
    }
    return std::nullopt;
}

std::array<const spa_pod*, 6> buildCastBuffers(spa_pod_builder& builder, const CastFormat& format) {
    constexpr std::size_t maxDamage = 16;
    // The usual size, and room for any that a producer insists on.
    const auto cursorSize = [](std::size_t side) {
        return sizeof(spa_meta_cursor) + sizeof(spa_meta_bitmap) + side * side * 4;
    };
    const int memoryTypes =
        format.isDmaBuf ? 1 << SPA_DATA_DmaBuf : 1 << SPA_DATA_MemFd | 1 << SPA_DATA_MemPtr;
    // We keep one, one may wait for us, and the producer needs some.
    const auto* const buffers = static_cast<const spa_pod*>(
        spa_pod_builder_add_object(&builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers,
                                   SPA_PARAM_BUFFERS_buffers, SPA_POD_CHOICE_RANGE_Int(6, 2, 16),
                                   SPA_PARAM_BUFFERS_dataType, SPA_POD_CHOICE_FLAGS_Int(memoryTypes)));
    return {buffers,
            buildMetadata(builder, SPA_META_Header, sizeof(spa_meta_header)),
            buildMetadata(builder, SPA_META_VideoDamage, sizeof(spa_meta_region) * maxDamage,
                          sizeof(spa_meta_region), sizeof(spa_meta_region) * maxDamage),
            buildMetadata(builder, SPA_META_VideoCrop, sizeof(spa_meta_region)),
            buildMetadata(builder, SPA_META_VideoTransform, sizeof(spa_meta_videotransform)),
            buildMetadata(builder, SPA_META_Cursor, cursorSize(256), cursorSize(1), cursorSize(1024))};
}

}  // namespace lumicrate::pipewire
