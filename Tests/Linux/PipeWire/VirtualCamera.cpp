// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Linux/PipeWire/VirtualCamera.h"

#include "Tests/Linux/PipeWire/CameraPainter.h"

#include <spa/buffer/meta.h>
#include <spa/param/buffers.h>
#include <spa/param/video/format-utils.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <random>
#include <stdexcept>
#include <utility>

namespace lumicrate::stage {

namespace {

using std::chrono::nanoseconds;
using Fault = VirtualCamera::Options::Fault;

constexpr std::array<std::pair<const char*, spa_video_format>, 4> rawFormats{
    {{"NV12", SPA_VIDEO_FORMAT_NV12},
     {"I420", SPA_VIDEO_FORMAT_I420},
     {"YUY2", SPA_VIDEO_FORMAT_YUY2},
     {"BGRx", SPA_VIDEO_FORMAT_BGRx}}};

nanoseconds hostTime() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

const spa_pod* buildFormat(spa_pod_builder& builder, const VirtualCamera::Format& format) {
    const spa_rectangle size{static_cast<std::uint32_t>(format.width),
                             static_cast<std::uint32_t>(format.height)};
    const spa_fraction rate{static_cast<std::uint32_t>(format.rate), 1};
    spa_pod_frame frame{};
    spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
    const bool isCompressed = format.pixels == "MJPG";
    spa_pod_builder_add(&builder, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video),
                        SPA_FORMAT_mediaSubtype,
                        SPA_POD_Id(isCompressed ? SPA_MEDIA_SUBTYPE_mjpg : SPA_MEDIA_SUBTYPE_raw), 0);
    for (const auto& [name, number] : rawFormats) {
        if (format.pixels == name)
            spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_format, SPA_POD_Id(number), 0);
    }
    // As cameras do, with the default repeated.
    spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&size), SPA_FORMAT_VIDEO_framerate,
                        SPA_POD_CHOICE_ENUM_Fraction(2, &rate, &rate), 0);
    return static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame));
}

VirtualCamera::Format formatFrom(const spa_pod* pod) {
    std::uint32_t type = 0;
    std::uint32_t subtype = 0;
    spa_format_parse(pod, &type, &subtype);
    spa_video_info_raw info{};
    spa_format_video_raw_parse(pod, &info);
    VirtualCamera::Format format{"MJPG", static_cast<int>(info.size.width),
                                 static_cast<int>(info.size.height), static_cast<int>(info.framerate.num)};
    for (const auto& [name, number] : rawFormats) {
        if (subtype == SPA_MEDIA_SUBTYPE_raw && info.format == number) format.pixels = name;
    }
    return format;
}

}  // namespace

const pw_stream_events VirtualCamera::events = [] {
    pw_stream_events handlers{};
    handlers.version = PW_VERSION_STREAM_EVENTS;
    handlers.state_changed = [](void* self, pw_stream_state, pw_stream_state state, const char*) {
        static_cast<VirtualCamera*>(self)->stateChanged(state);
    };
    handlers.param_changed = [](void* self, std::uint32_t id, const spa_pod* param) {
        if (id == SPA_PARAM_Format && param) static_cast<VirtualCamera*>(self)->formatChanged(param);
    };
    handlers.process = [](void* self) { static_cast<VirtualCamera*>(self)->send(); };
    return handlers;
}();

VirtualCamera::VirtualCamera(const Options& options) : options_(options) {
    const pipewire::Session::Lock lock(session_);
    auto* properties = pw_properties_new(PW_KEY_MEDIA_CLASS, "Video/Source", PW_KEY_MEDIA_ROLE, "Camera",
                                         PW_KEY_NODE_NAME, options.name.c_str(), PW_KEY_NODE_DESCRIPTION,
                                         options.description.c_str(), nullptr);
    stream_ = pw_stream_new(session_.core(), options.name.c_str(), properties);
    if (stream_) connect();
    const auto isAnnounced = [this] {
        const auto state = pw_stream_get_state(stream_, nullptr);
        return state == PW_STREAM_STATE_PAUSED || state == PW_STREAM_STATE_STREAMING;
    };
    constexpr std::chrono::seconds timeout(20);
    if (!stream_ || !session_.await(isAnnounced, timeout)) {
        unplug();
        throw std::runtime_error("The server does not take a virtual camera");
    }
}

VirtualCamera::~VirtualCamera() {
    const pipewire::Session::Lock lock(session_);
    unplug();
}

void VirtualCamera::unplug() {
    if (timer_) pw_loop_destroy_source(loop(), timer_);
    if (stream_) pw_stream_destroy(stream_);
}

void VirtualCamera::connect() {
    std::vector<std::uint8_t> memory(4096 * options_.formats.size());
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), static_cast<std::uint32_t>(memory.size()));
    std::vector<const spa_pod*> parameters;
    for (const Format& each : options_.formats)
        parameters.push_back(buildFormat(builder, each));
    timer_ = pw_loop_add_timer(
        loop(),
        [](void* self, std::uint64_t) {
            pw_stream_trigger_process(static_cast<VirtualCamera*>(self)->stream_);
        },
        this);
    pw_stream_add_listener(stream_, &listener_, &events, this);
    pw_stream_connect(stream_, PW_DIRECTION_OUTPUT, PW_ID_ANY,
                      static_cast<pw_stream_flags>(PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_MAP_BUFFERS),
                      parameters.data(), static_cast<std::uint32_t>(parameters.size()));
}

std::optional<nanoseconds> VirtualCamera::timeOf(int number) const {
    const std::lock_guard lock(mutex_);
    const auto index = static_cast<std::size_t>(number);
    return index < times_.size() ? std::optional(times_[index]) : std::nullopt;
}

std::optional<VirtualCamera::Format> VirtualCamera::negotiated() const {
    const std::lock_guard lock(mutex_);
    return format_;
}

void VirtualCamera::stateChanged(pw_stream_state state) {
    timespec interval{};
    sentBefore_ = sent_;
    if (state == PW_STREAM_STATE_STREAMING && options_.fault != Fault::nothing) {
        const std::lock_guard lock(mutex_);
        interval.tv_nsec = 1'000'000'000L / std::max(format_.value_or(Format()).rate, 2);
    }
    session_.signal();
    timespec first{0, interval.tv_nsec > 0 ? 1 : 0};
    pw_loop_update_timer(loop(), timer_, &first, &interval, false);
}

void VirtualCamera::formatChanged(const spa_pod* pod) {
    const Format format = formatFrom(pod);
    {
        const std::lock_guard lock(mutex_);
        format_ = format;
    }
    Format sent = format;
    if (options_.fault == Fault::otherSize) {
        sent.width /= 2;
        sent.height /= 2;
    }
    painter_ = std::make_unique<CameraPainter>(sent, options_);

    std::array<std::uint8_t, 1024> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), memory.size());
    const auto metadata = [&](spa_meta_type type, std::size_t size) {
        return static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(type),
            SPA_PARAM_META_size, SPA_POD_Int(static_cast<int>(size))));
    };
    const spa_pod* parameters[] = {
        static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
            SPA_POD_CHOICE_RANGE_Int(4, 2, 8), SPA_PARAM_BUFFERS_blocks, SPA_POD_Int(1),
            SPA_PARAM_BUFFERS_size, SPA_POD_Int(CameraPainter::sizeOf(format)), SPA_PARAM_BUFFERS_stride,
            SPA_POD_Int(CameraPainter::strideOf(format)))),
        metadata(SPA_META_Header, sizeof(spa_meta_header)),
        metadata(SPA_META_VideoCrop, sizeof(spa_meta_region)),
        metadata(SPA_META_VideoTransform, sizeof(spa_meta_videotransform))};
    pw_stream_update_params(stream_, parameters, std::size(parameters));
}

void VirtualCamera::send() {
    const bool isStalled = options_.stopAfter && sent_ - sentBefore_ >= *options_.stopAfter;
    if (!painter_ || isStalled) return;
    pw_buffer* buffer = pw_stream_dequeue_buffer(stream_);
    if (!buffer) return;
    const nanoseconds now = hostTime();
    if (buffer->buffer->datas[0].data) fill(*buffer->buffer);
    fillMetadata(*buffer->buffer, now);
    {
        const std::lock_guard lock(mutex_);
        times_.push_back(now);
    }
    ++sent_;
    pw_stream_queue_buffer(stream_, buffer);
}

void VirtualCamera::fill(const spa_buffer& buffer) {
    const auto picture = painter_->paint(sent_);
    spa_data& data = buffer.datas[0];
    std::size_t size = std::min<std::size_t>(picture.size(), data.maxsize);
    std::memcpy(data.data, picture.data(), size);
    if (options_.fault == Fault::halves) size /= 2;
    if (options_.fault == Fault::garbage) {
        std::minstd_rand random(static_cast<unsigned>(sent_ + 1));
        std::generate_n(static_cast<std::uint8_t*>(data.data), size, [&] { return random() & 0xffU; });
    }
    data.chunk->offset = 0;
    data.chunk->size = static_cast<std::uint32_t>(size);
    data.chunk->stride = CameraPainter::strideOf(negotiated().value_or(Format()));
    data.chunk->flags = options_.fault == Fault::corruptedFlag ? SPA_CHUNK_FLAG_CORRUPTED : 0;
}

void VirtualCamera::fillMetadata(const spa_buffer& buffer, nanoseconds time) const {
    const auto find = [&]<class Meta>(spa_meta_type type, Meta*) {
        return static_cast<Meta*>(spa_buffer_find_meta_data(&buffer, type, sizeof(Meta)));
    };
    if (auto* header = find(SPA_META_Header, static_cast<spa_meta_header*>(nullptr))) {
        *header = {};
        header->pts = options_.fault == Fault::noTime ? 12345 : time.count();
        header->seq = static_cast<std::uint64_t>(sent_.load());
    }
    if (auto* crop = find(SPA_META_VideoCrop, static_cast<spa_meta_region*>(nullptr))) {
        crop->region = {};
        if (options_.isCropped) {
            const auto [pixels, width, height, rate] = negotiated().value_or(Format());
            crop->region = {{width / 4, height / 4},
                            {static_cast<std::uint32_t>(width / 2), static_cast<std::uint32_t>(height / 2)}};
        }
    }
    if (auto* turn = find(SPA_META_VideoTransform, static_cast<spa_meta_videotransform*>(nullptr)))
        turn->transform = options_.transform;
}

}  // namespace lumicrate::stage
