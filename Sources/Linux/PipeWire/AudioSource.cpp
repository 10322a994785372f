// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/AudioSource.h"

#include "Linux/PipeWire/AudioStream.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <algorithm>
#include <utility>

namespace lumicrate::pipewire {

namespace {

using Cause = AudioGapReport::Cause;

/// Restarted session managers sometimes ignore a stream, and users can end one. A stream without sound for
/// this long although a device is connected is created again.
constexpr std::chrono::milliseconds stallTimeout{2000};

}  // namespace

AudioSource::AudioSource(Kind kind, std::optional<std::string> id, int channels)
    : kind_(kind), id_(std::move(id)), channels_(channels) {}

AudioSource::~AudioSource() {
    stop();
}

std::unique_ptr<SampleSource> AudioSource::systemSound(int channels) {
    return std::unique_ptr<SampleSource>(new AudioSource(Kind::systemSound, std::nullopt, channels));
}

std::unique_ptr<SampleSource> AudioSource::microphone(std::optional<std::string> id, int channels) {
    return std::unique_ptr<SampleSource>(new AudioSource(Kind::microphone, std::move(id), channels));
}

void AudioSource::start(Handlers handlers) {
    auto connection = std::make_unique<Connection>();
    const Graph graph = connection->watch.graph();
    if (!hasDevice(graph)) {
        throw PlatformError(kind_ == Kind::systemSound ? localized("There is no sound output to record.")
                                                       : localized("No microphone is connected."));
    }
    const auto chosen = std::ranges::find(graph.microphones, id_, &CaptureDevice::id);
    AudioGapReport::Track track{kind_ == Kind::microphone, std::nullopt};
    if (kind_ == Kind::microphone && chosen != graph.microphones.end()) track.chosen = chosen->name;
    hadChosen_ = track.chosen.has_value();
    gaps_.emplace(std::move(track));
    handlers_ = std::move(handlers);
    createStream(*connection);
    stream_->awaitSound();
    {
        const std::lock_guard lock(mutex_);
        gaps_->expectFrom(HostClock::now());
    }
    connection_ = std::make_unique<ReconnectingConnection>(
        std::move(connection),
        ReconnectingConnection::Handlers{[this](Connection& current) { return checkStream(current); },
                                         [this] { serverLost(); }});
}

void AudioSource::stop() {
    if (!connection_) return;
    connection_->end();
    stream_.reset();
    connection_.reset();
    reportGaps();
}

void AudioSource::update(const SCStreamConfiguration& /*configuration*/) {}

bool AudioSource::hasDevice(const Graph& graph) const {
    return kind_ == Kind::systemSound ? !graph.outputs.empty() : !graph.microphones.empty();
}

void AudioSource::createStream(Connection& connection) {
    AudioStream::Format format;
    format.fromOutput = kind_ == Kind::systemSound;
    format.channels = channels_;
    serial_ = id_ ? connection.watch.microphoneSerial(*id_) : std::nullopt;
    if (serial_) format.device = id_;
    stream_ = std::make_unique<AudioStream>(connection.session, connection.watch, format,
                                            [this](const CMSampleBuffer& sample) { deliver(sample); });
}

/// On the session's thread.
void AudioSource::deliver(const CMSampleBuffer& sample) {
    using std::chrono::nanoseconds;
    const nanoseconds from(sample.presentationTimeStamp().converted(1'000'000'000));
    const auto bytes = static_cast<std::int64_t>(sample.audio->buffers[0].size());
    const std::int64_t frames = bytes / static_cast<std::int64_t>(sizeof(float)) / channels_;
    {
        const std::lock_guard lock(mutex_);
        gaps_->addSound(from, from + nanoseconds(frames * 1'000'000'000 / AudioStream::sampleRate));
    }
    handlers_.onSample(sample);
}

/// Creates the stream again if necessary. After each change, on the connection's thread.
std::optional<ReconnectingConnection::Delay> AudioSource::checkStream(Connection& connection) {
    const bool hasAny = hasDevice(connection.watch.graph());
    const auto serial = id_ ? connection.watch.microphoneSerial(*id_) : std::nullopt;
    noteDevices(hasAny, serial.has_value());
    // The server moves a stream from a disconnected device to the default one, but never back.
    const bool isChosenBack = serial && serial != serial_;
    const bool isRight = stream_ && stream_->isFlowing() && !isChosenBack;
    if (!hasAny || isRight) {
        stalledSince_.reset();
        return std::nullopt;
    }
    const std::chrono::nanoseconds now = HostClock::now();
    if (!stalledSince_) stalledSince_ = now;
    if (stream_ && !isChosenBack && now - *stalledSince_ < stallTimeout) return stallTimeout;
    stalledSince_ = now;
    log(LogArea::audio, isChosenBack ? "the chosen microphone is back" : "stream without sound",
        ": creating it again");
    stream_.reset();
    try {
        createStream(connection);
    } catch (const PlatformError&) {
        // The next attempt may succeed.
    }
    return stallTimeout;
}

void AudioSource::noteDevices(bool hasAny, bool hasChosen) {
    const std::lock_guard lock(mutex_);
    gaps_->setCause(hasAny ? Cause::none : Cause::noDevice);
    gaps_->setReplaced(hadChosen_ && hasAny && !hasChosen);
}

/// On the connection's thread.
void AudioSource::serverLost() {
    {
        const std::lock_guard lock(mutex_);
        gaps_->setCause(Cause::noServer);
    }
    stream_.reset();
}

void AudioSource::reportGaps() {
    const std::lock_guard lock(mutex_);
    gaps_->finish(HostClock::now());
    for (const std::string& sentence : gaps_->sentences())
        handlers_.onNotice(sentence);
}

}  // namespace lumicrate::pipewire
