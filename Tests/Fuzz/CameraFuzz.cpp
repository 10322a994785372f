// SPDX-License-Identifier: GPL-3.0-or-later
// What a camera sends, which may be anything: decoded, turned and converted.
//
// Input: pixels, width and height in units of 8, stride and size of the first block, transform and crop in
// one byte each, then the frame.
#include "Linux/Media/Camera/CameraConverter.h"
#include "Linux/Media/Camera/CameraDecoder.h"
#include "Tests/Fuzz/Mutations.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace {

using namespace lumicrate;

constexpr std::size_t headerSize = 8;

CameraFrame frameFrom(std::span<const std::uint8_t> input) {
    CameraFrame frame;
    const auto at = [&](std::size_t index) { return static_cast<int>(input[index]); };
    frame.format = {static_cast<CameraPixels>(at(0) % 15), {at(1) * 8 + at(6) % 2, at(2) * 8}, 30};
    frame.transform = {at(5) % 2 != 0, at(5) / 2 % 4};
    if (at(6) != 0) frame.crop = PixelRect{at(6) - 100, at(7) - 100, at(7) * 4, at(6) * 4};
    frame.bytes.assign(input.begin() + headerSize, input.end());
    const std::size_t size = frame.bytes.size();
    const std::size_t first = at(4) == 0 ? size : size * static_cast<std::size_t>(at(4)) / 256;
    frame.planes.push_back({0, first, at(3) * 8});
    if (first < size) frame.planes.push_back({first, size - first, at(3) * 8});
    frame.bytes.resize(size + CameraFrame::padding);
    return frame;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < headerSize) return 0;
    const CameraFrame frame = frameFrom({data, size});
    media::CameraDecoder decoder;
    media::CameraConverter converter;
    for (const PixelSize cover : {PixelSize{16, 16}, PixelSize{300, 40}}) {
        const AVFrame* picture = decoder.decode(frame, media::reductionFor(frame, cover));
        if (!picture) continue;
        const RenderedPicture preview = converter.preview(frame, *picture, cover);
        fuzz::check(!preview.pixels || (preview.width >= cover.width && preview.height >= cover.height),
                    "a preview covers the wanted size");
    }
    if (const AVFrame* picture = decoder.decode(frame, 0)) {
        for (const bool isMirrored : {false, true}) {
            const auto buffer = converter.pixelBuffer(frame, *picture, isMirrored);
            fuzz::check(!buffer || PixelSize{buffer->width, buffer->height} == media::uprightSize(frame),
                        "a frame has the full size");
        }
    }
    return 0;
}
