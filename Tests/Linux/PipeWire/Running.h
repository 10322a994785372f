// A sound source that runs, and the tones in what it recorded.
#pragma once

#include "Tests/Linux/PipeWire/Player.h"
#include "Tests/Linux/PipeWire/Recorded.h"
#include "Tests/Stage/Measure.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate::test {

/// A source that records from when it is made.
class Running {
 public:
    explicit Running(std::unique_ptr<SampleSource> source) : source_(std::move(source)) {
        source_->start({[this](const CMSampleBuffer& sample) { recorded_.add(sample); },
                        [this](const std::exception_ptr&) { failed_ = true; },
                        [this](std::string sentence) { notices_.push_back(std::move(sentence)); }});
    }
    bool awaitUntil(std::chrono::nanoseconds time) { return recorded_.awaitUntil(time); }
    /// Waits until that tone is what has been heard last; false when it is not within ten seconds of sound.
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
    Take take() const { return recorded_.take(); }
    void stop() { source_->stop(); }
    bool failed() const { return failed_; }
    /// What the user is told, once it is stopped.
    const std::vector<std::string>& notices() const { return notices_; }

 private:
    Recorded recorded_;
    bool failed_ = false;
    std::vector<std::string> notices_;
    std::unique_ptr<SampleSource> source_;
};

inline double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values.empty() ? 0 : values[values.size() / 2];
}

struct Tone {
    double frequency = 0;
    double amplitude = 0;
    double onset = 0;  ///< milliseconds after it was played
};

/// What was recorded of a tone, in its first half second at most. The median of several windows leaves out
/// the one in which a busy machine lost sound.
inline Tone toneIn(const Take& take, std::size_t channel, std::chrono::nanoseconds playedAt) {
    const auto& samples = take.channels.at(channel);
    const auto first = stage::onset(samples, 0.02F, take.frameAt(playedAt - std::chrono::milliseconds(100)));
    if (!first) return {};
    std::vector<double> frequencies;
    std::vector<double> amplitudes;
    for (std::size_t from = *first; from + 4800 <= samples.size() && frequencies.size() < 5; from += 4800) {
        const std::span window(samples.data() + from, 4800);
        frequencies.push_back(stage::toneFrequency(window, 48000, 400, 1600));
        amplitudes.push_back(stage::toneAmplitude(window, 48000, frequencies.back()));
    }
    return {median(frequencies), median(amplitudes),
            static_cast<double>((take.timeOf(*first) - playedAt).count()) / 1e6};
}

/// Plays some tones of that length, records them and gives the median of what arrived: a busy machine may
/// lose the beginning of one.
inline Tone playAndMeasure(Player& player, Running& source, std::size_t channel, double frequency = 1000,
                           int count = 5, std::chrono::milliseconds length = std::chrono::milliseconds(600)) {
    std::vector<double> frequencies;
    std::vector<double> amplitudes;
    std::vector<double> onsets;
    for (int i = 0; i < count; ++i) {
        const std::chrono::nanoseconds playedAt = player.beginTone(frequency, 0.5);
        if (!source.awaitUntil(playedAt + length)) return {};
        player.endTone();
        const Tone tone = toneIn(source.take(), channel, playedAt);
        frequencies.push_back(tone.frequency);
        amplitudes.push_back(tone.amplitude);
        onsets.push_back(tone.onset);
        if (!source.awaitUntil(playedAt + length + std::chrono::milliseconds(200))) return {};
    }
    return {median(frequencies), median(amplitudes), median(onsets)};
}

}  // namespace lumicrate::test
