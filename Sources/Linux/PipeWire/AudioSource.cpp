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
/// From when links are complete until they are used: the cycles in which their first sound arrives.
constexpr std::chrono::milliseconds linkSettling{40};
/// From the end of this program's last stream until the output is recorded again: its last sound is over.
constexpr std::chrono::milliseconds ownSoundTail{100};

}  // namespace

AudioSource::AudioSource(Kind kind, std::optional<std::string> id, const SystemSound& sound)
    : kind_(kind),
      id_(std::move(id)),
      sound_(sound),
      splice_(AudioStream::sampleRate, static_cast<std::size_t>(sound.channels) * sizeof(float),
              [this](const CMSampleBuffer& sample) { deliver(sample); }) {}

AudioSource::~AudioSource() {
    stop();
}

std::unique_ptr<SampleSource> AudioSource::systemSound(const SystemSound& sound) {
    return std::unique_ptr<SampleSource>(new AudioSource(Kind::systemSound, std::nullopt, sound));
}

std::unique_ptr<SampleSource> AudioSource::microphone(std::optional<std::string> id, int channels) {
    return std::unique_ptr<SampleSource>(
        new AudioSource(Kind::microphone, std::move(id), {channels, false, std::nullopt}));
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
    try {
        createStream(*connection);
    } catch (...) {
        dropStreams();  // The connection ends.
        throw;
    }
    stream_->awaitSound();
    {
        const std::lock_guard lock(mutex_);
        gaps_->expectFrom(HostClock::now());
    }
    connection_ = std::make_unique<ReconnectingConnection>(
        std::move(connection),
        ReconnectingConnection::Handlers{[this](Connection& current) { return checkStreams(current); },
                                         [this] { serverLost(); }});
}

void AudioSource::stop() {
    if (!connection_) return;
    connection_->end();
    dropStreams();
    connection_.reset();
    reportGaps();
}

void AudioSource::update(const SCStreamConfiguration& /*configuration*/) {}

bool AudioSource::hasDevice(const Graph& graph) const {
    return kind_ == Kind::systemSound ? !graph.outputs.empty() : !graph.microphones.empty();
}

void AudioSource::createStream(Connection& connection) {
    AudioStream::Format format;
    format.channels = sound_.channels;
    serial_ = id_ ? connection.watch.microphoneSerial(*id_) : std::nullopt;
    if (serial_) format.device = id_;
    if (kind_ == Kind::systemSound) {
        if ((sound_.process || sound_.excludesOwn) && !links_)
            links_ = std::make_unique<PlaybackLinks>(connection.session, connection.watch, sound_.process);
        format.input = sound_.process ? AudioStream::Input::links : AudioStream::Input::output;
        if (sound_.process) format.links = links_.get();
    }
    stream_ = std::make_unique<AudioStream>(
        connection.session, connection.watch, format,
        [this](const CMSampleBuffer& sample) { splice_.add(SoundSplice::Track::first, sample); });
}

void AudioSource::createLinkedStream(Connection& connection) {
    log(LogArea::audio, "this program plays: recording the others by links");
    AudioStream::Format format;
    format.input = AudioStream::Input::links;
    format.channels = sound_.channels;
    format.links = links_.get();
    linkedStream_ =
        std::make_unique<AudioStream>(connection.session, connection.watch, format,
                                      [this](const CMSampleBuffer& sample) { addLinkedSound(sample); });
    linkedSince_ = HostClock::now();
}

void AudioSource::dropStreams() {
    linkedStream_.reset();
    stream_.reset();
    links_.reset();
}

/// On the session's thread.
void AudioSource::addLinkedSound(const CMSampleBuffer& sample) {
    using std::chrono::nanoseconds;
    const nanoseconds from(sample.presentationTimeStamp().converted(1'000'000'000));
    if (links_->hasOwnStream() && links_->isComplete())
        splice_.use(SoundSplice::Track::second, from + linkSettling);
    splice_.add(SoundSplice::Track::second, sample);
}

/// Keeps the sound of this program out of the system's. After each change, on the connection's thread.
std::optional<ReconnectingConnection::Delay> AudioSource::checkOwnSound(Connection& connection) {
    if (!links_) return std::nullopt;
    const auto now = HostClock::now();
    const bool isStalled = linkedStream_ && !linkedStream_->isFlowing() && now - linkedSince_ > stallTimeout;
    bool plays = false;
    bool isUsed = false;
    {
        const Session::Lock lock(connection.session);
        links_->update();
        plays = links_->hasOwnStream();
        if (isStalled) splice_.use(SoundSplice::Track::first, now);
        if (!plays) splice_.use(SoundSplice::Track::first, now + ownSoundTail);
        isUsed = splice_.isChanging() || splice_.target() == SoundSplice::Track::second;
    }
    if (sound_.process) return std::nullopt;
    if (isStalled || (linkedStream_ && !plays && !isUsed)) linkedStream_.reset();
    if (plays && !linkedStream_) createLinkedStream(connection);
    return linkedStream_ ? std::optional(stallTimeout) : std::nullopt;
}

/// On the session's thread.
void AudioSource::deliver(const CMSampleBuffer& sample) {
    using std::chrono::nanoseconds;
    const nanoseconds from(sample.presentationTimeStamp().converted(1'000'000'000));
    const auto bytes = static_cast<std::int64_t>(sample.audio->buffers[0].size());
    const std::int64_t frames = bytes / static_cast<std::int64_t>(sizeof(float)) / sound_.channels;
    {
        const std::lock_guard lock(mutex_);
        gaps_->addSound(from, from + nanoseconds(frames * 1'000'000'000 / AudioStream::sampleRate));
    }
    handlers_.onSample(sample);
}

/// After each change, on the connection's thread.
std::optional<ReconnectingConnection::Delay> AudioSource::checkStreams(Connection& connection) {
    try {
        const auto again = checkStream(connection);
        const auto againForOwn = checkOwnSound(connection);
        return again && againForOwn ? std::min(*again, *againForOwn) : again ? again : againForOwn;
    } catch (const PlatformError&) {
        return stallTimeout;  // The next attempt may succeed.
    }
}

/// Creates the stream again if necessary.
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
    createStream(connection);
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
    dropStreams();
    splice_.use(SoundSplice::Track::first, HostClock::now());
}

void AudioSource::reportGaps() {
    const std::lock_guard lock(mutex_);
    gaps_->finish(HostClock::now());
    for (const std::string& sentence : gaps_->sentences())
        handlers_.onNotice(sentence);
}

}  // namespace lumicrate::pipewire
