#include "Tests/Stage/Scene/Beeper.h"

#include <pipewire/pipewire.h>
#include <spa/param/audio/format-utils.h>

#include <atomic>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <numbers>
#include <stdexcept>

namespace lumicrate::stage {

namespace {

constexpr int sampleRate = 48000;
constexpr int channels = 2;
constexpr auto startTimeout = std::chrono::seconds(15);

}  // namespace

struct Beeper::Stream {
    Stream();
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;
    ~Stream();

    void connect();
    void awaitRunning();
    void process();
    void stateChanged(pw_stream_state state, const char* error);
    float sampleFor(Nanoseconds instant) const;

    pw_thread_loop* loop = nullptr;
    pw_stream* stream = nullptr;
    pw_stream_events events{};

    std::mutex mutex;
    std::condition_variable changed;
    bool isRunning = false;
    std::string failure;

    // Read by the sound server's thread, which must not wait. The length is written before the start.
    std::atomic<Nanoseconds> toneStart = 0;
    std::atomic<Nanoseconds> toneLength = 0;
};

Beeper::Stream::Stream() {
    pw_init(nullptr, nullptr);
    loop = pw_thread_loop_new("beeper", nullptr);
    events.version = PW_VERSION_STREAM_EVENTS;
    events.process = [](void* self) { static_cast<Stream*>(self)->process(); };
    events.state_changed = [](void* self, pw_stream_state, pw_stream_state state, const char* error) {
        static_cast<Stream*>(self)->stateChanged(state, error);
    };
    // Cycles of eleven milliseconds: much shorter ones are missed on a busy machine, and a missed cycle
    // delays the tone.
    auto* properties = pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Playback",
                                         PW_KEY_MEDIA_ROLE, "Test", PW_KEY_NODE_LATENCY, "512/48000",
                                         PW_KEY_NODE_NAME, "lumicrate-beeper", nullptr);
    stream =
        pw_stream_new_simple(pw_thread_loop_get_loop(loop), "lumicrate-beeper", properties, &events, this);
    if (stream == nullptr) {
        pw_thread_loop_destroy(loop);
        throw std::runtime_error("There is no sound server to beep on");
    }
    connect();
}

void Beeper::Stream::connect() {
    std::uint8_t buffer[1024];
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(buffer, sizeof buffer);
    spa_audio_info_raw info{};
    info.format = SPA_AUDIO_FORMAT_F32;
    info.rate = sampleRate;
    info.channels = channels;
    info.position[0] = SPA_AUDIO_CHANNEL_FL;
    info.position[1] = SPA_AUDIO_CHANNEL_FR;
    const spa_pod* parameters[] = {spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &info)};
    pw_stream_connect(stream, PW_DIRECTION_OUTPUT, PW_ID_ANY,
                      static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS |
                                                   PW_STREAM_FLAG_RT_PROCESS),
                      parameters, 1);
    pw_thread_loop_start(loop);
}

Beeper::Stream::~Stream() {
    pw_thread_loop_stop(loop);
    pw_stream_destroy(stream);
    pw_thread_loop_destroy(loop);
}

void Beeper::Stream::stateChanged(pw_stream_state state, const char* error) {
    const std::lock_guard lock(mutex);
    isRunning = state == PW_STREAM_STATE_STREAMING;
    if (state == PW_STREAM_STATE_ERROR) failure = error != nullptr ? error : "unknown";
    changed.notify_all();
}

void Beeper::Stream::awaitRunning() {
    std::unique_lock lock(mutex);
    const bool isDecided =
        changed.wait_for(lock, startTimeout, [this] { return isRunning || !failure.empty(); });
    if (!failure.empty()) throw std::runtime_error("The sound server refuses the beeper: " + failure);
    if (!isDecided) throw std::runtime_error("The sound server does not start the beeper");
}

float Beeper::Stream::sampleFor(Nanoseconds instant) const {
    const Nanoseconds since = instant - toneStart.load(std::memory_order_acquire);
    if (since < 0 || since >= toneLength.load(std::memory_order_relaxed)) return 0;
    const double angle = 2 * std::numbers::pi * frequency * static_cast<double>(since) * 1e-9;
    return amplitude * static_cast<float>(std::sin(angle));
}

void Beeper::Stream::process() {
    pw_buffer* buffer = pw_stream_dequeue_buffer(stream);
    if (buffer == nullptr) return;
    auto& data = buffer->buffer->datas[0];
    constexpr std::uint32_t frameBytes = channels * sizeof(float);
    const std::uint64_t room = data.maxsize / frameBytes;
    const std::uint64_t count =
        buffer->requested != 0 ? std::min<std::uint64_t>(buffer->requested, room) : room;

    pw_time time{};
    pw_stream_get_time_n(stream, &time, sizeof time);
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
    pw_stream_queue_buffer(stream, buffer);
}

Beeper::Beeper() : stream_(std::make_unique<Stream>()) {
    stream_->awaitRunning();
}

Beeper::~Beeper() = default;

void Beeper::beep(Nanoseconds start, Nanoseconds length) {
    stream_->toneLength.store(length, std::memory_order_relaxed);
    stream_->toneStart.store(start, std::memory_order_release);
}

}  // namespace lumicrate::stage
