// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Images/Palette.h"

#include "Support/Error.h"

#include <libimagequant.h>

#include <new>

// From the OpenMP library that libimagequant uses. Its header exists for one compiler only.
extern "C" void omp_set_num_threads(int threads) noexcept;

namespace lumicrate::media {

namespace {

template <auto destroy>
struct Destroy {
    template <typename Type>
    void operator()(Type* object) const noexcept {
        destroy(object);
    }
};
using Attributes = std::unique_ptr<liq_attr, Destroy<liq_attr_destroy>>;
using Image = std::unique_ptr<liq_image, Destroy<liq_image_destroy>>;
using Histogram = std::unique_ptr<liq_histogram, Destroy<liq_histogram_destroy>>;

// libimagequant compares colours on a gamma curve of its own, about this one. Told that its input is already
// on that curve, it compares the bytes as they are, which gives smaller and closer pictures than the usual
// 0.45.
constexpr double curve = 0.6;
// From 8 on, colours are not refined and rare colours can get lost; 6 takes 50 % longer for 0.5 dB.
constexpr int speed = 7;

[[noreturn]] void fail() {
    throw PlatformError(localized("The GIF's colors couldn't be chosen."));
}

void check(liq_error error) {
    if (error == LIQ_OUT_OF_MEMORY) throw std::bad_alloc();
    if (error != LIQ_OK) fail();
}

Attributes makeAttributes(int colors = Palette::maxColors) {
    // Its threads spin while they wait, which doubles the CPU time. Applies to the calling thread.
    omp_set_num_threads(1);
    Attributes attributes(liq_attr_create());
    if (!attributes) fail();
    check(liq_set_speed(attributes.get(), speed));
    check(liq_set_max_colors(attributes.get(), colors));
    return attributes;
}

}  // namespace

void Palette::Free::operator()(liq_result* result) const noexcept {
    liq_result_destroy(result);
}

Palette Palette::choose(const ColorList& list, int colors) {
    const Attributes attributes = makeAttributes(colors);
    const Histogram histogram(liq_histogram_create(attributes.get()));
    if (!histogram) throw std::bad_alloc();
    std::vector<liq_histogram_entry> entries;
    entries.reserve(list.colors().size());
    for (std::size_t i = 0; i < list.colors().size(); ++i) {
        const ColorList::Rgba& color = list.colors()[i];
        entries.push_back({{color[0], color[1], color[2], color[3]}, list.pixels()[i]});
    }
    check(liq_histogram_add_colors(histogram.get(), attributes.get(), entries.data(),
                                   static_cast<int>(entries.size()), curve));
    liq_result* result = nullptr;
    check(liq_histogram_quantize(histogram.get(), attributes.get(), &result));
    Palette palette;
    palette.result_.reset(result);
    check(liq_set_dithering_level(result, 0));
    const liq_palette* chosen = liq_get_palette(result);
    for (unsigned i = 0; i < chosen->count; ++i) {
        const liq_color& color = chosen->entries[i];
        palette.colors_.push_back({color.r, color.g, color.b});
    }
    return palette;
}

std::vector<std::uint8_t> Palette::match(const ColorList& list) const {
    const Attributes attributes = makeAttributes();
    const Image image(liq_image_create_rgba(attributes.get(), list.colors().data(),
                                            static_cast<int>(list.colors().size()), 1, curve));
    if (!image) throw std::bad_alloc();
    std::vector<std::uint8_t> indices(list.colors().size());
    check(liq_write_remapped_image(result_.get(), image.get(), indices.data(), indices.size()));
    return indices;
}

}  // namespace lumicrate::media
