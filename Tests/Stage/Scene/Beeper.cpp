#include "Tests/Stage/Scene/Beeper.h"

#include <spa/param/audio/format-utils.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <stdexcept>

namespace lumicrate::stage {

namespace {

constexpr int sampleRate = 48000;
constexpr int channels = 2;
constexpr double frequency = 1000;
constexpr float amplitude = 0.5F;

}  // namespace

Beeper::Beeper() {
    pw_init(nullptr, nullptr);
    loop_ = pw_thread_loop_new("beeper", nullptr);
    events_.version = PW_VERSION_STREAM_EVENTS;
    events_.process = [](void* self) { static_cast<Beeper*>(self)->process(); };
    events_.state_changed = [](void* self, pw_stream_state, pw_stream_state state, const char* error) {
        static_cast<Beeper*>(self)->stateChanged(state, error);
    };
    // Cycles of 11 ms: a busy machine misses shorter ones, and a missed cycle delays the tone.
    auto* properties = pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Playback",
                                         PW_KEY_MEDIA_ROLE, "Test", PW_KEY_NODE_LATENCY, "512/48000",
                                         PW_KEY_NODE_NAME, "lumicrate-beeper", nullptr);
    stream_ =
        pw_stream_new_simple(pw_thread_loop_get_loop(loop_), "lumicrate-beeper", properties, &events_, this);
    if (stream_ == nullptr) {
        pw_thread_loop_destroy(loop_);
        throw std::runtime_error("There is no sound server to beep on");
    }
    connect();
}

void Beeper::connect() {
    std::uint8_t buffer[1024];
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(buffer, sizeof buffer);
    spa_audio_info_raw info{};
    info.format = SPA_AUDIO_FORMAT_F32;
    info.rate = sampleRate;
    info.channels = channels;
    info.position[0] = SPA_AUDIO_CHANNEL_FL;
    info.position[1] = SPA_AUDIO_CHANNEL_FR;
    const spa_pod* parameters[] = {spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &info)};
    pw_stream_connect(stream_, PW_DIRECTION_OUTPUT, PW_ID_ANY,
                      static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS |
                                                   PW_STREAM_FLAG_RT_PROCESS),
                      parameters, 1);
    pw_thread_loop_start(loop_);
}

Beeper::~Beeper() {
    pw_thread_loop_stop(loop_);
    pw_stream_destroy(stream_);
    pw_thread_loop_destroy(loop_);
}

void Beeper::stateChanged(pw_stream_state state, const char* error) {
    const std::lock_guard lock(mutex_);
    isRunning_ = state == PW_STREAM_STATE_STREAMING;
    if (state == PW_STREAM_STATE_ERROR) failure_ = error != nullptr ? error : "unknown";
    changed_.notify_all();
}

void Beeper::awaitRunning() {
    std::unique_lock lock(mutex_);
    const bool isDecided =
        changed_.wait_for(lock, std::chrono::seconds(15), [this] { return isRunning_ || !failure_.empty(); });
    if (!failure_.empty()) throw std::runtime_error("The sound server refuses the beeper: " + failure_);
    if (!isDecided) throw std::runtime_error("The sound server does not start the beeper");
}

float Beeper::sampleFor(Nanoseconds instant) const {
    const Nanoseconds since = instant - toneStart_.load(std::memory_order_acquire);
    if (since < 0 || since >= toneLength_.load(std::memory_order_relaxed)) return 0;
    const double angle = 2 * std::numbers::pi * frequency * static_cast<double>(since) * 1e-9;
    return amplitude * static_cast<float>(std::sin(angle));
}

void Beeper::process() {
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
    const Nanoseconds first = time.now + static_cast<Nanoseconds>(static_cast<double>(time.delay) * tick) +
                              samplesAhead * 1'000'000'000 / sampleRate;
    auto* samples = static_cast<float*>(data.data);
    for (std::uint64_t i = 0; i < count; ++i) {
        const float sample = sampleFor(first + static_cast<Nanoseconds>(i) * 1'000'000'000 / sampleRate);
        for (int channel = 0; channel < channels; ++channel) {
            *samples++ = sample;
        }
    }
    data.chunk->offset = 0;
    data.chunk->stride = frameBytes;
    data.chunk->size = static_cast<std::uint32_t>(count) * frameBytes;
    pw_stream_queue_buffer(stream_, buffer);
}

void Beeper::beep(Nanoseconds start, Nanoseconds length) {
    toneLength_.store(length, std::memory_order_relaxed);
    toneStart_.store(start, std::memory_order_release);
}

}  // namespace lumicrate::stage
