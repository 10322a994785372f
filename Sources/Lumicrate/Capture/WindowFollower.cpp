// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Capture/WindowFollower.h"

#include "Lumicrate/Capture/ContentFilter.h"

#include <chrono>
#include <optional>
#include <utility>

namespace lumicrate {

namespace {

constexpr std::chrono::milliseconds interval(120);

}  // namespace

Task<void> followWindow(Executor& executor, const ScreenCaptureKit& capture, FollowedWindow window,
                        WindowFollowing handlers) {
    Rect last = window.frame;
    // The frame at the last call of `moved`.
    Rect reported = window.frame;
    while (true) {
        co_await sleepFor(executor, interval);
        const std::optional<Rect> now = capture.windowBounds(window.windowID);
        if (!now && !capture.windowExists(window.windowID)) break;
        if (!now || now == last) continue;
        last = *now;
        const Rect part = partOfDisplay(last, capture.CGDisplayBounds(window.displayID));
        if (part.isEmpty()) continue;
        Task<void> changing = handlers.setSourceRect(part);
        co_await changing;
        handlers.moved(std::exchange(reported, last), last);
    }
    handlers.closed();
}

}  // namespace lumicrate
