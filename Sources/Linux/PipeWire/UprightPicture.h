// SPDX-License-Identifier: GPL-3.0-or-later
// UprightMap: where the pixels of a cropped, turned or mirrored picture are when it is shown upright.
// CastPicture: such a picture in the memory of its producer.
#pragma once

#include "Linux/Pictures/BgraPicture.h"
#include "Linux/PipeWire/ScreenCastFormats.h"
#include "Platform/CameraFrame.h"
#include "Support/Geometry.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumicrate::pipewire {

/// Converts between the pixels of a buffer and those of the content, the buffer's crop shown upright.
class UprightMap {
 public:
    UprightMap() = default;
    UprightMap(const PixelRect& crop, PictureTransform transform);

    /// The content, whose top left corner is (0, 0).
    const PixelRect& content() const { return content_; }
    bool isTurned() const { return transform_ != PictureTransform(); }
    const PictureTransform& transform() const { return transform_; }
    PixelRect toContent(const PixelRect& inBuffer) const;
    bool operator==(const UprightMap&) const = default;

    /// A position in the buffer: coefficient × content coordinate + origin, for each axis. Moving by one
    /// pixel in the content moves by (xPerX, yPerX) or (xPerY, yPerY) in the buffer.
    struct Steps {
        int x0 = 0, xPerX = 1, xPerY = 0;
        int y0 = 0, yPerX = 0, yPerY = 1;
        bool operator==(const Steps&) const = default;
    };
    const Steps& steps() const { return steps_; }

 private:
    PictureTransform transform_;
    PixelRect content_;
    Steps steps_;
};

/// Borrowed pixels, 32 bits each, of a whole buffer.
struct CastPicture {
    const std::byte* pixels = nullptr;
    std::ptrdiff_t stride = 0;  ///< bytes
    CastPixels layout = CastPixels::bgrx;

    /// That part of the content. `scratch` is used unless the pixels can be read where they are.
    pictures::BgraView read(const UprightMap& map, const PixelRect& part,
                            std::vector<std::uint32_t>& scratch) const;
};

}  // namespace lumicrate::pipewire
