// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/MacroblockMap.h"

#include <algorithm>
#include <numeric>

namespace lumicrate::media {

namespace {

constexpr int block = 16;
constexpr std::uint8_t unpredicted = coarsestQuantizer + 1;

int blocks(int pixels) {
    return (pixels + block - 1) / block;
}

}  // namespace

MacroblockMap::MacroblockMap(int width, int height)
    : columns_(blocks(width)),
      rows_(blocks(height)),
      constant_(static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_), 0),
      quantizers_(constant_.size(), coarsestQuantizer),
      sources_(constant_.size(), unpredicted) {}

void MacroblockMap::begin(const std::optional<SCStreamFrameInfo>& info) {
    const std::optional<std::uint64_t> before = lastSequence_;
    lastSequence_ = info ? std::optional(info->sequence) : std::nullopt;
    isRepeat_ = info && before && info->sequence == *before;
    const bool next = info && before && info->sequence == *before + 1;
    markAll(isRepeat_ || next);
    if (isRepeat_) return;
    changes_ = next ? info->dirtyRects : std::vector<PixelRect>{{0, 0, columns_ * block, rows_ * block}};
    for (const PixelRect& rect : changes_)
        markDirty(rect);
    anyConstant_ =
        std::any_of(constant_.begin(), constant_.end(), [](std::uint8_t flag) { return flag != 0; });
}

void MacroblockMap::addScroll(const ScrollSearch& search, ScrollDistance distance) {
    for (int row = 0; row < rows_; ++row) {
        for (int column = 0; column < columns_; ++column) {
            const auto index = static_cast<std::size_t>(row * columns_ + column);
            if (constant_[index] == 0 && search.isScrolled(column, row))
                sources_[index] = coarsestAt(column * block - distance.x, row * block - distance.y);
        }
    }
}

/// The coarsest quantizer of the blocks that a block's size at this place touches.
std::uint8_t MacroblockMap::coarsestAt(int x, int y) const {
    std::uint8_t coarsest = 0;
    for (const int row : {y / block, (y + block - 1) / block}) {
        for (const int column : {x / block, (x + block - 1) / block}) {
            const int inside = std::min(row, rows_ - 1) * columns_ + std::min(column, columns_ - 1);
            coarsest = std::max(coarsest, quantizers_[static_cast<std::size_t>(std::max(inside, 0))]);
        }
    }
    return coarsest;
}

void MacroblockMap::beginAgain() {
    isRepeat_ = true;
    changes_.clear();
    markAll(true);
}

void MacroblockMap::markAll(bool constant) {
    std::fill(constant_.begin(), constant_.end(), constant ? 1 : 0);
    anyConstant_ = constant;
    if (constant) {
        sources_ = quantizers_;
    } else {
        std::fill(sources_.begin(), sources_.end(), unpredicted);
    }
}

void MacroblockMap::markDirty(const PixelRect& rect) {
    const PixelRect inside = rect.intersection({0, 0, columns_ * block, rows_ * block});
    if (inside.isEmpty()) return;
    const int left = inside.x / block;
    const int right = blocks(inside.maxX());
    for (int row = inside.y / block; row < blocks(inside.maxY()); ++row) {
        const auto begin = constant_.begin() + std::ptrdiff_t{row} * columns_;
        std::fill(begin + left, begin + right, std::uint8_t{0});
        const auto source = sources_.begin() + std::ptrdiff_t{row} * columns_;
        std::fill(source + left, source + right, unpredicted);
    }
}

PictureWork MacroblockMap::work(bool key) const {
    PictureWork work;
    work.key = key;
    // A key picture that is finer than what is shown would take the bits of those that follow, and be lost
    // after some pictures of motion.
    if (key && isAnyCoded_)
        work.finest =
            std::accumulate(quantizers_.begin(), quantizers_.end(), 0) / static_cast<int>(quantizers_.size());
    for (const std::uint8_t source : sources_) {
        if (key || source == unpredicted) {
            ++work.changed;
        } else {
            ++work.unchanged[source];
        }
    }
    return work;
}

void MacroblockMap::coded(bool key, int quantizer, std::span<const std::uint8_t> uncovered) {
    isAnyCoded_ = true;
    const auto coarse = static_cast<std::uint8_t>(quantizer);
    const auto fine = static_cast<std::uint8_t>(std::max(quantizer - uncoveredFiner, 0));
    for (std::size_t each = 0; each < sources_.size(); ++each) {
        const std::uint8_t own = !uncovered.empty() && uncovered[each] != 0 ? fine : coarse;
        quantizers_[each] = key ? own : std::min(sources_[each], own);
    }
}

int MacroblockMap::coarsest() const {
    return *std::max_element(quantizers_.begin(), quantizers_.end());
}

}  // namespace lumicrate::media
