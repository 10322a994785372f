#include "Lumicrate/Capture/ContentFollower.h"

#include "Support/Error.h"

#include <utility>

namespace lumicrate {

ContentFollower::ContentFollower(ScreenCaptureKit& capture, Executor& executor, Refresh refresh)
    : capture_(capture),
      executor_(executor),
      refresh_(std::move(refresh)),
      self_(std::make_shared<ContentFollower*>(this)) {
    // Before the first refresh, so that nothing changes unheard between the two.
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
    wanted_ = true;
    if (!refreshing_.isRunning()) refreshing_ = RunningTask(executor_, refreshWhileWanted());
}

Task<void> ContentFollower::refreshWhileWanted() {
    while (std::exchange(wanted_, false)) {
        Task<void> refresh = refresh_();
        try {
            co_await refresh;
        } catch (const PlatformError&) {
            // The lists stay as they are until something changes again.
        }
    }
}

}  // namespace lumicrate
