// SPDX-License-Identifier: GPL-3.0-or-later
// Clip: pictures as capture delivers them, generated without a screen.
//
// They are played forwards and backwards alternately, so that a clip of any length has changes as on a
// screen.
#pragma once

#include "Linux/Pictures/PixelBufferPool.h"
#include "Linux/Pictures/ShadowImage.h"
#include "Platform/CMSampleBuffer.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace lumicrate::bench {

class Clip {
 public:
    static constexpr int width = 1920;
    static constexpr int height = 1080;

    // `content` is "still", "typing", "moving", "dragging" or the name of a scrolling view.
    Clip(const std::string& content, int pictures);

    struct Picture {
        const CVPixelBuffer& pixels;
        SCStreamFrameInfo info;
    };
    // The n-th picture played, from 0. The dirty rectangles are right only when called in this order.
    Picture at(std::uint64_t n) const;

 private:
    void append(const pictures::BgraView& view, pictures::ShadowImage& shadow);

    std::vector<std::unique_ptr<pictures::PixelBuffer>> pictures_;
    std::vector<std::vector<PixelRect>> changes_;  // between each picture and the next, in both directions
};

}  // namespace lumicrate::bench
