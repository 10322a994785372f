// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/CameraStream.h"

#include "Linux/PipeWire/BufferMetadata.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/MediaTime.h"

#include <spa/param/buffers.h>
#include <spa/param/format-utils.h>
#include <spa/param/video/format-utils.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <utility>

namespace lumicrate::pipewire {

namespace {

using std::chrono::nanoseconds;

/// Drivers that report another clock's time deviate by more.
constexpr std::chrono::seconds maxAge{1};
constexpr std::chrono::milliseconds maxAhead{20};

pw_properties* propertiesOf(const std::string& node) {
    return pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_MEDIA_ROLE,
                             "Camera", PW_KEY_APP_NAME, "Lumicrate", PW_KEY_NODE_NAME, "lumicrate-camera",
                             PW_KEY_TARGET_OBJECT, node.c_str(), nullptr);
}

const spa_pod* buildBuffers(spa_pod_builder& builder) {
    constexpr int memoryTypes = 1 << SPA_DATA_MemPtr | 1 << SPA_DATA_MemFd | 1 << SPA_DATA_DmaBuf;
    return static_cast<const spa_pod*>(
        spa_pod_builder_add_object(&builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers,
                                   SPA_PARAM_BUFFERS_buffers, SPA_POD_CHOICE_RANGE_Int(4, 2, 16),
                                   SPA_PARAM_BUFFERS_dataType, SPA_POD_CHOICE_FLAGS_Int(memoryTypes)));
}

}  // namespace

const pw_stream_events CameraStream::events = [] {
    pw_stream_events handlers{};
    handlers.version = PW_VERSION_STREAM_EVENTS;
    handlers.state_changed = [](void* self, pw_stream_state, pw_stream_state state, const char*) {
        static_cast<CameraStream*>(self)->stateChanged(state);
    };
    handlers.param_changed = [](void* self, std::uint32_t id, const spa_pod* param) {
        if (id == SPA_PARAM_Format && param) static_cast<CameraStream*>(self)->formatChanged(param);
    };
    handlers.process = [](void* self) { static_cast<CameraStream*>(self)->receive(); };
    return handlers;
}();

CameraStream::CameraStream(Session& session, const std::string& node, const OfferedFormat& format,
                           FrameHandler onFrame)
    : format_(format), onFrame_(std::move(onFrame)), session_(session) {
    const Session::Lock lock(session_);
    try {
        connect(node);
    } catch (...) {
        stream_.reset();
        throw;
    }
}

CameraStream::~CameraStream() {
    const Session::Lock lock(session_);
    stream_.reset();
}

bool CameraStream::hasFailed() const {
    const Session::Lock lock(session_);
    return failed_;
}

void CameraStream::connect(const std::string& node) {
    stream_.reset(pw_stream_new(session_.core(), "Camera", propertiesOf(node)));
    std::array<std::byte, 1024> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), memory.size());
    const spa_pod* parameters[] = {buildFormat(builder, format_)};
    // Another camera must never replace one that is disconnected. No RT_PROCESS flag: the callback copies
    // pictures, so it runs on the session's thread.
    constexpr auto flags = static_cast<pw_stream_flags>(
        PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_DONT_RECONNECT);
    if (stream_) pw_stream_add_listener(stream_.get(), &listener_, &events, this);
    if (!stream_ || pw_stream_connect(stream_.get(), PW_DIRECTION_INPUT, PW_ID_ANY, flags, parameters, 1) < 0)
        throw PlatformError(localized("The camera couldn't be started."));
    log(LogArea::capture, "stream of a camera: ", format_.format.size.width, " × ",
        format_.format.size.height, " at ", format_.format.rate,
        format_.format.isCompressed() ? ", compressed" : ", uncompressed");
}

void CameraStream::stateChanged(pw_stream_state state) {
    log(LogArea::capture, "camera stream ", pw_stream_state_as_string(state));
    failed_ = state == PW_STREAM_STATE_ERROR || state == PW_STREAM_STATE_UNCONNECTED;
    session_.noteChange();
}

void CameraStream::formatChanged(const spa_pod* format) {
    frame_.format = format_.format;
    if (!format_.format.isCompressed()) {
        spa_video_info_raw info{};
        spa_format_video_raw_parse(format, &info);
        frame_.colors.isBt709 = info.color_matrix == SPA_VIDEO_COLOR_MATRIX_BT709;
        frame_.colors.isFullRange = info.color_range == SPA_VIDEO_COLOR_RANGE_0_255;
    }
    std::array<std::byte, 1024> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), memory.size());
    const spa_pod* parameters[] = {
        buildBuffers(builder), buildMetadata(builder, SPA_META_Header, sizeof(spa_meta_header)),
        buildMetadata(builder, SPA_META_VideoCrop, sizeof(spa_meta_region)),
        buildMetadata(builder, SPA_META_VideoTransform, sizeof(spa_meta_videotransform))};
    pw_stream_update_params(stream_.get(), parameters, std::size(parameters));
}

/// Only the newest frame matters: a receiver that is late must not fall further behind.
void CameraStream::receive() {
    bool hasFrame = false;
    while (pw_buffer* buffer = pw_stream_dequeue_buffer(stream_.get())) {
        hasFrame = readBuffer(*buffer->buffer) || hasFrame;
        pw_stream_queue_buffer(stream_.get(), buffer);
    }
    if (!hasFrame) return;
    const CameraColors colors = frame_.colors;
    onFrame_(frame_);
    frame_.format = format_.format;
    frame_.colors = colors;
}

/// False, with the frame unchanged, for a buffer without a usable picture.
bool CameraStream::readBuffer(const spa_buffer& buffer) {
    constexpr std::size_t maxPlanes = 4;
    if (isCorrupted(buffer)) return false;
    const std::span datas(buffer.datas, std::min<std::size_t>(buffer.n_datas, maxPlanes));
    const auto isUnusable = [](const spa_data& data) {
        constexpr int unusable = SPA_CHUNK_FLAG_CORRUPTED | SPA_CHUNK_FLAG_EMPTY;
        return !data.data || !data.chunk || data.chunk->size == 0 || (data.chunk->flags & unusable) != 0;
    };
    if (datas.empty() || std::ranges::any_of(datas, isUnusable)) return false;
    frame_.planes.clear();
    frame_.bytes.clear();
    for (const spa_data& data : datas) {
        // The producer may change the chunk at any time: each field is read once.
        const std::size_t offset = std::min(data.chunk->offset, data.maxsize);
        const std::size_t size = std::min<std::size_t>(data.chunk->size, data.maxsize - offset);
        const auto* begin = static_cast<const std::uint8_t*>(data.data) + offset;
        frame_.planes.push_back({frame_.bytes.size(), size, data.chunk->stride});
        frame_.bytes.insert(frame_.bytes.end(), begin, begin + size);
    }
    frame_.bytes.resize(frame_.bytes.size() + CameraFrame::padding);
    frame_.crop = cropOf(buffer);
    frame_.transform = transformOf(buffer);
    frame_.time = lastTime_ = captureTime(buffer);
    return true;
}

/// The time in the header if it can be one of the host clock, else that of arrival. Strictly increasing.
nanoseconds CameraStream::captureTime(const spa_buffer& buffer) const {
    const nanoseconds now = HostClock::now();
    const auto* header = metadataOf<spa_meta_header>(buffer, SPA_META_Header);
    nanoseconds time = now;
    if (header && header->pts > 0) {
        const nanoseconds reported(header->pts);
        if (reported > now - maxAge && reported < now + maxAhead) time = std::min(reported, now);
    }
    return std::max(time, lastTime_ + nanoseconds(1));
}

}  // namespace lumicrate::pipewire
