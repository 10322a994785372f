// SPDX-License-Identifier: GPL-3.0-or-later
// ContentFollower: refreshes lists whenever the capturable displays or windows change.
#pragma once

#include "Platform/ScreenCaptureKit.h"
#include "Support/Executor.h"
#include "Support/Task.h"

#include <functional>
#include <memory>

namespace lumicrate {

/// Refreshes once at the start and after every change. Refreshes do not overlap: any number of changes during
/// one causes a single further refresh. Main thread only.
class ContentFollower {
 public:
    using Refresh = std::function<Task<void>()>;

    /// All must outlive the follower. A PlatformError thrown by `refresh` is ignored.
    ContentFollower(ScreenCaptureKit& capture, Executor& executor, Refresh refresh);
    ~ContentFollower();
    ContentFollower(const ContentFollower&) = delete;
    ContentFollower& operator=(const ContentFollower&) = delete;

 private:
    void changed();
    Task<void> refreshWhilePending();

    ScreenCaptureKit& capture_;
    Executor& executor_;
    Refresh refresh_;
    bool pending_ = false;
    // Posted work holds this weakly.
    std::shared_ptr<ContentFollower*> self_;
    RunningTask refreshing_;
};

}  // namespace lumicrate
