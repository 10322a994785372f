// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Sound/AudioTrack.h"

#include "Linux/Media/Sound/TrackNames.h"
#include "Support/Log.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace lumicrate::media {

namespace {

/// Sound that may wait to be encoded.
constexpr double maxWaitingSeconds = 2;

std::size_t bytesOf(AudioSampleFormat format) {
    return format == AudioSampleFormat::int16 ? sizeof(std::int16_t) : sizeof(float);
}

double secondsOf(const AudioBufferList& audio) {
    if (!audio.description) return 0;
    const AudioStreamBasicDescription& description = *audio.description;
    std::size_t bytes = 0;
    for (const std::vector<std::byte>& buffer : audio.buffers)
        bytes += buffer.size();
    const double bytesPerSecond = static_cast<double>(bytesOf(description.format)) *
                                  std::max(description.channelsPerFrame, 1) *
                                  std::max(description.sampleRate, 1);
    return static_cast<double>(bytes) / bytesPerSecond;
}

}  // namespace

AudioTrack::AudioTrack(const AVAudioOutputSettings& settings)
    : settings_(settings), converter_(settings.sampleRate, settings.numberOfChannels) {}

void AudioTrack::open(MovieDestination& movie) {
    encoder_ = std::make_unique<AacEncoder>(settings_.sampleRate, settings_.numberOfChannels,
                                            settings_.encoderBitRate);
    movie_ = &movie;
    // System audio is recorded in stereo, microphones in mono.
    const char* name = settings_.numberOfChannels == 2 ? trackname::systemAudio : trackname::microphone;
    track_ = movie.addTrack(
        {encoder_->description(), name, static_cast<std::uint32_t>(settings_.sampleRate), encoder_->leadIn()},
        settings_.encoderBitRate);
}

AudioTimeline& AudioTrack::timelineFrom(CMTime sessionStart) {
    if (!timeline_) timeline_.emplace(sessionStart, settings_.sampleRate);
    return *timeline_;
}

void AudioTrack::encode(const CMSampleBuffer& sample, CMTime sessionStart) {
    if (!sample.audio) return;
    const std::vector<float>& pcm = converter_.convert(*sample.audio);
    const auto channels = static_cast<std::size_t>(settings_.numberOfChannels);
    const auto delay = std::chrono::nanoseconds(std::llround(converter_.delay() * 1e9));
    const CMTime stamp = sample.presentationTimeStamp() - CMTime::from(delay);
    const AudioPlacement placement =
        timelineFrom(sessionStart).place(stamp, static_cast<std::int64_t>(pcm.size() / channels));
    if (placement.silence > 0)
        log(LogArea::audio, "gap in the sound: ", placement.silence, " frames of silence inserted");
    encodeSilence(placement.silence);
    if (placement.take == 0) return;
    placed_.clear();
    appendStretched(pcm.data() + static_cast<std::size_t>(placement.skip) * channels,
                    static_cast<std::size_t>(placement.take), static_cast<std::size_t>(placement.make),
                    settings_.numberOfChannels, placed_);
    encodePcm(placed_);
}

void AudioTrack::finish(CMTime sessionStart, std::optional<MovieEnd> end) {
    if (end) encodeSilence(timelineFrom(sessionStart).padTo(sessionStart + end->time));
    encoder_->finish([this](const MovieSample& coded) { movie_->write(track_, coded); });
    if (end && end->isExplicit) movie_->endTrack(track_, end->time.converted(settings_.sampleRate));
}

double AudioTrack::roomFor(const CMSampleBuffer& sample) const {
    return sample.audio ? secondsOf(*sample.audio) / maxWaitingSeconds : 0;
}

bool AudioTrack::isHeldUp() const {
    return movie_->backlog() >= 1;
}

void AudioTrack::encodeSilence(std::int64_t frames) {
    if (frames <= 0) return;
    // One second at once, to limit memory.
    const auto channels = static_cast<std::size_t>(settings_.numberOfChannels);
    const std::vector<float> second(static_cast<std::size_t>(settings_.sampleRate) * channels, 0);
    while (frames > 0) {
        const std::int64_t now = std::min<std::int64_t>(frames, settings_.sampleRate);
        encodePcm(std::span(second).first(static_cast<std::size_t>(now) * channels));
        frames -= now;
    }
}

void AudioTrack::encodePcm(std::span<const float> interleaved) {
    encoder_->encode(interleaved, [this](const MovieSample& coded) { movie_->write(track_, coded); });
}

}  // namespace lumicrate::media
