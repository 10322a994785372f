// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Linux/PipeWire/VirtualScreen.h"

#include "Tests/Stage/Await.h"

#include <spa/buffer/meta.h>
#include <spa/param/buffers.h>
#include <spa/param/video/format-utils.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <stdexcept>

namespace lumicrate::stage {

namespace {

constexpr int maxDamage = 16;
constexpr std::size_t maxCursorSide = 64;

template <class Meta>
Meta* find(const spa_buffer& buffer, spa_meta_type type) {
    return static_cast<Meta*>(spa_buffer_find_meta_data(&buffer, type, sizeof(Meta)));
}

spa_region regionOf(const PixelRect& rect) {
    return {{rect.x, rect.y},
            {static_cast<std::uint32_t>(rect.width), static_cast<std::uint32_t>(rect.height)}};
}

/// From blue in the lowest byte to the order of the format.
std::uint32_t pixelFor(spa_video_format format, std::uint32_t pixel) {
    switch (format) {
        case SPA_VIDEO_FORMAT_RGBx:
        case SPA_VIDEO_FORMAT_RGBA:
            return (pixel & 0xff) << 16 | (pixel & 0xff00) | (pixel >> 16 & 0xff);
        case SPA_VIDEO_FORMAT_xRGB:
        case SPA_VIDEO_FORMAT_ARGB:
            return (pixel & 0xff) << 24 | (pixel & 0xff00) << 8 | (pixel >> 8 & 0xff00);
        case SPA_VIDEO_FORMAT_xBGR:
        case SPA_VIDEO_FORMAT_ABGR:
            return pixel << 8;
        default:
            return pixel;
    }
}

void describeCursor(spa_meta_cursor& meta, const VirtualScreen::Cursor& cursor) {
    meta = {cursor.id, 0, {cursor.x, cursor.y}, {cursor.hotX, cursor.hotY}, 0};
    if (cursor.size.width == 0) return;
    meta.bitmap_offset = sizeof meta;
    auto* const bitmap = reinterpret_cast<spa_meta_bitmap*>(&meta + 1);
    *bitmap = {
        cursor.pixels,
        {static_cast<std::uint32_t>(cursor.size.width), static_cast<std::uint32_t>(cursor.size.height)},
        cursor.size.width * 4,
        sizeof *bitmap};
    std::memcpy(bitmap + 1, cursor.bitmap.data(), cursor.bitmap.size() * sizeof(std::uint32_t));
}

}  // namespace

const pw_stream_events VirtualScreen::events = [] {
    pw_stream_events handlers{};
    handlers.version = PW_VERSION_STREAM_EVENTS;
    handlers.state_changed = [](void* self, pw_stream_state, pw_stream_state state, const char*) {
        auto& screen = *static_cast<VirtualScreen*>(self);
        screen.isStreaming_ = state == PW_STREAM_STATE_STREAMING;
        screen.session_.signal();
    };
    handlers.param_changed = [](void* self, std::uint32_t id, const spa_pod* param) {
        if (id == SPA_PARAM_Format && param) static_cast<VirtualScreen*>(self)->formatChanged(param);
    };
    return handlers;
}();

VirtualScreen::VirtualScreen(const Options& options) : options_(options) {
    const pipewire::Session::Lock lock(session_);
    stream_ = pw_stream_new(session_.core(), options.name.c_str(),
                            pw_properties_new(PW_KEY_MEDIA_CLASS, "Video/Source", PW_KEY_NODE_NAME,
                                              options.name.c_str(), nullptr));
    pw_stream_add_listener(stream_, &listener_, &events, this);
    std::array<std::byte, 2048> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), memory.size());
    const spa_pod* format = buildFormat(builder);
    pw_stream_connect(stream_, PW_DIRECTION_OUTPUT, PW_ID_ANY,
                      static_cast<pw_stream_flags>(PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_MAP_BUFFERS),
                      &format, 1);
    const auto isAnnounced = [this] {
        return pw_stream_get_state(stream_, nullptr) >= PW_STREAM_STATE_PAUSED;
    };
    constexpr std::chrono::seconds timeout(20);
    const bool isReady = session_.await(isAnnounced, timeout);
    node_ = pw_stream_get_node_id(stream_);
    if (isReady) return;
    pw_stream_destroy(stream_);
    throw std::runtime_error("The server does not take a screen cast");
}

VirtualScreen::~VirtualScreen() {
    const pipewire::Session::Lock lock(session_);
    pw_stream_destroy(stream_);
}

const spa_pod* VirtualScreen::buildFormat(spa_pod_builder& builder) const {
    const spa_rectangle size{static_cast<std::uint32_t>(options_.size.width),
                             static_cast<std::uint32_t>(options_.size.height)};
    const spa_fraction onChange{0, 1};
    const spa_fraction slowest{1, 1};
    const spa_fraction fastest{60, 1};
    return static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
        SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw),
        SPA_FORMAT_VIDEO_format, SPA_POD_Id(options_.pixels), SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&size),
        SPA_FORMAT_VIDEO_framerate, SPA_POD_Fraction(&onChange), SPA_FORMAT_VIDEO_maxFramerate,
        SPA_POD_CHOICE_RANGE_Fraction(&fastest, &slowest, &fastest)));
}

void VirtualScreen::resize(PixelSize size) {
    const pipewire::Session::Lock lock(session_);
    options_.size = size;
    std::array<std::byte, 2048> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), memory.size());
    const spa_pod* format = buildFormat(builder);
    pw_stream_update_params(stream_, &format, 1);
}

void VirtualScreen::setActive(bool active) {
    const pipewire::Session::Lock lock(session_);
    pw_stream_set_active(stream_, active);
}

void VirtualScreen::formatChanged(const spa_pod* format) {
    spa_video_info_raw info{};
    spa_format_video_raw_parse(format, &info);
    agreed_ = {static_cast<int>(info.size.width), static_cast<int>(info.size.height)};
    const int stride = agreed_->width * 4 + options_.extraStride;
    std::array<std::byte, 2048> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), memory.size());
    const auto metadata = [&](spa_meta_type type, std::size_t size) {
        return static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(type),
            SPA_PARAM_META_size, SPA_POD_Int(static_cast<int>(size))));
    };
    std::vector<const spa_pod*> parameters{
        static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
            SPA_POD_CHOICE_RANGE_Int(options_.buffers, 2, options_.buffers), SPA_PARAM_BUFFERS_blocks,
            SPA_POD_Int(1), SPA_PARAM_BUFFERS_size, SPA_POD_Int(stride * agreed_->height),
            SPA_PARAM_BUFFERS_stride, SPA_POD_Int(stride), SPA_PARAM_BUFFERS_dataType,
            SPA_POD_CHOICE_FLAGS_Int(1 << SPA_DATA_MemFd))),
        metadata(SPA_META_Header, sizeof(spa_meta_header))};
    if (options_.hasMetadata) {
        parameters.push_back(metadata(SPA_META_VideoDamage, sizeof(spa_meta_region) * maxDamage));
        parameters.push_back(metadata(SPA_META_VideoCrop, sizeof(spa_meta_region)));
        parameters.push_back(metadata(SPA_META_VideoTransform, sizeof(spa_meta_videotransform)));
        parameters.push_back(metadata(SPA_META_Cursor, sizeof(spa_meta_cursor) + sizeof(spa_meta_bitmap) +
                                                           maxCursorSide * maxCursorSide * 4));
    }
    pw_stream_update_params(stream_, parameters.data(), static_cast<std::uint32_t>(parameters.size()));
}

void VirtualScreen::show(const pictures::BgraPicture& picture, const Facts& facts) {
    const auto hasSent = [&] { return offer(picture, facts); };
    if (!eventually(hasSent, std::chrono::seconds(20), std::chrono::milliseconds(2)))
        throw std::runtime_error("The screen cast has no buffer for its picture");
}

bool VirtualScreen::offer(const pictures::BgraPicture& picture, const Facts& facts) {
    const pipewire::Session::Lock lock(session_);
    if (!isStreaming_ || agreed_ != PixelSize{picture.width(), picture.height()}) return false;
    pw_buffer* const buffer = pw_stream_dequeue_buffer(stream_);
    if (!buffer) return false;
    fill(*buffer->buffer, picture, facts);
    return pw_stream_queue_buffer(stream_, buffer) >= 0;
}

void VirtualScreen::fill(spa_buffer& buffer, const pictures::BgraPicture& picture, const Facts& facts) {
    const spa_data& data = buffer.datas[0];
    const int stride = picture.width() * 4 + options_.extraStride;
    auto* row = static_cast<std::byte*>(data.data);
    for (int y = 0; y < picture.height(); ++y, row += stride) {
        for (int x = 0; x < picture.width(); ++x) {
            const std::uint32_t pixel = pixelFor(options_.pixels, facts.isCorrupted ? 0 : picture.row(y)[x]);
            std::memcpy(row + std::ptrdiff_t{x} * 4, &pixel, sizeof pixel);
        }
    }
    const auto size = facts.isCorrupted ? 0U : static_cast<std::uint32_t>(stride * picture.height());
    *data.chunk = {0, size, stride, facts.isCorrupted ? std::int32_t{SPA_CHUNK_FLAG_CORRUPTED} : 0};
    describe(buffer, facts);
}

void VirtualScreen::describe(const spa_buffer& buffer, const Facts& facts) {
    if (auto* const header = find<spa_meta_header>(buffer, SPA_META_Header)) {
        *header = {};
        header->seq = ++sent_;
    }
    if (auto* const list = find<spa_meta_region>(buffer, SPA_META_VideoDamage)) {
        std::fill_n(list, maxDamage, spa_meta_region{});
        const PixelRect all{0, 0, agreed_->width, agreed_->height};
        const auto damage = facts.damage.value_or(std::vector{all});
        std::ranges::transform(damage, list,
                               [](const PixelRect& rect) { return spa_meta_region{regionOf(rect)}; });
    }
    if (auto* const crop = find<spa_meta_region>(buffer, SPA_META_VideoCrop))
        *crop = facts.crop ? spa_meta_region{regionOf(*facts.crop)} : spa_meta_region{};
    if (auto* const turn = find<spa_meta_videotransform>(buffer, SPA_META_VideoTransform))
        turn->transform = facts.transform;
    if (auto* const cursor = find<spa_meta_cursor>(buffer, SPA_META_Cursor))
        describeCursor(*cursor, facts.cursor.value_or(Cursor{0}));
}

}  // namespace lumicrate::stage
