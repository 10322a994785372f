// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/CursorReader.h"

#include "Linux/PipeWire/BufferMetadata.h"

#include <spa/param/video/raw.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <tuple>
#include <vector>

namespace lumicrate::pipewire {

namespace {

using pictures::CursorImage;

/// Larger ones are an error of the producer.
constexpr std::uint32_t maxSide = 1024;

/// How far each part must be shifted to the right to become the lowest byte.
struct Shifts {
    int red, green, blue, opacity;
};

std::optional<Shifts> shiftsOf(std::uint32_t videoFormat) {
    switch (videoFormat) {
        case SPA_VIDEO_FORMAT_BGRA:
            return Shifts{16, 8, 0, 24};
        case SPA_VIDEO_FORMAT_RGBA:
            return Shifts{0, 8, 16, 24};
        case SPA_VIDEO_FORMAT_ARGB:
            return Shifts{8, 16, 24, 0};
        case SPA_VIDEO_FORMAT_ABGR:
            return Shifts{24, 16, 8, 0};
        default:
            return std::nullopt;
    }
}

std::uint32_t premultiplied(std::uint32_t pixel) {
    const std::uint32_t opacity = pixel >> 24;
    std::uint32_t result = opacity << 24;
    for (int shift = 0; shift < 24; shift += 8)
        result |= ((pixel >> shift & 0xff) * opacity + 127) / 255 << shift;
    return result;
}

/// Producers send premultiplied colours, although nothing says so. A colour above its opacity shows that an
/// image is not.
bool isPremultiplied(std::uint32_t pixel) {
    const std::uint32_t opacity = pixel >> 24;
    return (pixel & 0xff) <= opacity && (pixel >> 8 & 0xff) <= opacity && (pixel >> 16 & 0xff) <= opacity;
}

/// Null for an image that cannot be read, and for one without a format or pixels, which hides the pointer.
/// `data` begins with its description.
std::shared_ptr<const CursorImage> readImage(const std::byte* data, std::size_t size,
                                             const spa_point& hotSpot) {
    spa_meta_bitmap bitmap{};
    if (size < sizeof bitmap) return nullptr;
    std::memcpy(&bitmap, data, sizeof bitmap);
    const auto& [width, height] = bitmap.size;
    const auto shifts = shiftsOf(bitmap.format);
    if (!shifts || bitmap.offset < sizeof bitmap || width == 0 || height == 0 || width > maxSide ||
        height > maxSide)
        return nullptr;
    constexpr std::size_t pixelSize = sizeof(std::uint32_t);
    const std::size_t rowSize = std::size_t{width} * pixelSize;
    const std::size_t stride = bitmap.stride > 0 ? static_cast<std::size_t>(bitmap.stride) : rowSize;
    if (stride < rowSize || bitmap.offset > size || (height - 1) * stride + rowSize > size - bitmap.offset)
        return nullptr;
    auto image = std::make_shared<CursorImage>();
    image->width = static_cast<int>(width);
    image->height = static_cast<int>(height);
    image->hotX = std::clamp(hotSpot.x, 0, image->width - 1);
    image->hotY = std::clamp(hotSpot.y, 0, image->height - 1);
    image->pixels.reserve(std::size_t{width} * height);
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x) {
            std::uint32_t pixel = 0;
            std::memcpy(&pixel, data + bitmap.offset + y * stride + x * pixelSize, pixelSize);
            image->pixels.push_back((pixel >> shifts->opacity & 0xff) << 24 |
                                    (pixel >> shifts->red & 0xff) << 16 |
                                    (pixel >> shifts->green & 0xff) << 8 | (pixel >> shifts->blue & 0xff));
        }
    }
    if (!std::ranges::all_of(image->pixels, isPremultiplied))
        std::ranges::transform(image->pixels, image->pixels.begin(), premultiplied);
    return image;
}

/// What UprightMap does with the content.
std::shared_ptr<const CursorImage> turned(const CursorImage& image, PictureTransform transform) {
    const UprightMap map({0, 0, image.width, image.height}, transform);
    const PixelRect hotSpot = map.toContent({image.hotX, image.hotY, 1, 1});
    const int width = map.content().width;
    const int height = map.content().height;
    auto result = std::make_shared<CursorImage>(CursorImage{width, height, hotSpot.x, hotSpot.y, {}});
    const CastPicture pixels{reinterpret_cast<const std::byte*>(image.pixels.data()),
                             static_cast<std::ptrdiff_t>(image.width) * 4, CastPixels::bgrx};
    pixels.read(map, map.content(), result->pixels);
    return result;
}

}  // namespace

bool CursorReader::read(const spa_buffer& buffer) {
    const spa_meta* const meta = spa_buffer_find_meta(&buffer, SPA_META_Cursor);
    if (!meta || meta->size < sizeof(spa_meta_cursor)) return false;
    spa_meta_cursor cursor{};
    std::memcpy(&cursor, meta->data, sizeof cursor);
    const auto before = std::tuple(isVisible_, x_, y_, image_);
    isVisible_ = cursor.id != 0;
    if (isVisible_) {
        x_ = cursor.position.x;
        y_ = cursor.position.y;
    }
    // No image means the same as before.
    const bool hasImage = cursor.bitmap_offset >= sizeof cursor && cursor.bitmap_offset <= meta->size;
    if (isVisible_ && hasImage) {
        image_ = readImage(static_cast<const std::byte*>(meta->data) + cursor.bitmap_offset,
                           meta->size - cursor.bitmap_offset, cursor.hotspot);
    }
    return before != std::tuple(isVisible_, x_, y_, image_);
}

pictures::CursorOverlay CursorReader::overlay(const UprightMap& map) {
    if (!isVisible_ || !image_) return {};
    if (uprightOf_ != image_ || uprightTransform_ != map.transform()) {
        uprightOf_ = image_;
        uprightTransform_ = map.transform();
        upright_ = map.isTurned() ? turned(*image_, uprightTransform_) : image_;
    }
    const PixelRect position = map.toContent({x_, y_, 1, 1});
    return {upright_, position.x, position.y};
}

}  // namespace lumicrate::pipewire
