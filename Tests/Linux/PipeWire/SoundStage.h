// SPDX-License-Identifier: GPL-3.0-or-later
// Player: plays tones at known times. Running: a source that records. playAndMeasure() connects the two.
#pragma once

#include "Linux/PipeWire/Session.h"
#include "Platform/SampleSource.h"
#include "Support/Error.h"
#include "Tests/Stage/Await.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Measure.h"

#include <pipewire/filter.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <memory>
#include <mutex>
#include <numbers>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate::test {

/// Plays tones on an output of the sound server. Runs inside the server's cycle without buffering: what it
/// writes in a cycle is what the output receives in that cycle. Plays silence while it plays no tone. The
/// right channel has half the left one's amplitude.
class Player {
 public:
    /// `output` is a node's name. Returns when the server accepts sound.
    explicit Player(const std::string& output) {
        const std::string nodeName = "player-on-" + output;
        connect(nodeName);
        for (const std::string channel : {"FL", "FR"}) {
            // New ports become visible to other programs with a delay.
            const std::vector<std::string> link{"pw-link", nodeName + ":out_" + channel,
                                                output + ":playback_" + channel};
            if (!stage::eventually([&] { return stage::runToEnd(link).status == 0; }))
                throw std::runtime_error("Cannot play on " + output);
        }
    }
    ~Player() {
        const pipewire::Session::Lock lock(session_);
        filter_.reset();
    }
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    /// Starts a sine with the next cycle. Returns the host time at which the output receives its first frame.
    std::chrono::nanoseconds beginTone(double frequency, double amplitude) {
        frequency_ = frequency;
        amplitude_ = amplitude;
        beganAt_ = 0;
        sounding_ = true;
        beganAt_.wait(0);
        return std::chrono::nanoseconds(beganAt_.load());
    }
    void endTone() { sounding_ = false; }

 private:
    struct DestroyFilter {
        void operator()(pw_filter* filter) const { pw_filter_destroy(filter); }
    };

    void connect(const std::string& nodeName) {
        events_.version = PW_VERSION_FILTER_EVENTS;
        events_.process = [](void* self, spa_io_position* position) {
            static_cast<Player*>(self)->fill(*position);
        };
        const pipewire::Session::Lock lock(session_);
        filter_.reset(pw_filter_new(session_.core(), "test tone",
                                    pw_properties_new(PW_KEY_NODE_NAME, nodeName.c_str(), PW_KEY_MEDIA_TYPE,
                                                      "Audio", PW_KEY_MEDIA_CATEGORY, "Playback", nullptr)));
        pw_filter_add_listener(filter_.get(), &listener_, &events_, this);
        for (const bool right : {false, true}) {
            ports_[right] =
                pw_filter_add_port(filter_.get(), PW_DIRECTION_OUTPUT, PW_FILTER_PORT_FLAG_MAP_BUFFERS, 1,
                                   pw_properties_new(PW_KEY_FORMAT_DSP, "32 bit float mono audio",
                                                     PW_KEY_PORT_NAME, right ? "out_FR" : "out_FL", nullptr),
                                   nullptr, 0);
        }
        pw_filter_connect(filter_.get(), PW_FILTER_FLAG_RT_PROCESS, nullptr, 0);
    }
    void fill(const spa_io_position& position) {
        const bool sounds = sounding_;
        if (sounds && beganAt_ == 0) {
            played_ = 0;
            beganAt_ = static_cast<std::int64_t>(position.clock.nsec);
            beganAt_.notify_all();
        }
        const auto frames = static_cast<std::uint32_t>(position.clock.duration);
        const double step = 2 * std::numbers::pi * frequency_ / position.clock.rate.denom;
        double amplitude = sounds ? amplitude_.load() : 0;
        for (void* port : ports_) {
            auto* const samples = static_cast<float*>(pw_filter_get_dsp_buffer(port, frames));
            for (std::uint32_t i = 0; samples && i < frames; ++i)
                samples[i] =
                    static_cast<float>(amplitude * std::sin(step * static_cast<double>(played_ + i)));
            amplitude /= 2;
        }
        played_ += frames;
    }

    pipewire::Session session_;
    pw_filter_events events_{};
    spa_hook listener_{};
    std::array<void*, 2> ports_{};
    std::unique_ptr<pw_filter, DestroyFilter> filter_;

    std::atomic<bool> sounding_ = false;
    std::atomic<double> frequency_ = 0;
    std::atomic<double> amplitude_ = 0;
    std::atomic<std::int64_t> beganAt_ = 0;  ///< nanoseconds; 0 before the tone
    std::int64_t played_ = 0;                ///< frames of the tone; server's thread only
};

struct Take {
    struct Buffer {
        std::chrono::nanoseconds stamp;
        std::size_t firstFrame;  ///< counted from the first one delivered
        std::size_t frames;
        std::chrono::nanoseconds arrived;  ///< host time

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
    /// The first frame of the buffer that contains a host time, or of the next one.
    std::size_t frameAt(std::chrono::nanoseconds time) const {
        const auto found =
            std::ranges::find_if(buffers, [=](const Buffer& each) { return each.end() > time; });
        return found == buffers.end() ? channels.at(0).size() : found->firstFrame;
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
        return stage::eventually([&] {
            const std::lock_guard lock(mutex_);
            return !take_.buffers.empty() && take_.buffers.back().stamp >= time;
        });
    }
    /// Waits until there has been no sound for that time; false after twenty seconds.
    bool awaitSilence(std::chrono::milliseconds time) {
        return stage::eventually([&] {
            const std::lock_guard lock(mutex_);
            return HostClock::now() > take_.buffers.back().end() + time;
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
    /// The sentences for the user, once it is stopped.
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
        take_.buffers.push_back({stamp, before, channels[0].size() - before, HostClock::now()});
    }

    mutable std::mutex mutex_;
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

/// Plays some tones of that length, records them, and measures the first half second of each in one channel.
/// Gives the medians: a busy machine may lose a part of the sound.
inline Tone playAndMeasure(Player& player, Running& source, double frequency = 1000, int count = 5,
                           std::chrono::milliseconds length = std::chrono::milliseconds(600),
                           std::size_t channel = 0) {
    constexpr std::size_t window = 4800;
    std::vector<Tone> windows;
    for (int i = 0; i < count; ++i) {
        const std::chrono::nanoseconds playedAt = player.beginTone(frequency, 0.5);
        if (!source.awaitUntil(playedAt + length)) return {};
        player.endTone();
        const Take take = source.take();
        const std::span samples(take.channels.at(channel));
        const auto first =
            stage::onset(samples, 0.02F, take.frameAt(playedAt - std::chrono::milliseconds(100)));
        for (std::size_t n = 0; first && n < 5 && *first + (n + 1) * window <= samples.size(); ++n) {
            const auto part = samples.subspan(*first + n * window, window);
            const double heard = stage::toneFrequency(part, 48000, 400, 1600);
            windows.push_back({heard, stage::toneAmplitude(part, 48000, heard),
                               static_cast<double>((take.timeOf(*first) - playedAt).count()) / 1e6});
        }
        if (!source.awaitUntil(playedAt + length + std::chrono::milliseconds(200))) return {};
    }
    Tone median;
    for (double Tone::*value : {&Tone::frequency, &Tone::amplitude, &Tone::onset}) {
        std::ranges::sort(windows, {}, value);
        if (!windows.empty()) median.*value = windows[windows.size() / 2].*value;
    }
    return median;
}

}  // namespace lumicrate::test
