// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/MainWindow/WindowPicker.h"

#include <chrono>
#include <vector>

namespace lumicrate {

void WindowPicker::open() {
    close();
    if (!screenshots_) return;
    windowChanges_ =
        sources_.content.observe([this](const SourceBar::Content& coming) { take(coming.windows); });
    take(sources_.content->windows);
}

void WindowPicker::close() {
    windowChanges_.reset();
    taking_.cancel();
    pictures_.clear();
}

const CGImage* WindowPicker::picture(std::uint32_t windowID) const {
    const auto found = pictures_.find(windowID);
    return found == pictures_.end() || !found->second ? nullptr : &*found->second;
}

void WindowPicker::take(std::vector<SourceBar::Window> windows) {
    std::erase_if(windows, [this](const SourceBar::Window& each) { return pictures_.contains(each.id); });
    if (!windows.empty()) taking_ = RunningTask(executor_, takeAll(std::move(windows)));
}

Task<void> WindowPicker::takeAll(std::vector<SourceBar::Window> windows) {
    for (const SourceBar::Window& each : windows) {
        // Let other events be handled first.
        co_await sleepFor(executor_, std::chrono::nanoseconds::zero());
        pictures_[each.id] = screenshots_->captureImage(each.id, size_);
        arrivals_.notify(each.id);
    }
}

}  // namespace lumicrate
