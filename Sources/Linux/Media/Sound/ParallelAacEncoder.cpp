// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Sound/ParallelAacEncoder.h"

#include "Linux/Media/IsoBmff/Fragment.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <future>
#include <limits>
#include <thread>
#include <utility>

namespace lumicrate::media {

namespace {

/// Frames before a stretch: a third of a second, in which the encoder's rate control settles.
constexpr std::int64_t leadIn = 16 * isobmff::aacFrameLength;
/// Frames after it: the overlap of the last windows and the look-ahead of the window decision.
constexpr std::int64_t leadOut = 4 * isobmff::aacFrameLength;

constexpr unsigned maxThreads = 8;

struct Stretch {
    std::vector<float> sound;
    std::int64_t begin = 0;  ///< of the sound, in frames
    /// The samples between these times are kept.
    std::int64_t first = std::numeric_limits<std::int64_t>::min();
    std::int64_t end = std::numeric_limits<std::int64_t>::max();
    bool last = false;
};

struct CodedSample {
    std::vector<std::uint8_t> data;
    std::int64_t time = 0;
    std::int64_t duration = 0;
};

unsigned threadCount() {
    return std::clamp(std::thread::hardware_concurrency(), 1U, maxThreads);
}

/// Cuts sound into stretches that overlap.
class StretchCutter {
 public:
    StretchCutter(const ParallelAacEncoder::Source& source, int channels)
        : source_(source), channels_(channels) {}

    bool isDone() const { return ended_; }

    Stretch next() {
        const std::int64_t seam = first_ + ParallelAacEncoder::stretchLength;
        const auto needed = static_cast<std::size_t>((seam + leadOut - begin_) * channels_);
        while (!ended_ && sound_.size() < needed) {
            const std::vector<float> piece = source_();
            sound_.insert(sound_.end(), piece.begin(), piece.end());
            ended_ = piece.empty();
        }
        Stretch stretch;
        stretch.begin = begin_;
        stretch.last = ended_;
        if (begin_ > 0) stretch.first = first_;
        if (!ended_) stretch.end = seam;
        stretch.sound = std::exchange(sound_, {});
        if (!ended_) {
            first_ = seam;
            const auto shared = static_cast<std::ptrdiff_t>((seam - leadIn - begin_) * channels_);
            sound_.assign(stretch.sound.begin() + shared, stretch.sound.end());
            begin_ = seam - leadIn;
        }
        return stretch;
    }

 private:
    const ParallelAacEncoder::Source& source_;
    int channels_;
    std::vector<float> sound_;  ///< the beginning of the next stretch
    std::int64_t begin_ = 0;    ///< of `sound_`
    std::int64_t first_ = 0;    ///< the first frame to keep of the next stretch
    bool ended_ = false;
};

std::vector<CodedSample> encodeStretch(AacEncoder encoder, const Stretch& stretch) {
    std::vector<CodedSample> coded;
    const auto keep = [&](const MovieSample& sample) {
        const std::int64_t time = stretch.begin + sample.time;
        if (time < stretch.first || time >= stretch.end) return;
        coded.push_back({{sample.data.begin(), sample.data.end()}, time, sample.duration});
    };
    encoder.encode(stretch.sound, keep);
    if (stretch.last) encoder.finish(keep);
    return coded;
}

}  // namespace

void ParallelAacEncoder::encode(const Source& source, const AacEncoder::Sink& sink) const {
    StretchCutter cutter(source, channels_);
    std::deque<std::future<std::vector<CodedSample>>> working;
    const auto takeFirst = [&] {
        for (const CodedSample& each : working.front().get())
            sink({each.data, each.time, each.duration, true});
        working.pop_front();
    };
    while (!cutter.isDone()) {
        Stretch stretch = cutter.next();
        if (working.size() == threadCount()) takeFirst();
        working.push_back(std::async(std::launch::async, [this, stretch = std::move(stretch)] {
            return encodeStretch(make(), stretch);
        }));
    }
    while (!working.empty())
        takeFirst();
}

}  // namespace lumicrate::media
