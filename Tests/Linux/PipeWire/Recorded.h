// What sound sources deliver, put in order (a Take, gathered by Recorded while the source runs), and what
// they say when they cannot start.
#pragma once

#include "Platform/SampleSource.h"
#include "Support/Error.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace lumicrate::test {

struct Take {
    struct Stretch {
        std::chrono::nanoseconds stamp;
        std::size_t firstFrame;  ///< counted from the first one delivered
        std::size_t frames;

        std::chrono::nanoseconds end() const {
            return stamp + std::chrono::nanoseconds(frames * 1'000'000'000 / 48000);
        }
    };

    bool wellFormed = true;  ///< as far as a sample's description goes
    std::vector<Stretch> stretches;
    std::vector<std::vector<float>> channels;

    /// The host time of a frame, from the stamp of the stretch that brought it.
    std::chrono::nanoseconds timeOf(std::size_t frame) const {
        const auto next = std::ranges::upper_bound(stretches, frame, {}, &Stretch::firstFrame);
        const Stretch& stretch = *std::prev(next);
        return stretch.stamp + std::chrono::nanoseconds((frame - stretch.firstFrame) * 1'000'000'000 / 48000);
    }
    /// The first frame at or after a host time.
    std::size_t frameAt(std::chrono::nanoseconds time) const {
        for (const Stretch& each : stretches) {
            if (time >= each.end()) continue;
            const auto into = std::max(time - each.stamp, std::chrono::nanoseconds(0));
            return each.firstFrame + static_cast<std::size_t>(into.count() * 48000 / 1'000'000'000);
        }
        return channels.empty() ? 0 : channels[0].size();
    }
};

/// Filled on the source's thread, read on the test's.
class Recorded {
 public:
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
        const auto& bytes = audio->buffers[0];
        std::vector<float> values(bytes.size() / sizeof(float));
        std::memcpy(values.data(), bytes.data(), values.size() * sizeof(float));
        const std::size_t before = channels[0].size();
        for (std::size_t i = 0; i < values.size(); ++i)
            channels[i % channels.size()].push_back(values[i]);
        const std::chrono::nanoseconds stamp(sample.presentationTimeStamp().converted(1'000'000'000));
        take_.stretches.push_back({stamp, before, channels[0].size() - before});
        arrived_.notify_all();
    }

    /// Waits until sound from beyond that host time has come; false when it does not within twenty seconds.
    bool awaitUntil(std::chrono::nanoseconds time) {
        std::unique_lock lock(mutex_);
        return arrived_.wait_for(lock, std::chrono::seconds(20), [&] {
            return !take_.stretches.empty() && take_.stretches.back().stamp >= time;
        });
    }

    Take take() const {
        const std::lock_guard lock(mutex_);
        return take_;
    }

 private:
    mutable std::mutex mutex_;
    std::condition_variable arrived_;
    Take take_;
};

/// The error's sentence; empty when the source starts.
inline std::string sentenceOfStarting(std::unique_ptr<SampleSource> source) {
    try {
        source->start(
            {[](const CMSampleBuffer&) {}, [](const std::exception_ptr&) {}, [](const std::string&) {}});
    } catch (const PlatformError& error) {
        return error.what();
    }
    return {};
}

}  // namespace lumicrate::test
