// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Pictures/StillPicture.h"

#include "Support/MediaTime.h"

#include <poll.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace lumicrate::pictures {

namespace {

using namespace std::chrono_literals;

/// Sleeps until an update is due, or until the deadline.
void awaitUpdate(LivePicture& capture, std::chrono::nanoseconds deadline) {
    while (!capture.processEvents()) {
        const auto next = std::min(capture.nextUpdate().value_or(deadline), deadline);
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - HostClock::now());
        if (left <= 0ms) return;
        pollfd watched{capture.fileDescriptor(), POLLIN, 0};
        poll(&watched, 1, static_cast<int>(left.count()));
    }
}

}  // namespace

bool awaitComplete(LivePicture& picture, std::chrono::nanoseconds timeout) {
    const auto deadline = HostClock::now() + timeout;
    while (picture.update().incomplete) {
        if (HostClock::now() >= deadline) return false;
        awaitUpdate(picture, deadline);
    }
    return true;
}

CGImage imageFrom(const BgraView& picture) {
    CGImage image{picture.width, picture.height, {}};
    image.pixels.resize(static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height) *
                        3);
    std::uint8_t* out = image.pixels.data();
    for (int y = 0; y < picture.height; ++y) {
        const std::uint32_t* const row = picture.row(y);
        for (int x = 0; x < picture.width; ++x, out += 3) {
            const std::uint32_t pixel = row[x];
            out[0] = static_cast<std::uint8_t>(pixel >> 16U);
            out[1] = static_cast<std::uint8_t>(pixel >> 8U);
            out[2] = static_cast<std::uint8_t>(pixel);
        }
    }
    return image;
}

}  // namespace lumicrate::pictures
