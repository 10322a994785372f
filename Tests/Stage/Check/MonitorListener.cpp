#include "Tests/Stage/Check/MonitorListener.h"

#include <pipewire/pipewire.h>
#include <spa/param/audio/format-utils.h>

#include <cmath>
#include <condition_variable>
#include <mutex>
#include <stdexcept>

namespace lumicrate::stage {

namespace {

constexpr int sampleRate = 48000;
constexpr int pause = sampleRate / 10;
constexpr float threshold = 0.05F;

}  // namespace

struct MonitorListener::Stream {
    void process() {
        pw_buffer* buffer = pw_stream_dequeue_buffer(stream);
        if (buffer == nullptr) return;
        pw_time time{};
        pw_stream_get_time_n(stream, &time, sizeof time);
        const auto& data = buffer->buffer->datas[0];
        const auto* samples = static_cast<const float*>(data.data);
        const std::lock_guard lock(mutex);
        for (std::uint32_t i = 0; i < data.chunk->size / sizeof(float); ++i) {
            ++silent;
            if (std::abs(samples[i]) <= threshold) continue;
            if (silent > pause)
                beginnings.push_back(static_cast<double>(time.now) * 1e-9 +
                                     static_cast<double>(i) / sampleRate);
            silent = 0;
        }
        isHearing = true;
        changed.notify_all();
        pw_stream_queue_buffer(stream, buffer);
    }

    pw_thread_loop* loop = nullptr;
    pw_stream* stream = nullptr;
    pw_stream_events events{};
    mutable std::mutex mutex;
    std::condition_variable changed;
    bool isHearing = false;
    int silent = pause;
    std::vector<double> beginnings;
};

MonitorListener::MonitorListener() : stream_(std::make_unique<Stream>()) {
    pw_init(nullptr, nullptr);
    auto& self = *stream_;
    self.loop = pw_thread_loop_new("listener", nullptr);
    self.events.version = PW_VERSION_STREAM_EVENTS;
    self.events.process = [](void* stream) { static_cast<Stream*>(stream)->process(); };
    self.stream = pw_stream_new_simple(
        pw_thread_loop_get_loop(self.loop), "listener",
        pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Capture",
                          PW_KEY_STREAM_CAPTURE_SINK, "true", PW_KEY_NODE_LATENCY, "512/48000", nullptr),
        &self.events, stream_.get());
    std::uint8_t memory[1024];
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(memory, sizeof memory);
    spa_audio_info_raw info{};
    info.format = SPA_AUDIO_FORMAT_F32;
    info.rate = sampleRate;
    info.channels = 1;
    info.position[0] = SPA_AUDIO_CHANNEL_MONO;
    const spa_pod* parameters[] = {spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &info)};
    pw_stream_connect(self.stream, PW_DIRECTION_INPUT, PW_ID_ANY,
                      static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS |
                                                   PW_STREAM_FLAG_RT_PROCESS),
                      parameters, 1);
    pw_thread_loop_start(self.loop);
    std::unique_lock lock(self.mutex);
    if (!self.changed.wait_for(lock, std::chrono::seconds(20), [&] { return self.isHearing; })) {
        throw std::runtime_error("Nothing is heard");
    }
}

MonitorListener::~MonitorListener() {
    pw_thread_loop_stop(stream_->loop);
    pw_stream_destroy(stream_->stream);
    pw_thread_loop_destroy(stream_->loop);
}

std::vector<double> MonitorListener::soundBeginnings() const {
    const std::lock_guard lock(stream_->mutex);
    return stream_->beginnings;
}

}  // namespace lumicrate::stage
