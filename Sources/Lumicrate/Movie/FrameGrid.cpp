// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Movie/FrameGrid.h"

namespace lumicrate {

FrameGrid::FrameGrid(const CMSampleBuffer& first, int fps)
    : start_(first.presentationTimeStamp()), fps_(fps), current_(first) {}

bool FrameGrid::add(const CMSampleBuffer& picture) {
    const CMTime captured = picture.presentationTimeStamp();
    if (captured <= (later_ ? *later_ : current_).presentationTimeStamp()) return true;
    if (captured <= end()) {
        current_ = picture;
        return true;
    }
    const bool displaces = later_.has_value();
    later_ = picture;
    return !displaces;
}

std::optional<CMSampleBuffer> FrameGrid::next(CMTime until) const {
    if (end() > until) return std::nullopt;
    return current_.copyWithNewTiming({CMTime(1, fps_), end(), CMTime::invalid()});
}

void FrameGrid::advance() {
    ++index_;
    if (!later_ || later_->presentationTimeStamp() > end()) return;
    current_ = *later_;
    later_.reset();
}

}  // namespace lumicrate
