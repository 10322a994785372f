// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Pictures/CursorOverlay.h"

#include <algorithm>

namespace lumicrate::pictures {

namespace {

std::uint32_t blend(std::uint32_t above, std::uint32_t below) {
    const std::uint32_t opacity = above >> 24;
    if (opacity == 255) return above;
    std::uint32_t blended = 0;
    for (int shift = 0; shift < 24; shift += 8) {
        const std::uint32_t through = ((below >> shift & 0xff) * (255 - opacity) + 127) / 255;
        blended |= std::min((above >> shift & 0xff) + through, 255U) << shift;
    }
    return blended;
}

}  // namespace

CursorOverlay::CursorOverlay(std::shared_ptr<const CursorImage> image, int x, int y)
    : image_(std::move(image)), frame_{x - image_->hotX, y - image_->hotY, image_->width, image_->height} {}

CursorOverlay CursorOverlay::offsetBy(int dx, int dy) const {
    CursorOverlay moved = *this;
    moved.frame_ = frame_.offsetBy(dx, dy);
    return moved;
}

CursorOverlay::Drawn::Drawn(const CursorOverlay& cursor, BgraPicture& picture)
    : picture_(picture), covered_(cursor.frame().intersection(picture.bounds())) {
    if (covered_.isEmpty()) return;
    below_.reserve(static_cast<std::size_t>(covered_.area()));
    for (int y = covered_.y; y < covered_.maxY(); ++y) {
        const std::uint32_t* above =
            cursor.image_->pixels.data() +
            static_cast<std::ptrdiff_t>(y - cursor.frame().y) * cursor.image_->width +
            (covered_.x - cursor.frame().x);
        std::uint32_t* const row = picture.row(y);
        for (int x = covered_.x; x < covered_.maxX(); ++x) {
            below_.push_back(row[x]);
            row[x] = blend(*above++, row[x]);
        }
    }
}

CursorOverlay::Drawn::~Drawn() {
    auto from = below_.cbegin();
    for (int y = covered_.y; y < covered_.maxY(); ++y, from += covered_.width)
        std::copy_n(from, covered_.width, picture_.row(y) + covered_.x);
}

std::vector<PixelRect> placesOfChange(const CursorOverlay& before, const CursorOverlay& after,
                                      const PixelRect& bounds) {
    std::vector<PixelRect> places;
    if (before == after) return places;
    for (const CursorOverlay& each : {before, after}) {
        const PixelRect covered = each.frame().intersection(bounds);
        if (!covered.isEmpty()) places.push_back(covered);
    }
    return places;
}

}  // namespace lumicrate::pictures
