#include "Linux/PipeWire/AudioSource.h"

#include "Linux/PipeWire/AudioStream.h"
#include "Linux/PipeWire/GraphWatch.h"
#include "Support/Error.h"

#include <algorithm>
#include <utility>

namespace lumicrate::pipewire {

AudioSource::AudioSource(Kind kind, std::optional<std::string> id, int channels)
    : kind_(kind), id_(std::move(id)), channels_(channels) {}

AudioSource::~AudioSource() = default;

std::unique_ptr<SampleSource> AudioSource::systemSound(int channels) {
    return std::unique_ptr<SampleSource>(new AudioSource(Kind::systemSound, std::nullopt, channels));
}

std::unique_ptr<SampleSource> AudioSource::microphone(std::optional<std::string> id, int channels) {
    return std::unique_ptr<SampleSource>(new AudioSource(Kind::microphone, std::move(id), channels));
}

void AudioSource::start(Handlers handlers) {
    auto session = std::make_unique<Session>();
    auto watch = std::make_unique<GraphWatch>(*session);
    const Graph graph = watch->graph();
    AudioStream::Format format;
    format.channels = channels_;
    if (kind_ == Kind::systemSound) {
        if (graph.outputs.empty()) throw PlatformError(localized("There is no sound output to record."));
        format.fromOutput = true;
    } else {
        if (graph.microphones.empty()) throw PlatformError(localized("No microphone is connected."));
        const bool isConnected = std::ranges::any_of(
            graph.microphones, [&](const CaptureDevice& device) { return device.id == id_; });
        if (isConnected) format.device = id_;
    }
    stream_ = std::make_unique<AudioStream>(std::move(session), std::move(watch), format,
                                            std::move(handlers.onSample));
}

void AudioSource::stop() {
    stream_.reset();
}

void AudioSource::update(const SCStreamConfiguration& /*configuration*/) {}

}  // namespace lumicrate::pipewire
