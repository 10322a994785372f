// SPDX-License-Identifier: GPL-3.0-or-later
// Measures the encoders picture by picture for several screen contents, to compare settings without whole
// recordings.
//
// The time is the CPU time of all threads per picture of 1080p at 30 a second, with key pictures every two
// seconds. The other columns are the bytes, the quantizer and the structural similarity of a picture: a
// faster setting is better only when these do not get worse.

#include "Benchmarks/Clip.h"
#include "Benchmarks/CodedClip.h"
#include "Linux/Media/Encoding/H264Encoder.h"
#include "Linux/Media/Encoding/HevcEncoder.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <type_traits>

namespace lumicrate::bench {
namespace {

constexpr int picturesPerSecond = 30;
constexpr int keyFrameInterval = 2 * picturesPerSecond;
constexpr int picturesOfClip = 24;
constexpr int comparedPictures = 48;

// How a clip is played. With key pictures only, they are so far apart that the ceiling has no effect.
struct Manner {
    int keyFrameInterval;
    int ticksPerPicture;
    int timedPictures;
};
constexpr Manner running{keyFrameInterval, media::videoTimescale / picturesPerSecond, 4 * picturesPerSecond};
constexpr Manner keysAlone{1, 2 * media::videoTimescale, picturesPerSecond};

template <class Encoder>
constexpr bool isHevc = std::is_same_v<Encoder, media::HevcEncoder>;

// The settings of a recording with the encoding quality "high".
template <class Encoder>
media::VideoEncoder::Settings settings(const Manner& manner) {
    constexpr int bitRate =
        static_cast<int>((isHevc<Encoder> ? 0.084 : 0.12) * Clip::width * Clip::height * picturesPerSecond);
    return {Clip::width, Clip::height, bitRate, picturesPerSecond, manner.keyFrameInterval};
}

class Playback {
 public:
    Playback(const Clip& clip, media::VideoEncoder& encoder, const Manner& manner)
        : clip_(clip), encoder_(encoder), ticks_(manner.ticksPerPicture) {}

    // Encodes the next picture and adds it to `kept`.
    media::EncodedPicture next(CodedClip* kept = nullptr) {
        const auto picture = clip_.at(played_);
        const auto time = static_cast<std::int64_t>(played_++) * ticks_;
        const auto coded = encoder_.encode(picture.pixels, time, picture.info);
        if (kept != nullptr) kept->append(picture.pixels, coded);
        return coded;
    }

 private:
    const Clip& clip_;
    media::VideoEncoder& encoder_;
    std::int64_t ticks_;
    std::uint64_t played_ = 0;
};

template <class Encoder>
double similarity(const Clip& clip, const Manner& manner) {
    Encoder encoder(settings<Encoder>(manner));
    CodedClip coded(isHevc<Encoder> ? AV_CODEC_ID_HEVC : AV_CODEC_ID_H264, encoder.configuration());
    Playback playback(clip, encoder, manner);
    for (int i = 0; i < comparedPictures; ++i) {
        playback.next(&coded);
    }
    return coded.similarity();
}

template <class Encoder>
void encode(benchmark::State& state, const std::string& content, const Manner& manner) {
    const Clip clip(content, picturesOfClip);
    Encoder encoder(settings<Encoder>(manner));
    Playback playback(clip, encoder, manner);
    playback.next();  // the first picture is always complete
    double bytes = 0;
    double quantizers = 0;
    while (state.KeepRunning()) {
        const auto coded = playback.next();
        bytes += static_cast<double>(coded.data.size());
        quantizers += coded.quantizer;
    }
    state.counters["bytes"] = benchmark::Counter(bytes, benchmark::Counter::kAvgIterations);
    state.counters["quantizer"] = benchmark::Counter(quantizers, benchmark::Counter::kAvgIterations);
    state.counters["ssim"] = similarity<Encoder>(clip, manner);
}

void h264(benchmark::State& state, const std::string& content, const Manner& manner) {
    encode<media::H264Encoder>(state, content, manner);
}

void hevc(benchmark::State& state, const std::string& content, const Manner& manner) {
    encode<media::HevcEncoder>(state, content, manner);
}

void timed(benchmark::internal::Benchmark* each, const Manner& manner) {
    each->Unit(benchmark::kMillisecond)->Iterations(manner.timedPictures)->MeasureProcessCPUTime();
}
void inRun(benchmark::internal::Benchmark* each) {
    timed(each, running);
}
void alone(benchmark::internal::Benchmark* each) {
    timed(each, keysAlone);
}

BENCHMARK_CAPTURE(h264, still, "still", running)->Apply(inRun);
BENCHMARK_CAPTURE(h264, typing, "typing", running)->Apply(inRun);
BENCHMARK_CAPTURE(h264, scrolling, "scrolling", running)->Apply(inRun);
BENCHMARK_CAPTURE(h264, dense, "dense", running)->Apply(inRun);
BENCHMARK_CAPTURE(h264, web, "web", running)->Apply(inRun);
BENCHMARK_CAPTURE(h264, terminal, "terminal", running)->Apply(inRun);
BENCHMARK_CAPTURE(h264, editor, "editor", running)->Apply(inRun);
BENCHMARK_CAPTURE(h264, moving, "moving", running)->Apply(inRun);
BENCHMARK_CAPTURE(h264, dragging, "dragging", running)->Apply(inRun);
BENCHMARK_CAPTURE(h264, key_text, "still", keysAlone)->Apply(alone);
BENCHMARK_CAPTURE(h264, key_landscape, "moving", keysAlone)->Apply(alone);
BENCHMARK_CAPTURE(hevc, still, "still", running)->Apply(inRun);
BENCHMARK_CAPTURE(hevc, typing, "typing", running)->Apply(inRun);
BENCHMARK_CAPTURE(hevc, scrolling, "scrolling", running)->Apply(inRun);
BENCHMARK_CAPTURE(hevc, dense, "dense", running)->Apply(inRun);
BENCHMARK_CAPTURE(hevc, web, "web", running)->Apply(inRun);
BENCHMARK_CAPTURE(hevc, terminal, "terminal", running)->Apply(inRun);
BENCHMARK_CAPTURE(hevc, editor, "editor", running)->Apply(inRun);
BENCHMARK_CAPTURE(hevc, moving, "moving", running)->Apply(inRun);
BENCHMARK_CAPTURE(hevc, dragging, "dragging", running)->Apply(inRun);
BENCHMARK_CAPTURE(hevc, key_text, "still", keysAlone)->Apply(alone);
BENCHMARK_CAPTURE(hevc, key_landscape, "moving", keysAlone)->Apply(alone);

}  // namespace
}  // namespace lumicrate::bench

BENCHMARK_MAIN();
