// The work on pixels between the screen and the encoder, each kernel alone and on full HD pictures.

#include "Linux/X11/BgraPicture.h"
#include "Linux/X11/BlockRegion.h"
#include "Linux/X11/Nv12Converter.h"
#include "Linux/X11/PictureScaler.h"
#include "Linux/X11/ShadowImage.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

namespace lumicrate::x11 {
namespace {

constexpr int width = 1920;
constexpr int height = 1080;

BgraPicture noise(std::uint32_t seed) {
    BgraPicture picture(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            seed = seed * 1664525 + 1013904223;
            picture.row(y)[x] = seed;
        }
    }
    return picture;
}

void convert(benchmark::State& state, Nv12Kernel kernel) {
    if (kernel == nullptr) {
        state.SkipWithError("This processor cannot run it");
        return;
    }
    const BgraPicture picture = noise(1);
    std::vector<std::uint8_t> luma(static_cast<std::size_t>(width) * height);
    std::vector<std::uint8_t> chroma(luma.size() / 2);
    while (state.KeepRunning()) {
        convertToNv12(picture.view(), picture.bounds(), {luma.data(), width, chroma.data(), width}, kernel);
        benchmark::ClobberMemory();
    }
}
BENCHMARK_CAPTURE(convert, scalar, convertRowPair)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, avx2, avx2Nv12Kernel())->Unit(benchmark::kMillisecond);

/// Comparing what was read with what was known, when nothing and when everything is different.
void compare(benchmark::State& state, bool changes) {
    const BgraPicture first = noise(1);
    const BgraPicture second = noise(changes ? 2 : 1);
    ShadowImage shadow(width, height);
    bool odd = false;
    while (state.KeepRunning()) {
        BlockRegion changed(width, height);
        shadow.merge(0, 0, (odd ? first : second).view(), changed);
        odd = !odd;
        benchmark::DoNotOptimize(changed);
    }
}
BENCHMARK_CAPTURE(compare, nothing_changed, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(compare, everything_changed, true)->Unit(benchmark::kMillisecond);

void scale(benchmark::State& state) {
    const BgraPicture source = noise(1);
    const int lines = static_cast<int>(state.range(0));
    BgraPicture target(lines * width / height, lines);
    PictureScaler scaler(width, height, target.width(), target.height());
    while (state.KeepRunning()) {
        scaler.scale(source.view(), target.bounds(), target, 0, 0);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(scale)->Arg(720)->Arg(480)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace lumicrate::x11

BENCHMARK_MAIN();
