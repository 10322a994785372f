// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/CycleQueue.h"

#include "Support/Error.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

namespace lumicrate::pipewire {

namespace {

/// Of the ring, in bytes, a power of two: more than a second, because a busy machine may run the session's
/// thread late.
constexpr std::uint32_t capacity = 1 << 19;

/// All bytes are equal, and one is 0.
bool isSilent(std::span<const std::byte> sound) {
    return sound[0] == std::byte(0) && std::memcmp(sound.data(), sound.data() + 1, sound.size() - 1) == 0;
}

}  // namespace

struct CycleQueue::Header {
    pw_time time{};
    std::size_t size = 0;  ///< of the sound, in bytes
};

const pw_stream_events CycleQueue::events = [] {
    pw_stream_events handlers{};
    handlers.version = PW_VERSION_STREAM_EVENTS;
    handlers.process = [](void* self) { static_cast<CycleQueue*>(self)->read(); };
    return handlers;
}();

CycleQueue::CycleQueue(Session& session, pw_stream* stream, std::size_t maxSilence, Handler onCycle)
    : session_(session),
      stream_(stream),
      maxSilence_(maxSilence),
      onCycle_(std::move(onCycle)),
      memory_(capacity) {
    pw_loop* const loop = session_.loop();
    const auto woken = [](void* self, std::uint64_t) { static_cast<CycleQueue*>(self)->drain(); };
    wakeUp_ = {pw_loop_add_event(loop, woken, this), {loop}};
    if (!wakeUp_) throw PlatformError(localized("The sound server refuses to be recorded."));
    pw_stream_add_listener(stream_, &listener_, &events, this);
}

void CycleQueue::drain() {
    std::uint32_t index = 0;
    while (spa_ringbuffer_get_read_index(&ring_, &index) > 0) {
        const auto take = [&](void* to, std::size_t size) {
            spa_ringbuffer_read_data(&ring_, memory_.data(), capacity, index % capacity, to,
                                     static_cast<std::uint32_t>(size));
            index += static_cast<std::uint32_t>(size);
        };
        Header header;
        take(&header, sizeof header);
        cycle_.time = header.time;
        cycle_.sound.resize(header.size);
        take(cycle_.sound.data(), header.size);
        spa_ringbuffer_read_update(&ring_, static_cast<std::int32_t>(index));
        onCycle_(cycle_);
    }
}

void CycleQueue::hurry() {
    isHurried_ = true;
    wake();
}

/// On the server's thread.
void CycleQueue::read() {
    pw_time time{};
    pw_stream_get_time_n(stream_, &time, sizeof time);
    while (pw_buffer* buffer = pw_stream_dequeue_buffer(stream_)) {
        const spa_data& data = buffer->buffer->datas[0];
        if (buffer->buffer->n_datas > 0 && data.data && data.chunk) {
            const std::size_t offset = std::min(data.chunk->offset, data.maxsize);
            const std::size_t size = std::min<std::size_t>(data.chunk->size, data.maxsize - offset);
            if (size > 0) add(time, {static_cast<const std::byte*>(data.data) + offset, size});
        }
        pw_stream_queue_buffer(stream_, buffer);
    }
}

/// On the server's thread. Drops the cycle while the ring is full, which the next one's time shows.
void CycleQueue::add(const pw_time& time, std::span<const std::byte> sound) {
    const Header header{time, sound.size()};
    std::uint32_t index = 0;
    const auto used = static_cast<std::size_t>(spa_ringbuffer_get_write_index(&ring_, &index));
    if (used + sizeof header + sound.size() > capacity) return;
    const auto put = [&](const void* from, std::size_t size) {
        spa_ringbuffer_write_data(&ring_, memory_.data(), capacity, index % capacity, from,
                                  static_cast<std::uint32_t>(size));
        index += static_cast<std::uint32_t>(size);
    };
    put(&header, sizeof header);
    put(sound.data(), sound.size());
    spa_ringbuffer_write_update(&ring_, static_cast<std::int32_t>(index));

    waiting_ += sound.size();
    if (!isSilent(sound) || isHurried_ || waiting_ >= maxSilence_) {
        waiting_ = 0;
        wake();
    }
}

void CycleQueue::wake() {
    pw_loop_signal_event(session_.loop(), wakeUp_.get());
}

}  // namespace lumicrate::pipewire
