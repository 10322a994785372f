// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/AudioStream.h"

#include "Linux/PipeWire/PlaybackLinks.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <spa/node/io.h>
#include <spa/param/audio/format-utils.h>
#include <spa/pod/builder.h>

#include <algorithm>
#include <array>
#include <span>
#include <utility>

namespace lumicrate::pipewire {

namespace {

/// The requested length of the server's cycles: the machine wakes for each of them.
constexpr const char* cycleLength = "2048/48000";
/// Shorter for links, because a stream that begins is recorded from its second cycle on.
constexpr const char* linkedCycleLength = "1024/48000";
/// In frames. A recording that ends within a piece drops it whole.
constexpr std::int64_t maxPiece = 1024;
/// In frames. Silence is delivered this much later than sound.
constexpr std::int64_t maxSilence = 4096;
constexpr const char* linkedNodeName = "lumicrate-linked-sound";
constexpr std::chrono::milliseconds startTimeout{1000};
constexpr std::chrono::milliseconds endTimeout{100};
/// A larger change of delay counts as a jump; smaller ones are smoothed.
constexpr std::chrono::milliseconds maxSmoothedDelay{5};

pw_properties* propertiesOf(const AudioStream::Format& format) {
    pw_properties* properties = pw_properties_new(
        PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_APP_NAME, "Lumicrate",
        PW_KEY_NODE_LATENCY, format.input == AudioStream::Input::links ? linkedCycleLength : cycleLength,
        // Equal sound in both channels keeps its level when mixed to one, instead of clipping.
        "channelmix.normalize", "true", nullptr);
    // Session managers restore a stream's volume and device by its media.role, which applications share, or
    // else by its application.id. With separate ids and no role, the settings of other applications are not
    // applied to it, nor those of the system sound to the microphone.
    switch (format.input) {
        case AudioStream::Input::microphone:
            pw_properties_set(properties, PW_KEY_NODE_NAME, "lumicrate-microphone");
            pw_properties_set(properties, PW_KEY_APP_ID, "lumicrate.microphone");
            break;
        case AudioStream::Input::output:
            pw_properties_set(properties, PW_KEY_NODE_NAME, "lumicrate-system-sound");
            pw_properties_set(properties, PW_KEY_APP_ID, "lumicrate.system-sound");
            pw_properties_set(properties, PW_KEY_STREAM_CAPTURE_SINK, "true");
            break;
        case AudioStream::Input::links:
            pw_properties_set(properties, PW_KEY_NODE_NAME, linkedNodeName);
            // Of no class that session managers handle: they would link the node and set its volume.
            pw_properties_set(properties, PW_KEY_MEDIA_CLASS, "Lumicrate/Recorder");
            // The ports that session managers set up otherwise.
            pw_properties_set(properties, "adapter.auto-port-config", "{ mode = dsp }");
            // Also without links: then it records silence.
            pw_properties_set(properties, PW_KEY_NODE_ALWAYS_PROCESS, "true");
            break;
    }
    if (format.device) pw_properties_set(properties, PW_KEY_TARGET_OBJECT, format.device->c_str());
    return properties;
}

const char* nameOf(AudioStream::Input input) {
    switch (input) {
        case AudioStream::Input::microphone:
            return "Microphone";
        case AudioStream::Input::output:
            return "System sound";
        case AudioStream::Input::links:
            break;
    }
    return "Linked sound";
}

spa_audio_info_raw audioInfo(int channels) {
    spa_audio_info_raw info{};
    info.format = SPA_AUDIO_FORMAT_F32;
    info.rate = AudioStream::sampleRate;
    info.channels = static_cast<std::uint32_t>(channels);
    if (channels == 1) {
        info.position[0] = SPA_AUDIO_CHANNEL_MONO;
    } else {
        info.position[0] = SPA_AUDIO_CHANNEL_FL;
        info.position[1] = SPA_AUDIO_CHANNEL_FR;
    }
    return info;
}

std::chrono::nanoseconds durationOf(std::int64_t units, std::int64_t perSecond) {
    return std::chrono::nanoseconds(units * 1'000'000'000 / perSecond);
}

}  // namespace

const pw_stream_events AudioStream::events = [] {
    pw_stream_events handlers{};
    handlers.version = PW_VERSION_STREAM_EVENTS;
    handlers.state_changed = [](void* self, pw_stream_state, pw_stream_state state, const char*) {
        static_cast<AudioStream*>(self)->stateChanged(state);
    };
    handlers.io_changed = [](void* self, std::uint32_t id, void* area, std::uint32_t size) {
        const bool isWhole = size >= sizeof(spa_io_position);
        if (id == SPA_IO_Position)
            static_cast<AudioStream*>(self)->positionChanged(
                isWhole ? static_cast<const spa_io_position*>(area) : nullptr);
    };
    return handlers;
}();

AudioStream::AudioStream(Session& session, const GraphWatch& watch, const Format& format,
                         SampleSource::SampleHandler onSample)
    : format_(format), onSample_(std::move(onSample)), session_(session), watch_(watch) {
    const Session::Lock lock(session_);
    try {
        connect();
        if (format_.links) format_.links->record(this);
    } catch (...) {
        destroyStream();
        throw;
    }
}

void AudioStream::awaitSound() const {
    const Session::Lock lock(session_);
    session_.await([&] { return isStreaming() || state_ == PW_STREAM_STATE_ERROR; }, startTimeout);
}

bool AudioStream::isFlowing() const {
    const Session::Lock lock(session_);
    return isStreaming();
}

std::optional<std::uint32_t> AudioStream::node() const {
    const std::uint32_t number = pw_stream_get_node_id(stream_.get());
    return number == PW_ID_ANY ? std::nullopt : std::optional(number);
}

void AudioStream::connect() {
    stream_.reset(pw_stream_new(session_.core(), nameOf(format_.input), propertiesOf(format_)));
    std::array<std::byte, 1024> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), memory.size());
    spa_audio_info_raw info = audioInfo(format_.channels);
    const spa_pod* parameters[] = {spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &info)};
    const auto flags =
        static_cast<pw_stream_flags>(PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_RT_PROCESS |
                                     (format_.input == Input::links ? 0 : PW_STREAM_FLAG_AUTOCONNECT));
    if (stream_) {
        pw_stream_add_listener(stream_.get(), &listener_, &events, this);
        cycles_ = std::make_unique<CycleQueue>(session_, stream_.get(), bytesOf(maxSilence),
                                               [this](const CycleQueue::Cycle& cycle) { deliver(cycle); });
    }
    if (!stream_ || pw_stream_connect(stream_.get(), PW_DIRECTION_INPUT, PW_ID_ANY, flags, parameters, 1) < 0)
        throw PlatformError(localized("The sound server refuses to be recorded."));
    log(LogArea::audio, nameOf(format_.input), ": ", format_.channels, " channels of 32-bit float at ",
        sampleRate, " Hz", format_.device ? ", a chosen device" : "");
}

AudioStream::~AudioStream() {
    const Session::Lock lock(session_);
    const Nanoseconds end = HostClock::now();
    cycles_->hurry();
    session_.await([&] { return deliveredUntil_ >= end || !isStreaming(); }, endTimeout);
    if (format_.links) format_.links->record(nullptr);
    destroyStream();
}

void AudioStream::destroyStream() {
    // The end of a stream is announced to its listeners.
    spa_hook_remove(&listener_);
    stream_.reset();
    cycles_.reset();
}

void AudioStream::stateChanged(pw_stream_state state) {
    state_ = state;
    log(LogArea::audio, nameOf(format_.input), ": ", pw_stream_state_as_string(state));
    if (state_ == PW_STREAM_STATE_PAUSED) cycles_->drain();
    // After a pause, sound does not continue where it ended.
    if (isStreaming()) noteJump();
    session_.noteChange();
    session_.signal();
}

void AudioStream::positionChanged(const spa_io_position* position) {
    cycles_->drain();
    const auto before = std::exchange(driverNode_, std::nullopt);
    if (position) driverNode_ = position->clock.id;
    // Each driver has its own frame counter.
    if (driverNode_ != before) noteJump();
}

void AudioStream::deliver(const CycleQueue::Cycle& cycle) {
    if (isUnwanted()) return noteJump();

    const std::span<const std::byte> sound(cycle.sound);
    const std::int64_t frames = framesIn(sound.size());
    const Nanoseconds reported = reportedTime(cycle.time, frames);
    const bool skipped = skippedCycles(cycle.time, frames);
    const bool moved = pathChanged(cycle.time);
    if (skipped || moved) smoother_.noteJump();
    if (skipped) log(LogArea::audio, "sound lost: the server skipped cycles");
    if (moved) log(LogArea::audio, "the stream's delay changed: another device or setting");
    for (std::int64_t from = 0; from < frames; from += maxPiece) {
        const std::int64_t length = std::min(maxPiece, frames - from);
        const auto timestamp = smoother_.stamp(reported + durationOf(from, sampleRate), length);
        if (timestamp) deliverPiece(*timestamp, sound.subspan(bytesOf(from), bytesOf(length)));
    }
    session_.signal();
}

void AudioStream::deliverPiece(Nanoseconds timestamp, std::span<const std::byte> sound) {
    CMSampleBuffer sample;
    sample.timing.duration = CMTime(1, sampleRate);
    sample.timing.presentationTimeStamp = CMTime::from(timestamp);
    sample.audio = std::make_shared<AudioBufferList>();
    sample.audio->description = {sampleRate, format_.channels, AudioSampleFormat::float32};
    sample.audio->buffers.emplace_back(sound.begin(), sound.end());
    onSample_(sample);
    deliveredUntil_ = timestamp + durationOf(framesIn(sound.size()), sampleRate);
}

void AudioStream::noteJump() {
    lastTicks_.reset();
    smoother_.noteJump();
}

/// Sound of an output must never be recorded as a microphone's by accident, and the silence of a stream
/// without links is missing sound while there is no output.
bool AudioStream::isUnwanted() const {
    switch (format_.input) {
        case Input::microphone:
            return watch_.isLinkedToOutputByFallback(pw_stream_get_node_id(stream_.get()));
        case Input::links:
            return !watch_.hasOutput();
        case Input::output:
            break;
    }
    return false;
}

/// Whether the server's counter advanced by clearly more than the received frames: a busy machine misses
/// cycles.
bool AudioStream::skippedCycles(const pw_time& time, std::int64_t frames) {
    const auto before = std::exchange(lastTicks_, time.ticks);
    if (!before || time.rate.denom == 0) return false;
    const auto advance = static_cast<std::int64_t>(time.ticks - *before);
    const Nanoseconds passed = durationOf(advance * time.rate.num, time.rate.denom);
    return passed > durationOf(frames, sampleRate) * 3 / 2;
}

/// Most outputs drive the cycles; one that feeds other outputs (an equalizer) does not.
bool AudioStream::isOutputADriver() const {
    const auto output = watch_.defaultOutputNode();
    return !output || !driverNode_ || *output == *driverNode_;
}

AudioStream::Path AudioStream::pathAt(const pw_time& time) const {
    if (time.rate.denom == 0) return {};
    return {durationOf(time.delay * time.rate.num, time.rate.denom), isOutputADriver()};
}

/// Whether another device, or another setting of it, changed the delay clearly.
bool AudioStream::pathChanged(const pw_time& time) {
    const Path path = pathAt(time);
    const auto before = std::exchange(lastPath_, path);
    return before && (path.outputDrives != before->outputDrives ||
                      std::chrono::abs(path.delay - before->delay) > maxSmoothedDelay);
}

AudioStream::Nanoseconds AudioStream::playbackDelay(Nanoseconds cycle) const {
    // As the server reports it for a monitor.
    const double cycles = (playbackDelay_.min_quantum + playbackDelay_.max_quantum) / 2;
    return std::chrono::duration_cast<Nanoseconds>(cycle * cycles) +
           durationOf((playbackDelay_.min_rate + playbackDelay_.max_rate) / 2, sampleRate) +
           Nanoseconds((playbackDelay_.min_ns + playbackDelay_.max_ns) / 2);
}

/// When the first frame of a cycle was, or will be, audible at the device.
AudioStream::Nanoseconds AudioStream::reportedTime(const pw_time& time, std::int64_t frames) const {
    const Nanoseconds cycle = durationOf(frames, sampleRate);
    if (time.now == 0 || time.rate.denom == 0) return HostClock::now() - cycle;
    const Path path = pathAt(time);
    const Nanoseconds inConverter = durationOf(static_cast<std::int64_t>(time.buffered), sampleRate);
    const Nanoseconds received = Nanoseconds(time.now) - inConverter;
    // The output receives the same sound in the same cycle.
    if (format_.input == Input::links) return received + playbackDelay(cycle);
    // A monitor's delay is its output's: the time from there until it is audible. The output that drives the
    // cycle runs last in it, so its monitor contains the sound of the previous cycle.
    if (format_.input == Input::output)
        return received + path.delay - (path.outputDrives ? cycle : Nanoseconds(0));
    // A microphone's delay is the time since its sound was captured. Virtual microphones report less than one
    // buffer, although the first frame of a buffer is at least one buffer old.
    return received - std::max(path.delay, cycle);
}

}  // namespace lumicrate::pipewire
