// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Pictures/BlockRegion.h"

#include <algorithm>
#include <limits>

namespace lumicrate::pictures {

namespace {

constexpr int blocksFor(int pixels) {
    return (pixels + BlockRegion::blockSize - 1) / BlockRegion::blockSize;
}

/// The horizontal runs of one row of blocks, as rectangles one block high.
std::vector<PixelRect> runs(const std::uint8_t* row, int columns, int blockY) {
    std::vector<PixelRect> found;
    const std::uint8_t* const end = row + columns;
    for (const std::uint8_t* from = std::find(row, end, 1); from != end;) {
        const std::uint8_t* const to = std::find(from, end, 0);
        found.push_back({static_cast<int>(from - row), blockY, static_cast<int>(to - from), 1});
        from = std::find(to, end, 1);
    }
    return found;
}

/// Joins the two rectangles whose bounding union adds the smallest area.
void joinClosest(std::vector<PixelRect>& rects) {
    std::size_t first = 0;
    std::size_t second = 1;
    std::int64_t minWaste = std::numeric_limits<std::int64_t>::max();
    for (std::size_t a = 0; a < rects.size(); ++a) {
        for (std::size_t b = a + 1; b < rects.size(); ++b) {
            const std::int64_t waste =
                rects[a].boundingUnion(rects[b]).area() - rects[a].area() - rects[b].area();
            if (waste >= minWaste) continue;
            minWaste = waste;
            first = a;
            second = b;
        }
    }
    rects[first] = rects[first].boundingUnion(rects[second]);
    rects.erase(rects.begin() + static_cast<std::ptrdiff_t>(second));
}

}  // namespace

BlockRegion::BlockRegion(int width, int height)
    : width_(width),
      height_(height),
      columns_(blocksFor(width)),
      rows_(blocksFor(height)),
      blocks_(static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_)) {}

void BlockRegion::add(const PixelRect& rect) {
    const PixelRect inside = rect.intersection({0, 0, width_, height_});
    if (inside.isEmpty()) return;
    const int left = inside.x / blockSize;
    const int right = blocksFor(inside.maxX());
    for (int y = inside.y / blockSize; y < blocksFor(inside.maxY()); ++y)
        std::fill(row(y) + left, row(y) + right, std::uint8_t{1});
}

void BlockRegion::add(const BlockRegion& other) {
    for (std::size_t i = 0; i < blocks_.size(); ++i)
        blocks_[i] |= other.blocks_[i];
}

void BlockRegion::remove(const BlockRegion& other) {
    for (std::size_t i = 0; i < blocks_.size(); ++i)
        blocks_[i] &= static_cast<std::uint8_t>(1 - other.blocks_[i]);
}

void BlockRegion::keepOnly(const BlockRegion& other) {
    for (std::size_t i = 0; i < blocks_.size(); ++i)
        blocks_[i] &= other.blocks_[i];
}

void BlockRegion::clear() {
    std::fill(blocks_.begin(), blocks_.end(), std::uint8_t{0});
}

bool BlockRegion::isEmpty() const {
    return std::find(blocks_.begin(), blocks_.end(), 1) == blocks_.end();
}

std::size_t BlockRegion::blockCount() const {
    return static_cast<std::size_t>(std::count(blocks_.begin(), blocks_.end(), 1));
}

std::vector<PixelRect> BlockRegion::rectangles() const {
    std::vector<PixelRect> done;
    std::vector<PixelRect> open;  // end at the row above
    for (int y = 0; y < rows_; ++y) {
        std::vector<PixelRect> here = runs(row(y), columns_, y);
        for (const PixelRect& above : open) {
            const auto below = std::find_if(here.begin(), here.end(), [&](const PixelRect& run) {
                return run.x == above.x && run.width == above.width;
            });
            if (below == here.end()) {
                done.push_back(above);
            } else {
                *below = above.boundingUnion(*below);
            }
        }
        open = std::move(here);
    }
    done.insert(done.end(), open.begin(), open.end());
    for (PixelRect& rect : done) {
        rect =
            PixelRect{rect.x * blockSize, rect.y * blockSize, rect.width * blockSize, rect.height * blockSize}
                .intersection({0, 0, width_, height_});
    }
    return done;
}

std::vector<PixelRect> BlockRegion::rectangles(std::size_t limit) const {
    std::vector<PixelRect> joined;
    for (const PixelRect& rect : rectangles()) {
        joined.push_back(rect);
        if (joined.size() > limit) joinClosest(joined);
    }
    return joined;
}

}  // namespace lumicrate::pictures
