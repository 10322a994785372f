// A sound source that records, what it recorded (a Take), and the tones in it.
#pragma once

#include "Platform/SampleSource.h"
#include "Support/Error.h"
#include "Tests/Linux/PipeWire/Player.h"
#include "Tests/Stage/Measure.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate::test {

struct Take {
    struct Buffer {
        std::chrono::nanoseconds stamp;
        std::size_t firstFrame;  ///< counted from the first one delivered
        std::size_t frames;

        std::chrono::nanoseconds end() const {
            return stamp + std::chrono::nanoseconds(frames * 1'000'000'000 / 48000);
        }
    };

    bool wellFormed = true;  ///< as far as a sample's description goes
    std::vector<Buffer> buffers;
    std::vector<std::vector<float>> channels;

    /// The host time of a frame.
    std::chrono::nanoseconds timeOf(std::size_t frame) const {
        const Buffer& buffer = *std::prev(std::ranges::upper_bound(buffers, frame, {}, &Buffer::firstFrame));
        return buffer.stamp + std::chrono::nanoseconds((frame - buffer.firstFrame) * 1'000'000'000 / 48000);
    }
    /// The first frame at or after a host time.
    std::size_t frameAt(std::chrono::nanoseconds time) const {
        for (const Buffer& each : buffers) {
            if (time >= each.end()) continue;
            const auto into = std::max(time - each.stamp, std::chrono::nanoseconds(0));
            return each.firstFrame + static_cast<std::size_t>(into.count() * 48000 / 1'000'000'000);
        }
        return channels.empty() ? 0 : channels[0].size();
    }
};

/// Records from construction on. Filled on the source's thread, read on the test's.
class Running {
 public:
    explicit Running(std::unique_ptr<SampleSource> source) : source_(std::move(source)) {
        source_->start({[this](const CMSampleBuffer& sample) { add(sample); },
                        [this](const std::exception_ptr&) { failed_ = true; },
                        [this](std::string sentence) { notices_.push_back(std::move(sentence)); }});
    }

    /// Waits until sound from after that host time has arrived; false after twenty seconds.
    bool awaitUntil(std::chrono::nanoseconds time) {
        std::unique_lock lock(mutex_);
        return arrived_.wait_for(lock, std::chrono::seconds(20), [&] {
            return !take_.buffers.empty() && take_.buffers.back().stamp >= time;
        });
    }
    /// Waits until the newest sound is that tone; false after about ten seconds of sound.
    bool awaitTone(double frequency) {
        for (int i = 0; i < 100 && awaitUntil(HostClock::now() + std::chrono::milliseconds(50)); ++i) {
            const auto samples = take().channels.at(0);
            const auto last = std::span(samples).last(std::min<std::size_t>(samples.size(), 4096));
            const double heard = stage::toneFrequency(last, 48000, 400, 1600);
            if (std::abs(heard - frequency) < 5 && stage::toneAmplitude(last, 48000, heard) > 0.05)
                return true;
        }
        return false;
    }
    Take take() const {
        const std::lock_guard lock(mutex_);
        return take_;
    }
    void stop() { source_->stop(); }
    bool failed() const { return failed_; }
    /// The sentences for the user; complete once it is stopped.
    const std::vector<std::string>& notices() const { return notices_; }

 private:
    void add(const CMSampleBuffer& sample) {
        const std::lock_guard lock(mutex_);
        const AudioBufferList* audio = sample.audio.get();
        take_.wellFormed =
            take_.wellFormed && sample.isValid() && sample.timing.duration == CMTime(1, 48000) && audio &&
            audio->description && audio->description->sampleRate == 48000 &&
            audio->description->format == AudioSampleFormat::float32 && audio->buffers.size() == 1;
        if (!take_.wellFormed) return;
        auto& channels = take_.channels;
        channels.resize(static_cast<std::size_t>(audio->description->channelsPerFrame));
        std::vector<float> values(audio->buffers[0].size() / sizeof(float));
        std::memcpy(values.data(), audio->buffers[0].data(), values.size() * sizeof(float));
        const std::size_t before = channels[0].size();
        for (std::size_t i = 0; i < values.size(); ++i)
            channels[i % channels.size()].push_back(values[i]);
        const std::chrono::nanoseconds stamp(sample.presentationTimeStamp().converted(1'000'000'000));
        take_.buffers.push_back({stamp, before, channels[0].size() - before});
        arrived_.notify_all();
    }

    mutable std::mutex mutex_;
    std::condition_variable arrived_;
    Take take_;
    bool failed_ = false;
    std::vector<std::string> notices_;
    std::unique_ptr<SampleSource> source_;
};

/// The error's sentence; empty when the source starts.
inline std::string startError(std::unique_ptr<SampleSource> source) {
    try {
        Running running(std::move(source));
    } catch (const PlatformError& error) {
        return error.what();
    }
    return {};
}

struct Tone {
    double frequency = 0;
    double amplitude = 0;
    double onset = 0;  ///< milliseconds after it was played
};

/// The medians: a busy machine may lose a part of the sound.
inline Tone medianOf(const std::vector<Tone>& tones) {
    const auto median = [&](double Tone::*value) {
        std::vector<double> values;
        for (const Tone& each : tones)
            values.push_back(each.*value);
        std::ranges::sort(values);
        return values.empty() ? 0 : values[values.size() / 2];
    };
    return {median(&Tone::frequency), median(&Tone::amplitude), median(&Tone::onset)};
}

/// What was recorded of a tone in its first half second.
inline Tone toneIn(const Take& take, std::size_t channel, std::chrono::nanoseconds playedAt) {
    const auto& samples = take.channels.at(channel);
    const auto first = stage::onset(samples, 0.02F, take.frameAt(playedAt - std::chrono::milliseconds(100)));
    if (!first) return {};
    const double onset = static_cast<double>((take.timeOf(*first) - playedAt).count()) / 1e6;
    std::vector<Tone> windows;
    for (std::size_t from = *first; from + 4800 <= samples.size() && windows.size() < 5; from += 4800) {
        const std::span window(samples.data() + from, 4800);
        const double frequency = stage::toneFrequency(window, 48000, 400, 1600);
        windows.push_back({frequency, stage::toneAmplitude(window, 48000, frequency), onset});
    }
    Tone tone = medianOf(windows);
    tone.onset = onset;
    return tone;
}

/// Plays some tones of that length, records them, and gives the medians of each channel.
inline std::vector<Tone> playAndMeasure(Player& player, Running& source, double frequency = 1000,
                                        int count = 5,
                                        std::chrono::milliseconds length = std::chrono::milliseconds(600)) {
    std::vector<std::vector<Tone>> tones;
    for (int i = 0; i < count; ++i) {
        const std::chrono::nanoseconds playedAt = player.beginTone(frequency, 0.5);
        if (!source.awaitUntil(playedAt + length)) return {{}};
        player.endTone();
        const Take take = source.take();
        tones.resize(take.channels.size());
        for (std::size_t channel = 0; channel < tones.size(); ++channel)
            tones[channel].push_back(toneIn(take, channel, playedAt));
        if (!source.awaitUntil(playedAt + length + std::chrono::milliseconds(200))) return {{}};
    }
    std::vector<Tone> medians;
    for (const auto& each : tones)
        medians.push_back(medianOf(each));
    return medians;
}

}  // namespace lumicrate::test
