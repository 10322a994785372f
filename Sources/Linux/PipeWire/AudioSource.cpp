#include "Linux/PipeWire/AudioSource.h"

#include "Linux/PipeWire/AudioStream.h"
#include "Support/Error.h"

#include <algorithm>
#include <utility>

namespace lumicrate::pipewire {

namespace {

using Obstacle = SoundLosses::Obstacle;

/// Session managers that start anew pass over a stream now and then, and users end one: a stream that stays
/// without sound for so long, although there is a device, is made anew.
constexpr std::chrono::milliseconds stallPatience{2000};

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
    if (!isThereADevice(graph)) {
        throw PlatformError(kind_ == Kind::systemSound ? localized("There is no sound output to record.")
                                                       : localized("No microphone is connected."));
    }
    const auto chosen = std::ranges::find(graph.microphones, id_, &CaptureDevice::id);
    SoundLosses::Track track{kind_ == Kind::microphone, std::nullopt};
    if (kind_ == Kind::microphone && chosen != graph.microphones.end()) track.chosen = chosen->name;
    hadChosen_ = track.chosen.has_value();
    losses_.emplace(std::move(track));
    handlers_ = std::move(handlers);
    makeStream(*connection);
    stream_->awaitSound();
    {
        const std::lock_guard lock(mutex_);
        losses_->expectFrom(HostClock::now());
    }
    lasting_ = std::make_unique<LastingConnection>(
        std::move(connection),
        LastingConnection::Handlers{[this](Connection& current) { return keepUp(current); },
                                    [this] { giveUpStream(); }});
}

void AudioSource::stop() {
    if (!lasting_) return;
    lasting_->end();
    stream_.reset();
    lasting_.reset();
    tellLosses();
}

void AudioSource::update(const SCStreamConfiguration& /*configuration*/) {}

bool AudioSource::isThereADevice(const Graph& graph) const {
    return kind_ == Kind::systemSound ? !graph.outputs.empty() : !graph.microphones.empty();
}

void AudioSource::makeStream(Connection& connection) {
    AudioStream::Format format;
    format.fromOutput = kind_ == Kind::systemSound;
    format.channels = channels_;
    arrival_ = id_ ? connection.watch.arrivalOfMicrophone(*id_) : std::nullopt;
    if (arrival_) format.device = id_;
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
        losses_->heard(from, from + nanoseconds(frames * 1'000'000'000 / AudioStream::sampleRate));
    }
    handlers_.onSample(sample);
}

/// After a change, on the connection's thread: sees to it that the stream is the right one.
std::optional<LastingConnection::Patience> AudioSource::keepUp(Connection& connection) {
    const bool isThere = isThereADevice(connection.watch.graph());
    const auto arrival = id_ ? connection.watch.arrivalOfMicrophone(*id_) : std::nullopt;
    noteDevices(isThere, arrival.has_value());
    // The server moves a stream whose device goes to the default one, but never back.
    const bool isChosenBack = arrival && arrival != arrival_;
    const bool isRight = stream_ && stream_->flows() && !isChosenBack;
    if (!isThere || isRight) {
        stalledSince_.reset();
        return std::nullopt;
    }
    const std::chrono::nanoseconds now = HostClock::now();
    if (!stalledSince_) stalledSince_ = now;
    if (stream_ && !isChosenBack && now - *stalledSince_ < stallPatience) return stallPatience;
    stalledSince_ = now;
    stream_.reset();
    try {
        makeStream(connection);
    } catch (const PlatformError&) {
        // It may not be refused the next time.
    }
    return stallPatience;
}

void AudioSource::noteDevices(bool areThere, bool isChosenThere) {
    const std::lock_guard lock(mutex_);
    losses_->setObstacle(areThere ? Obstacle::none : Obstacle::noDevice);
    losses_->setReplaced(hadChosen_ && areThere && !isChosenThere);
}

/// The server is gone. On the connection's thread.
void AudioSource::giveUpStream() {
    {
        const std::lock_guard lock(mutex_);
        losses_->setObstacle(Obstacle::noServer);
    }
    stream_.reset();
}

void AudioSource::tellLosses() {
    const std::lock_guard lock(mutex_);
    losses_->finish(HostClock::now());
    for (const std::string& sentence : losses_->sentences())
        handlers_.onNotice(sentence);
}

}  // namespace lumicrate::pipewire
