// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/ScreenCastStream.h"

#include "Linux/PipeWire/BufferMetadata.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/MediaTime.h"

#include <linux/dma-buf.h>
#include <spa/buffer/buffer.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace lumicrate::pipewire {

namespace {

/// One is kept and one waits to be read; the producer needs two to work without a pause.
constexpr int fewestToKeepOne = 4;
constexpr std::size_t formatMemory = 4096;

pw_properties* properties() {
    return pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_MEDIA_ROLE,
                             "Screen", PW_KEY_APP_NAME, "Lumicrate", PW_KEY_NODE_NAME, "lumicrate-screen",
                             nullptr);
}

bool isDeviceMemory(const spa_data& data) {
    return data.type == SPA_DATA_DmaBuf;
}

/// While it exists, the pixels may be read.
class DeviceAccess {
 public:
    explicit DeviceAccess(const spa_data& data) : descriptor_(static_cast<int>(data.fd)) {
        isGranted_ = synchronize(DMA_BUF_SYNC_START);
    }
    ~DeviceAccess() {
        if (isGranted_) synchronize(DMA_BUF_SYNC_END);
    }
    DeviceAccess(const DeviceAccess&) = delete;
    DeviceAccess& operator=(const DeviceAccess&) = delete;

    bool isGranted() const { return isGranted_; }

 private:
    bool synchronize(std::uint64_t phase) const {
        dma_buf_sync request{phase | DMA_BUF_SYNC_READ};
        int result = -1;
        do {
            result = ioctl(descriptor_, DMA_BUF_IOCTL_SYNC, &request);
        } while (result != 0 && (errno == EINTR || errno == EAGAIN));
        return result == 0;
    }

    int descriptor_;
    bool isGranted_ = false;
};

/// Null pixels when the format's picture does not lie within the buffer.
CastPicture pictureIn(const spa_data& data, const CastFormat& format) {
    if (!data.data || !data.chunk) return {};
    // The producer may change the chunk at any time: each field is read once.
    const std::size_t offset = data.chunk->offset;
    const std::size_t rowSize = static_cast<std::size_t>(format.size.width) * 4;
    const int chunkStride = data.chunk->stride;
    const std::size_t stride = chunkStride > 0 ? static_cast<std::size_t>(chunkStride) : rowSize;
    const std::size_t size = static_cast<std::size_t>(format.size.height - 1) * stride + rowSize;
    if (chunkStride < 0 || stride < rowSize || offset > data.maxsize || size > data.maxsize - offset)
        return {};
    return {static_cast<const std::byte*>(data.data) + offset, static_cast<std::ptrdiff_t>(stride),
            format.pixels};
}

/// Buffers that only announce a change of the cursor have no pixels.
bool hasPicture(const spa_buffer& buffer) {
    if (buffer.n_datas == 0 || isCorrupted(buffer)) return false;
    const spa_chunk* const chunk = buffer.datas[0].chunk;
    return chunk && chunk->size > 0 && (chunk->flags & SPA_CHUNK_FLAG_CORRUPTED) == 0;
}

}  // namespace

const pw_stream_events ScreenCastStream::events = [] {
    pw_stream_events handlers{};
    handlers.version = PW_VERSION_STREAM_EVENTS;
    handlers.state_changed = [](void* self, pw_stream_state before, pw_stream_state state, const char*) {
        static_cast<ScreenCastStream*>(self)->stateChanged(before, state);
    };
    handlers.param_changed = [](void* self, std::uint32_t id, const spa_pod* param) {
        if (id == SPA_PARAM_Format && param) static_cast<ScreenCastStream*>(self)->formatChanged(param);
    };
    handlers.add_buffer = [](void* self, pw_buffer* buffer) {
        ++static_cast<ScreenCastStream*>(self)->bufferCount_;
        map(*buffer);
    };
    handlers.remove_buffer = [](void* self, pw_buffer* buffer) {
        static_cast<ScreenCastStream*>(self)->remove(*buffer);
    };
    handlers.process = [](void* self) { static_cast<ScreenCastStream*>(self)->receive(); };
    return handlers;
}();

const pw_registry_events ScreenCastStream::registryEvents = [] {
    pw_registry_events handlers{};
    handlers.version = PW_VERSION_REGISTRY_EVENTS;
    handlers.global = [](void* self, std::uint32_t id, std::uint32_t, const char*, std::uint32_t,
                         const spa_dict*) {
        auto& stream = *static_cast<ScreenCastStream*>(self);
        if (id == stream.node_) stream.hasNode_ = true;
    };
    handlers.global_remove = [](void* self, std::uint32_t id) {
        auto& stream = *static_cast<ScreenCastStream*>(self);
        if (id != stream.node_) return;
        log(LogArea::capture, "screen cast: the producer is gone");
        stream.failed_ = true;
        stream.session_.signal();
        stream.onChange_();
    };
    return handlers;
}();

ScreenCastStream::ScreenCastStream(Session& session, std::uint32_t node, Handler onChange)
    : node_(node), onChange_(std::move(onChange)), session_(session) {
    const Session::Lock lock(session_);
    try {
        findNode();
        connect();
    } catch (...) {
        stream_.reset();
        registry_.reset();
        throw;
    }
}

ScreenCastStream::~ScreenCastStream() {
    const Session::Lock lock(session_);
    stream_.reset();
    registry_.reset();
}

void ScreenCastStream::findNode() {
    registry_.reset(pw_core_get_registry(session_.core(), PW_VERSION_REGISTRY, 0));
    if (registry_) pw_registry_add_listener(registry_.get(), &registryListener_, &registryEvents, this);
    if (!registry_ || !session_.roundTrip(Session::answerTimeout) || !hasNode_) {
        log(LogArea::capture, "screen cast: no node ", node_);
        throw PlatformError(localized("The screen can't be captured."));
    }
}

void ScreenCastStream::connect() {
    stream_.reset(pw_stream_new(session_.core(), "Screen", properties()));
    std::array<std::byte, formatMemory> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), memory.size());
    auto formats = buildCastFormats(builder, usesDeviceMemory_);
    // Another screen must never replace one that is gone. No RT_PROCESS flag: the callback reads metadata, so
    // it runs on the session's thread.
    constexpr auto flags = static_cast<pw_stream_flags>(
        PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_DONT_RECONNECT);
    if (stream_) pw_stream_add_listener(stream_.get(), &listener_, &events, this);
    if (!stream_ || pw_stream_connect(stream_.get(), PW_DIRECTION_INPUT, node_, flags, formats.data(),
                                      static_cast<std::uint32_t>(formats.size())) < 0)
        throw PlatformError(localized("The screen can't be captured."));
}

bool ScreenCastStream::awaitFormat(Session::Timeout timeout) const {
    const Session::Lock lock(session_);
    session_.await([this] { return failed_ || format_; }, timeout);
    return !hasFailed() && format_;
}

void ScreenCastStream::stateChanged(pw_stream_state before, pw_stream_state state) {
    log(LogArea::capture, "screen cast ", pw_stream_state_as_string(state));
    failed_ = failed_ || state == PW_STREAM_STATE_ERROR || state == PW_STREAM_STATE_UNCONNECTED;
    if (state == PW_STREAM_STATE_STREAMING) pausedSince_.reset();
    if (state == PW_STREAM_STATE_PAUSED && before == PW_STREAM_STATE_STREAMING)
        pausedSince_ = HostClock::now();
    session_.signal();
    onChange_();
}

void ScreenCastStream::restart() {
    log(LogArea::capture, "screen cast: requested again");
    pw_stream_set_active(stream_.get(), false);
    pw_stream_set_active(stream_.get(), true);
}

void ScreenCastStream::formatChanged(const spa_pod* param) {
    format_ = castFormatIn(param);
    if (!format_) {
        pw_stream_set_error(stream_.get(), -EINVAL, "unknown format");
        return;
    }
    const auto& [width, height] = format_->size;
    log(LogArea::capture, "screen cast of ", width, " × ", height, " pixels in ",
        format_->isDmaBuf ? "device" : "shared", " memory");
    damage_ = pictures::BlockRegion(width, height);
    damage_.addAll();
    sequence_.reset();
    std::array<std::byte, 2048> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), memory.size());
    auto parameters = buildCastBuffers(builder, *format_);
    pw_stream_update_params(stream_.get(), parameters.data(), parameters.size());
    session_.signal();
}

void ScreenCastStream::offerFormats() {
    std::array<std::byte, formatMemory> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), memory.size());
    auto formats = buildCastFormats(builder, usesDeviceMemory_);
    pw_stream_update_params(stream_.get(), formats.data(), static_cast<std::uint32_t>(formats.size()));
}

/// The library maps shared memory, but not that of a device.
void ScreenCastStream::map(pw_buffer& buffer) {
    for (std::uint32_t i = 0; i < std::min(buffer.buffer->n_datas, 1U); ++i) {
        spa_data& data = buffer.buffer->datas[i];
        if (!isDeviceMemory(data) || data.data) continue;
        // Some producers leave the size to us.
        const off_t end = lseek(static_cast<int>(data.fd), 0, SEEK_END);
        if (data.maxsize == 0 && end > 0) data.maxsize = static_cast<std::uint32_t>(end);
        void* const memory = mmap(nullptr, data.maxsize, PROT_READ, MAP_SHARED, static_cast<int>(data.fd),
                                  static_cast<off_t>(data.mapoffset));
        if (memory == MAP_FAILED) continue;
        data.data = memory;
        buffer.user_data = memory;
    }
}

void ScreenCastStream::remove(pw_buffer& buffer) {
    --bufferCount_;
    if (newest_ == &buffer) newest_ = nullptr;
    if (!buffer.user_data) return;
    munmap(buffer.user_data, buffer.buffer->datas[0].maxsize);
    buffer.user_data = nullptr;
    buffer.buffer->datas[0].data = nullptr;
}

void ScreenCastStream::receive() {
    bool isNews = false;
    while (pw_buffer* const buffer = pw_stream_dequeue_buffer(stream_.get())) {
        if (cursor_.read(*buffer->buffer)) isNews = isNews || followsCursor_;
        if (!noteFrame(*buffer->buffer)) {
            pw_stream_queue_buffer(stream_.get(), buffer);
            continue;
        }
        returnNewest();
        newest_ = buffer;
        isRead_ = false;
        isNews = true;
    }
    if (isNews) onChange_();
}

/// Whether the buffer contains a picture. Adds up what it says of its predecessors.
bool ScreenCastStream::noteFrame(const spa_buffer& buffer) {
    // A buffer that never reached us may have been the only one to announce some damage.
    const auto* header = metadataOf<spa_meta_header>(buffer, SPA_META_Header);
    if (header && sequence_ && header->seq != 0 && header->seq != *sequence_ + 1) damage_.addAll();
    sequence_ = header ? std::optional(header->seq) : std::nullopt;
    if (!format_ || !hasPicture(buffer)) return false;
    const PixelRect bounds{0, 0, format_->size.width, format_->size.height};
    const PixelRect crop = cropOf(buffer).value_or(bounds).intersection(bounds);
    map_ = UprightMap(crop.isEmpty() ? bounds : crop, transformOf(buffer));
    addDamage(buffer, damage_);
    return true;
}

void ScreenCastStream::returnNewest() {
    if (newest_) pw_stream_queue_buffer(stream_.get(), newest_);
    newest_ = nullptr;
}

bool ScreenCastStream::readFrame(const std::function<void(const CastFrame&)>& read) {
    if (!newest_ || !format_) return false;
    const spa_data& data = newest_->buffer->datas[0];
    std::optional<DeviceAccess> access;
    if (isDeviceMemory(data)) access.emplace(data);
    const CastPicture picture = pictureIn(data, *format_);
    isRead_ = true;
    if (access && (!access->isGranted() || !picture.pixels)) {
        deviceMemoryFailed();
        return false;
    }
    if (picture.pixels) {
        read({picture, map_, damage_});
        damage_.clear();
    }
    access.reset();
    if (bufferCount_ < fewestToKeepOne) returnNewest();
    return picture.pixels != nullptr;
}

/// Negotiates again, for shared memory only.
void ScreenCastStream::deviceMemoryFailed() {
    log(LogArea::capture, "screen cast: memory of the device cannot be read");
    damage_.addAll();
    returnNewest();
    usesDeviceMemory_ = false;
    offerFormats();
}

}  // namespace lumicrate::pipewire
