// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Capture/ContentFollower.h"

#include "Support/Error.h"

#include <utility>

namespace lumicrate {

ContentFollower::ContentFollower(ScreenCaptureKit& capture, Executor& executor, Refresh refresh)
    : capture_(capture),
      executor_(executor),
      refresh_(std::move(refresh)),
      self_(std::make_shared<ContentFollower*>(this)) {
    // Before the first refresh, so that no change in between is missed.
    capture_.setOnContentChange([&loop = executor_, weak = std::weak_ptr(self_)] {
        loop.post([weak] {
            if (const auto self = weak.lock()) (*self)->changed();
        });
    });
    changed();
}

ContentFollower::~ContentFollower() {
    capture_.setOnContentChange(nullptr);
}

void ContentFollower::changed() {
    pending_ = true;
    if (!refreshing_.isRunning()) refreshing_ = RunningTask(executor_, refreshWhilePending());
}

Task<void> ContentFollower::refreshWhilePending() {
    while (std::exchange(pending_, false)) {
        Task<void> refresh = refresh_();
        try {
            co_await refresh;
        } catch (const PlatformError&) {
            // The lists stay as they are until the next change.
        }
    }
}

}  // namespace lumicrate
