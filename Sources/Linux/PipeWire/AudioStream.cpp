#include "Linux/PipeWire/AudioStream.h"

#include "Support/Error.h"

#include <spa/node/io.h>
#include <spa/param/audio/format-utils.h>
#include <spa/pod/builder.h>

#include <algorithm>
#include <array>
#include <span>
#include <utility>

namespace lumicrate::pipewire {

namespace {

/// What the server is asked to give at a time: short enough that little is missing when a recording ends,
/// long enough not to wake the machine often.
constexpr std::int64_t cycleFrames = 1024;
constexpr const char* cycleLatency = "1024/48000";
constexpr std::chrono::milliseconds startPatience{1000};
constexpr std::chrono::milliseconds endPatience{100};
/// A change of delay that is not left to the smoother.
constexpr std::chrono::milliseconds noticeableDelay{5};
/// How often the buffers are looked through again because new sound arrived meanwhile.
constexpr int greatestAttempts = 4;

pw_properties* propertiesOf(const AudioStream::Format& format) {
    pw_properties* properties =
        pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_APP_NAME,
                          "Lumicrate", PW_KEY_NODE_LATENCY, cycleLatency,
                          // The same sound in two channels keeps its level in one, instead of clipping.
                          "channelmix.normalize", "true", nullptr);
    // Session managers remember volume and device of a stream by its media.role, which all applications
    // share, or else by its application.id. Without a role, and with an id for each of the two, nobody else's
    // settings are taken over and a microphone never becomes the system's sound.
    if (format.fromOutput) {
        pw_properties_set(properties, PW_KEY_NODE_NAME, "lumicrate-system-sound");
        pw_properties_set(properties, PW_KEY_APP_ID, "lumicrate.system-sound");
        pw_properties_set(properties, PW_KEY_STREAM_CAPTURE_SINK, "true");
    } else {
        pw_properties_set(properties, PW_KEY_NODE_NAME, "lumicrate-microphone");
        pw_properties_set(properties, PW_KEY_APP_ID, "lumicrate.microphone");
    }
    if (format.device) pw_properties_set(properties, PW_KEY_TARGET_OBJECT, format.device->c_str());
    return properties;
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
    handlers.state_changed = &AudioStream::onStateChanged;
    handlers.io_changed = &AudioStream::onIoChanged;
    handlers.process = &AudioStream::onProcess;
    return handlers;
}();

AudioStream::AudioStream(Session& session, const GraphWatch& watch, const Format& format,
                         SampleSource::SampleHandler onSample)
    : format_(format), onSample_(std::move(onSample)), session_(session), watch_(watch) {
    const Session::Lock lock(session_);
    try {
        connect();
    } catch (...) {
        stream_.reset();
        throw;
    }
}

void AudioStream::awaitSound() const {
    const Session::Lock lock(session_);
    session_.await([&] { return isStreaming() || state_ == PW_STREAM_STATE_ERROR; }, startPatience);
}

bool AudioStream::flows() const {
    const Session::Lock lock(session_);
    return isStreaming();
}

void AudioStream::connect() {
    const char* name = format_.fromOutput ? "System sound" : "Microphone";
    stream_.reset(pw_stream_new(session_.core(), name, propertiesOf(format_)));
    std::array<std::byte, 1024> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), memory.size());
    spa_audio_info_raw info = audioInfo(format_.channels);
    const spa_pod* parameters[] = {spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &info)};
    // The callbacks come on the session's thread, not on the server's real-time one: they allocate.
    constexpr auto flags =
        static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS);
    if (stream_) pw_stream_add_listener(stream_.get(), &listener_, &events, this);
    if (!stream_ || pw_stream_connect(stream_.get(), PW_DIRECTION_INPUT, PW_ID_ANY, flags, parameters, 1) < 0)
        throw PlatformError(localized("The sound server refuses to be recorded."));
}

AudioStream::~AudioStream() {
    const Session::Lock lock(session_);
    const Nanoseconds end = HostClock::now();
    session_.await([&] { return deliveredUntil_ >= end || !isStreaming(); }, endPatience);
    stream_.reset();
}

void AudioStream::onStateChanged(void* self, pw_stream_state /*old*/, pw_stream_state state,
                                 const char* /*error*/) {
    auto& stream = *static_cast<AudioStream*>(self);
    stream.state_ = state;
    // Whatever made it pause, the next sound does not follow on the last.
    if (state == PW_STREAM_STATE_STREAMING) stream.noteJump();
    stream.session_.noteChange();
    stream.session_.signal();
}

void AudioStream::onIoChanged(void* self, std::uint32_t id, void* area, std::uint32_t size) {
    if (id != SPA_IO_Position) return;
    auto& stream = *static_cast<AudioStream*>(self);
    const auto before = std::exchange(stream.driverNumber_, std::nullopt);
    if (area && size >= sizeof(spa_io_position))
        stream.driverNumber_ = static_cast<const spa_io_position*>(area)->clock.id;
    // Each driver counts from a beginning of its own.
    if (stream.driverNumber_ != before) stream.noteJump();
}

void AudioStream::onProcess(void* self) {
    static_cast<AudioStream*>(self)->deliver();
}

void AudioStream::deliver() {
    // The times told belong to the newest buffer only if no further one arrives between looking at both.
    pw_time time{};
    pw_time timeAfter{};
    pw_stream_get_time_n(stream_.get(), &timeAfter, sizeof timeAfter);
    for (int attempt = 0; attempt < greatestAttempts; ++attempt) {
        time = timeAfter;
        takeBuffers();
        pw_stream_get_time_n(stream_.get(), &timeAfter, sizeof timeAfter);
        if (timeAfter.ticks == time.ticks) break;
    }
    if (taken_.empty()) return;
    if (isOthersSound()) {
        taken_.clear();
        noteJump();
        return;
    }

    const std::int64_t frames = framesIn(taken_.size());
    const std::int64_t older = frames - framesIn(newestBufferSize_);
    const Nanoseconds reported = reportedTime(time) - durationOf(older, sampleRate);
    const bool lost = lostSoundBefore(frames, time);
    const bool moved = pathChanged(time);
    if (lost || moved) smoother_.noteJump();
    const auto stamp = smoother_.stamp(reported, frames);
    if (stamp) handOn(*stamp);
    taken_.clear();
}

/// A busy machine gives several cycles at once. They go on in pieces no longer than a cycle, because whoever
/// ends a recording within them leaves out what begins later, and nothing less.
void AudioStream::handOn(Nanoseconds stamp) {
    const std::span<const std::byte> sound(taken_);
    const std::size_t longest = static_cast<std::size_t>(cycleFrames) * frameSize();
    for (std::size_t from = 0; from < sound.size(); from += longest) {
        const auto piece = sound.subspan(from, std::min(longest, sound.size() - from));
        CMSampleBuffer sample;
        sample.timing.duration = CMTime(1, sampleRate);
        sample.timing.presentationTimeStamp = CMTime::from(stamp + durationOf(framesIn(from), sampleRate));
        sample.audio = std::make_shared<AudioBufferList>();
        sample.audio->description = {sampleRate, format_.channels, AudioSampleFormat::float32};
        sample.audio->buffers.emplace_back(piece.begin(), piece.end());
        onSample_(sample);
    }
    deliveredUntil_ = stamp + durationOf(framesIn(sound.size()), sampleRate);
    session_.signal();
}

void AudioStream::takeBuffers() {
    while (pw_buffer* buffer = pw_stream_dequeue_buffer(stream_.get())) {
        const spa_data& data = buffer->buffer->datas[0];
        if (buffer->buffer->n_datas > 0 && data.data && data.chunk) {
            const std::size_t offset = std::min(data.chunk->offset, data.maxsize);
            const std::size_t size = std::min<std::size_t>(data.chunk->size, data.maxsize - offset);
            const auto* begin = static_cast<const std::byte*>(data.data) + offset;
            const std::size_t whole = size / frameSize() * frameSize();
            if (whole > 0) newestBufferSize_ = whole;
            taken_.insert(taken_.end(), begin, begin + whole);
        }
        pw_stream_queue_buffer(stream_.get(), buffer);
    }
}

void AudioStream::noteJump() {
    lastTicks_.reset();
    smoother_.noteJump();
}

/// What an output plays is never to be taken for what a microphone hears.
bool AudioStream::isOthersSound() const {
    return !format_.fromOutput && watch_.hearsAnOutputUnasked(pw_stream_get_node_id(stream_.get()));
}

/// Whether the server counted on by clearly more than the frames that came: a busy machine misses cycles.
bool AudioStream::lostSoundBefore(std::int64_t frames, const pw_time& time) {
    const auto before = std::exchange(lastTicks_, time.ticks);
    if (!before || time.rate.denom == 0) return false;
    const auto counted = static_cast<std::int64_t>(time.ticks - *before);
    const Nanoseconds passed = durationOf(counted * time.rate.num, time.rate.denom);
    const Nanoseconds cycle = durationOf(framesIn(newestBufferSize_), sampleRate);
    return passed > durationOf(frames, sampleRate) + cycle / 2;
}

/// Most outputs are; one that only leads to others (an equalizer, say) is not.
bool AudioStream::isOutputADriver() const {
    const auto output = watch_.defaultOutputNumber();
    return !output || !driverNumber_ || *output == *driverNumber_;
}

AudioStream::Path AudioStream::pathAt(const pw_time& time) const {
    if (time.rate.denom == 0) return {};
    return {durationOf(time.delay * time.rate.num, time.rate.denom), isOutputADriver()};
}

/// Whether another device, or another setting of it, has made the way clearly longer or shorter.
bool AudioStream::pathChanged(const pw_time& time) {
    const Path path = pathAt(time);
    const auto before = std::exchange(lastPath_, path);
    return before && (path.outputDrives != before->outputDrives ||
                      std::chrono::abs(path.delay - before->delay) > noticeableDelay);
}

/// When the first frame of the newest buffer was heard, or will be.
AudioStream::Nanoseconds AudioStream::reportedTime(const pw_time& time) const {
    // One cycle of the server brings one buffer.
    const Nanoseconds cycle = durationOf(framesIn(newestBufferSize_), sampleRate);
    if (time.now == 0 || time.rate.denom == 0) return HostClock::now() - cycle;
    const Path path = pathAt(time);
    const Nanoseconds inConverter = durationOf(static_cast<std::int64_t>(time.buffered), sampleRate);
    const Nanoseconds caught = Nanoseconds(time.now) - inConverter;
    // A monitor's delay is its output's: how long from there until it is heard. The output that drives the
    // cycle works last in it, so that its monitor shows what it took in the cycle before.
    if (format_.fromOutput) return caught + path.delay - (path.outputDrives ? cycle : Nanoseconds(0));
    // A microphone's delay is how long its sound was under way. Virtual ones leave out that the first frame
    // of a buffer can only have been heard a whole buffer ago.
    return caught - std::max(path.delay, cycle);
}

}  // namespace lumicrate::pipewire
