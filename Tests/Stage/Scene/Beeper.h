// SPDX-License-Identifier: GPL-3.0-or-later
// Beeper: plays tones of 1 kHz on the default output of the sound server, each at a planned instant.
#pragma once

#include "Tests/Stage/Await.h"
#include "Tests/Stage/Scene/Scene.h"

#include <pipewire/pipewire.h>
#include <spa/param/audio/format-utils.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <numbers>
#include <stdexcept>

namespace lumicrate::stage {

class Beeper {
 public:
    static constexpr Nanoseconds toneLength = nanoseconds(0.2);

    /// Returns when the sound server takes sound. Throws std::runtime_error when it does not.
    Beeper() {
        pw_init(nullptr, nullptr);
        loop_ = pw_thread_loop_new("beeper", nullptr);
        events_.version = PW_VERSION_STREAM_EVENTS;
        events_.process = [](void* self) { static_cast<Beeper*>(self)->process(); };
        // Cycles of 11 ms: a busy machine misses shorter ones, and a missed cycle delays the tone.
        auto* properties = pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Playback",
                                             PW_KEY_MEDIA_ROLE, "Test", PW_KEY_NODE_LATENCY, "512/48000",
                                             PW_KEY_NODE_NAME, "lumicrate-beeper", nullptr);
        stream_ = pw_stream_new_simple(pw_thread_loop_get_loop(loop_), "lumicrate-beeper", properties,
                                       &events_, this);
        if (stream_ != nullptr) connect();
        if (stream_ == nullptr || !eventually([this] { return isStreaming(); }))
            throw std::runtime_error("There is no sound server to beep on");
    }
    Beeper(const Beeper&) = delete;
    Beeper& operator=(const Beeper&) = delete;
    ~Beeper() {
        pw_thread_loop_stop(loop_);
        pw_stream_destroy(stream_);
        pw_thread_loop_destroy(loop_);
    }

    /// Plans the next tone, in place of one that has not been played to its end.
    void beep(Nanoseconds start) { toneStart_ = start; }

 private:
    static constexpr int sampleRate = 48000;
    static constexpr int channels = 2;

    void connect() {
        std::uint8_t buffer[1024];
        spa_pod_builder builder = SPA_POD_BUILDER_INIT(buffer, sizeof buffer);
        spa_audio_info_raw info{};
        info.format = SPA_AUDIO_FORMAT_F32;
        info.rate = sampleRate;
        info.channels = channels;
        info.position[0] = SPA_AUDIO_CHANNEL_FL;
        info.position[1] = SPA_AUDIO_CHANNEL_FR;
        const spa_pod* parameters[] = {spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &info)};
        pw_stream_connect(
            stream_, PW_DIRECTION_OUTPUT, PW_ID_ANY,
            static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS |
                                         PW_STREAM_FLAG_RT_PROCESS),
            parameters, 1);
        pw_thread_loop_start(loop_);
    }

    bool isStreaming() {
        pw_thread_loop_lock(loop_);
        const auto state = pw_stream_get_state(stream_, nullptr);
        pw_thread_loop_unlock(loop_);
        return state == PW_STREAM_STATE_STREAMING;
    }

    float sampleFor(Nanoseconds instant) const {
        const Nanoseconds since = instant - toneStart_;
        if (since < 0 || since >= toneLength) return 0;
        return 0.5F * static_cast<float>(std::sin(2 * std::numbers::pi * 1000 * seconds(since)));
    }

    /// Called by the sound server's thread.
    void process() {
        pw_buffer* buffer = pw_stream_dequeue_buffer(stream_);
        if (buffer == nullptr) return;
        auto& data = buffer->buffer->datas[0];
        constexpr std::uint32_t frameBytes = channels * sizeof(float);
        const std::uint64_t room = data.maxsize / frameBytes;
        const std::uint64_t count =
            buffer->requested != 0 ? std::min<std::uint64_t>(buffer->requested, room) : room;

        pw_time time{};
        pw_stream_get_time_n(stream_, &time, sizeof time);
        const double tick = time.rate.denom != 0 ? 1e9 * time.rate.num / time.rate.denom : 0;
        // The stream stays one buffer ahead: what is filled now goes out with the next cycle.
        const auto samplesAhead = static_cast<Nanoseconds>(time.buffered + count);
        const Nanoseconds first = time.now +
                                  static_cast<Nanoseconds>(static_cast<double>(time.delay) * tick) +
                                  samplesAhead * 1'000'000'000 / sampleRate;
        auto* samples = static_cast<float*>(data.data);
        for (std::uint64_t i = 0; i < count; ++i) {
            const float sample = sampleFor(first + static_cast<Nanoseconds>(i) * 1'000'000'000 / sampleRate);
            samples = std::fill_n(samples, channels, sample);
        }
        data.chunk->offset = 0;
        data.chunk->stride = frameBytes;
        data.chunk->size = static_cast<std::uint32_t>(count) * frameBytes;
        pw_stream_queue_buffer(stream_, buffer);
    }

    pw_thread_loop* loop_ = nullptr;
    pw_stream* stream_ = nullptr;
    pw_stream_events events_{};
    std::atomic<Nanoseconds> toneStart_ = 0;
};

}  // namespace lumicrate::stage
