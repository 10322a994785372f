// SPDX-License-Identifier: GPL-3.0-or-later
// FrameCollector: receives the frames of a source of pictures.
#pragma once

#include "Platform/SampleSource.h"
#include "Support/Error.h"
#include "Tests/Linux/Pictures/Pictures.h"
#include "Tests/Stage/Await.h"

#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate::test {

/// Collects frames, checks what must hold for each, and waits for what a test expects.
class FrameCollector {
 public:
    /// Everything so far.
    struct Seen {
        std::vector<CMSampleBuffer> complete;  ///< without pictures
        std::size_t idle = 0;
        Picture last;
        std::string failure;
        std::string violation;  ///< of the first invalid frame; empty if there is none
    };

    /// Called with every complete frame, on the source's thread.
    std::function<void(const CMSampleBuffer&)> onFrame;

    SampleSource::Handlers handlers() {
        return {[this](const CMSampleBuffer& sample) { take(sample); },
                [this](const std::exception_ptr& error) {
                    const std::lock_guard lock(mutex_);
                    seen_.failure = localizedDescription(error);
                },
                [](const std::string&) {}};
    }
    /// Waits until the condition holds; false on timeout.
    bool waitUntil(const std::function<bool(const Seen&)>& condition) {
        return stage::eventually([&] {
            const std::lock_guard lock(mutex_);
            return condition(seen_);
        });
    }
    bool waitForFrames(std::size_t count) {
        return waitUntil([&](const Seen& seen) { return seen.complete.size() >= count; });
    }
    /// The source sends one when the screen has been still for a while.
    bool waitForIdleFrame() {
        return waitUntil([](const Seen& seen) { return seen.idle == 1; });
    }
    bool waitForPicture(const Picture& expected) {
        return waitUntil([&](const Seen& seen) { return seen.last == expected; });
    }
    Seen seen() {
        const std::lock_guard lock(mutex_);
        return seen_;
    }

 private:
    void take(CMSampleBuffer sample) {
        const bool isIdle = sample.frameInfo->status == SCFrameStatus::idle;
        if (!isIdle && onFrame) onFrame(sample);
        const std::lock_guard lock(mutex_);
        if (isIdle) {
            ++seen_.idle;
            if (sample.imageBuffer) seen_.violation = "an idle frame with a picture";
        } else {
            Picture picture(*sample.imageBuffer);
            check(sample, picture);
            sample.imageBuffer = nullptr;
            seen_.complete.push_back(std::move(sample));
            seen_.last = std::move(picture);
        }
    }
    void check(const CMSampleBuffer& sample, const Picture& picture) {
        const auto require = [&](bool holds, const std::string& violation) {
            if (!holds && seen_.violation.empty())
                seen_.violation = violation + " in frame " + std::to_string(seen_.complete.size());
        };
        const PixelRect bounds{0, 0, picture.width, picture.height};
        const std::vector<PixelRect>& dirtyRects = sample.frameInfo->dirtyRects;
        Picture patched = seen_.complete.empty() ? picture : seen_.last;
        if (seen_.complete.empty()) {
            require(dirtyRects == std::vector{bounds}, "a first frame that is not all dirty");
        } else {
            const CMSampleBuffer& before = seen_.complete.back();
            require(sample.frameInfo->sequence == before.frameInfo->sequence + 1, "a gap");
            require(sample.presentationTimeStamp() > before.presentationTimeStamp(), "time going back");
        }
        require(!dirtyRects.empty(), "nothing dirty");
        for (const PixelRect& rect : dirtyRects) {
            require(rect.intersection(bounds) == rect && !rect.isEmpty(), "a rectangle outside");
            patched.copy(rect, picture);
        }
        require(patched == picture, "a change outside the dirty rectangles");
    }

    std::mutex mutex_;
    Seen seen_;
};

}  // namespace lumicrate::test
