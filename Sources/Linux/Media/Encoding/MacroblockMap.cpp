// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/MacroblockMap.h"

#include <algorithm>

namespace lumicrate::media {

namespace {

constexpr int block = 16;

int blocks(int pixels) {
    return (pixels + block - 1) / block;
}

}  // namespace

MacroblockMap::MacroblockMap(int width, int height)
    : columns_(blocks(width)),
      rows_(blocks(height)),
      constant_(static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_), 0),
      quantizers_(constant_.size(), coarsestQuantizer) {}

void MacroblockMap::begin(const std::optional<SCStreamFrameInfo>& info) {
    const std::optional<std::uint64_t> before = lastSequence_;
    lastSequence_ = info ? std::optional(info->sequence) : std::nullopt;
    isRepeat_ = info && before && info->sequence == *before;
    const bool next = info && before && info->sequence == *before + 1;
    markAll(isRepeat_ || next);
    if (!next) return;
    for (const PixelRect& rect : info->dirtyRects)
        markDirty(rect);
    anyConstant_ =
        std::any_of(constant_.begin(), constant_.end(), [](std::uint8_t flag) { return flag != 0; });
}

void MacroblockMap::beginAgain() {
    isRepeat_ = true;
    markAll(true);
}

void MacroblockMap::markAll(bool constant) {
    std::fill(constant_.begin(), constant_.end(), constant ? 1 : 0);
    anyConstant_ = constant;
}

void MacroblockMap::markDirty(const PixelRect& rect) {
    const PixelRect inside = rect.intersection({0, 0, columns_ * block, rows_ * block});
    if (inside.isEmpty()) return;
    const int left = inside.x / block;
    const int right = blocks(inside.maxX());
    for (int row = inside.y / block; row < blocks(inside.maxY()); ++row) {
        const auto begin = constant_.begin() + std::ptrdiff_t{row} * columns_;
        std::fill(begin + left, begin + right, std::uint8_t{0});
    }
}

PictureWork MacroblockMap::work(bool key) const {
    PictureWork work;
    work.key = key;
    if (key || !anyConstant_) {
        work.changed = static_cast<int>(constant_.size());
        return work;
    }
    for (std::size_t block = 0; block < constant_.size(); ++block) {
        if (constant_[block] != 0) {
            ++work.unchanged[quantizers_[block]];
        } else {
            ++work.changed;
        }
    }
    return work;
}

void MacroblockMap::coded(bool key, int quantizer) {
    const auto fine = static_cast<std::uint8_t>(quantizer);
    for (std::size_t block = 0; block < constant_.size(); ++block) {
        const bool skipped = !key && constant_[block] != 0 && quantizers_[block] <= fine;
        if (!skipped) quantizers_[block] = fine;
    }
}

int MacroblockMap::coarsest() const {
    return *std::max_element(quantizers_.begin(), quantizers_.end());
}

}  // namespace lumicrate::media
