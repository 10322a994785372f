// Clip: pictures as capture would deliver them, one after the other, made without a screen.
//
// They are played forwards and backwards by turns, so that a clip is as long as one likes while only as much
// changes from picture to picture as does on a screen.
#pragma once

#include "Linux/X11/Pixels/PixelBufferPool.h"
#include "Linux/X11/Pixels/ShadowImage.h"
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

    // What is to be seen: "still", "typing", "scrolling", "moving" or "dragging".
    Clip(const std::string& content, int pictures);

    struct Picture {
        const CVPixelBuffer& pixels;
        SCStreamFrameInfo info;
    };
    // The n-th picture played, from 0; to be asked for in this order if the information is to be true.
    Picture at(std::uint64_t n) const;

 private:
    void append(const x11::BgraView& view, x11::ShadowImage& shadow);

    std::vector<std::unique_ptr<x11::PixelBuffer>> pictures_;
    std::vector<std::vector<PixelRect>> changes_;  // from each picture to the next, either way
};

}  // namespace lumicrate::bench
