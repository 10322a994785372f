// ContentFollower: keeps something in step with what can be captured.
#pragma once

#include "Platform/ScreenCaptureKit.h"
#include "Support/Executor.h"
#include "Support/Task.h"

#include <functional>
#include <memory>

namespace lumicrate {

/// Refreshes once at the beginning and again after every change. One refresh follows the other; whatever
/// changes during one causes a single one more. Main thread only.
class ContentFollower {
 public:
    using Refresh = std::function<Task<void>()>;

    /// Both must outlive the follower. The platform's errors in a refresh are left to whoever is told of them
    /// otherwise.
    ContentFollower(ScreenCaptureKit& capture, Executor& executor, Refresh refresh);
    ~ContentFollower();
    ContentFollower(const ContentFollower&) = delete;
    ContentFollower& operator=(const ContentFollower&) = delete;

 private:
    void changed();
    Task<void> refreshWhileWanted();

    ScreenCaptureKit& capture_;
    Executor& executor_;
    Refresh refresh_;
    bool wanted_ = false;
    // What is posted finds the follower through this, or finds it gone.
    std::shared_ptr<ContentFollower*> self_;
    RunningTask refreshing_;
};

}  // namespace lumicrate
