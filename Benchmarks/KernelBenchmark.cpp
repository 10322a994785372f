// SPDX-License-Identifier: GPL-3.0-or-later
// Measures the pixel kernels between the screen and the encoder, on full HD pictures.

#include "Linux/Media/Encoding/MacroblockMap.h"
#include "Linux/Pictures/BgraPicture.h"
#include "Linux/Pictures/BlockRegion.h"
#include "Linux/Pictures/CursorOverlay.h"
#include "Linux/Pictures/Nv12Converter.h"
#include "Linux/Pictures/PictureComposer.h"
#include "Linux/Pictures/PictureScaler.h"
#include "Linux/Pictures/PixelBufferPool.h"
#include "Linux/Pictures/ShadowImage.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace lumicrate::pictures {
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

// What changes on screens: a glyph, a line of text, a window, everything.
constexpr PixelRect glyph{600, 500, 24, 18};
constexpr PixelRect line{60, 500, 1800, 18};
constexpr PixelRect window{301, 203, 640, 480};
constexpr PixelRect everything{0, 0, width, height};

/// The same rectangle, extended to whole blocks.
PixelRect wholeBlocks(const PixelRect& rect) {
    BlockRegion region(width, height);
    region.add(rect);
    return region.rectangles().front();
}

void convert(benchmark::State& state, Nv12Kernel kernel, const PixelRect& rect) {
    if (kernel == nullptr) {
        state.SkipWithError("This processor cannot run it");
        return;
    }
    const BgraPicture picture = noise(1);
    std::vector<std::uint8_t> luma(static_cast<std::size_t>(width) * height);
    std::vector<std::uint8_t> chroma(luma.size() / 2);
    const PixelRect part = wholeBlocks(rect);
    while (state.KeepRunning()) {
        convertToNv12(picture.view(), part, {luma.data(), width, chroma.data(), width}, kernel);
        benchmark::ClobberMemory();
    }
}
BENCHMARK_CAPTURE(convert, scalar, convertRowPair, everything)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, avx2, avx2Nv12Kernel(), everything)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, avx2_window, avx2Nv12Kernel(), window)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(convert, avx2_glyph, avx2Nv12Kernel(), glyph)->Unit(benchmark::kMicrosecond);

/// Compares what was read with the known picture, when nothing and when everything differs.
void compare(benchmark::State& state, const PixelRect& rect, bool changes) {
    const BgraPicture first = noise(1);
    const BgraPicture second = noise(changes ? 2 : 1);
    const auto part = [&](const BgraPicture& picture) {
        return BgraView{picture.row(rect.y) + rect.x, rect.width, rect.height, width};
    };
    ShadowImage shadow(width, height);
    BlockRegion changed(width, height);
    bool odd = false;
    while (state.KeepRunning()) {
        shadow.merge(rect.x, rect.y, part(odd ? first : second), changed);
        odd = !odd;
        benchmark::DoNotOptimize(changed);
    }
}
BENCHMARK_CAPTURE(compare, nothing_changed, everything, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(compare, everything_changed, everything, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(compare, window_unchanged, window, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(compare, window_changed, window, true)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(compare, glyph_changed, glyph, true)->Unit(benchmark::kMicrosecond);

/// Random rectangles, as a busy screen reports them.
std::vector<PixelRect> scattered(int count) {
    std::vector<PixelRect> all;
    all.reserve(static_cast<std::size_t>(count));
    std::uint32_t seed = 1;
    const auto below = [&](int bound) {
        seed = seed * 1664525 + 1013904223;
        return static_cast<int>((seed >> 8) % static_cast<std::uint32_t>(bound));
    };
    for (int i = 0; i < count; ++i) {
        all.push_back({below(width), below(height), 1 + below(100), 1 + below(100)});
    }
    return all;
}

void addToRegion(benchmark::State& state) {
    const auto rects = scattered(static_cast<int>(state.range(0)));
    BlockRegion region(width, height);
    while (state.KeepRunning()) {
        region.clear();
        for (const PixelRect& rect : rects) {
            region.add(rect);
        }
        benchmark::DoNotOptimize(region);
    }
}
BENCHMARK(addToRegion)->Arg(1)->Arg(100)->Unit(benchmark::kMicrosecond);

void addRegions(benchmark::State& state) {
    BlockRegion region(width, height);
    BlockRegion other(width, height);
    other.add(window);
    while (state.KeepRunning()) {
        region.add(other);
        benchmark::DoNotOptimize(region);
    }
}
BENCHMARK(addRegions)->Unit(benchmark::kMicrosecond);

/// `most` 0 means no limit.
void rectanglesOf(benchmark::State& state, int count, std::size_t most) {
    BlockRegion region(width, height);
    for (const PixelRect& rect : scattered(count)) {
        region.add(rect);
    }
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(most == 0 ? region.rectangles() : region.rectangles(most));
    }
}
BENCHMARK_CAPTURE(rectanglesOf, one, 1, 0)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(rectanglesOf, hundred, 100, 0)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(rectanglesOf, hundred_limited, 100, 16)->Unit(benchmark::kMicrosecond);

void scale(benchmark::State& state, int lines, const PixelRect& changed) {
    const BgraPicture source = noise(1);
    BgraPicture target(lines * width / height, lines);
    PictureScaler scaler(width, height, target.width(), target.height());
    const PixelRect affected = scaler.affectedBy(changed);
    while (state.KeepRunning()) {
        scaler.scale(source.view(), affected, target, 0, 0);
        benchmark::ClobberMemory();
    }
}
BENCHMARK_CAPTURE(scale, to_720, 720, everything)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(scale, to_480, 480, everything)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(scale, window_to_720, 720, window)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(scale, glyph_to_720, 720, glyph)->Unit(benchmark::kMicrosecond);

CursorOverlay halfOpaqueCursor(int side) {
    auto image = std::make_shared<CursorImage>();
    image->width = image->height = side;
    image->pixels.assign(static_cast<std::size_t>(side) * static_cast<std::size_t>(side), 0x80404040);
    return {image, 500, 500};
}

/// Drawn and removed again.
void drawCursor(benchmark::State& state) {
    BgraPicture picture = noise(1);
    const CursorOverlay cursor = halfOpaqueCursor(static_cast<int>(state.range(0)));
    while (state.KeepRunning()) {
        const CursorOverlay::Drawn drawn(cursor, picture);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(drawCursor)->Arg(24)->Arg(64)->Unit(benchmark::kMicrosecond);

/// Everything between the screen's pixels and the encoder when a part has changed, including the cursor.
void compose(benchmark::State& state, int lines, const PixelRect& changed) {
    BgraPicture source = noise(1);
    const int pictureWidth = lines * width / height;
    PictureComposer composer(pictureWidth, lines);
    composer.setSource(width, height, true);
    const CursorOverlay cursor = halfOpaqueCursor(24);
    PixelBuffer buffer(pictureWidth, lines);
    composer.compose(source, cursor, buffer);
    while (state.KeepRunning()) {
        composer.invalidate(changed);
        buffer.stale.add(composer.dirty());
        composer.compose(source, cursor, buffer);
        benchmark::ClobberMemory();
    }
}
BENCHMARK_CAPTURE(compose, glyph, height, glyph)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(compose, window, height, window)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(compose, everything, height, everything)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(compose, everything_to_720, 720, everything)->Unit(benchmark::kMicrosecond);

/// The encoder's macroblock map of a picture.
void mapMacroblocks(benchmark::State& state, const std::optional<PixelRect>& changed) {
    media::MacroblockMap map(width, height);
    SCStreamFrameInfo info;
    if (changed) info.dirtyRects = {*changed};
    map.begin(info);
    map.coded(true, 20, {});
    while (state.KeepRunning()) {
        ++info.sequence;
        map.begin(info);
        benchmark::DoNotOptimize(map.work(false));
        map.coded(false, 20, {});
        benchmark::DoNotOptimize(map.coarsest());
    }
}
BENCHMARK_CAPTURE(mapMacroblocks, nothing, std::nullopt)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(mapMacroblocks, line, line)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(mapMacroblocks, everything, everything)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace lumicrate::pictures

BENCHMARK_MAIN();
