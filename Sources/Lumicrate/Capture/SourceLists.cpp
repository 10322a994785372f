// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Capture/SourceLists.h"

#include "Lumicrate/Capture/ContentFilter.h"
#include "Support/Error.h"

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

namespace lumicrate {

namespace {

constexpr double minOfferedWidth = 80;
constexpr double minOfferedHeight = 60;

struct Fetched {
    SCShareableContent content;
    std::exception_ptr error;
};

bool isOffered(const SCWindow& window, std::int32_t ownProcessID) {
    const bool own = window.owningApplication && window.owningApplication->processID == ownProcessID;
    return window.windowLayer == 0 && window.frame.width >= minOfferedWidth &&
           window.frame.height >= minOfferedHeight && !own && window.title && !window.title->empty();
}

auto findWindow(const std::vector<SCWindow>& windows, std::uint32_t windowID) {
    return std::ranges::find(windows, windowID, &SCWindow::windowID);
}

}  // namespace

Task<SCShareableContent> fetchShareableContent(const ScreenCaptureKit& capture, Executor& executor) {
    const Completion<Fetched> arrived(executor);
    capture.getShareableContent([arrived](SCShareableContent content, std::exception_ptr error) {
        arrived.resolve(Fetched{std::move(content), std::move(error)});
    });
    Fetched fetched = co_await arrived;
    if (fetched.error) std::rethrow_exception(fetched.error);
    co_return std::move(fetched.content);
}

std::string applicationName(const SCWindow& window) {
    return window.owningApplication ? window.owningApplication->applicationName : std::string();
}

std::vector<SCWindow> offeredWindows(std::vector<SCWindow> windows, std::int32_t ownProcessID) {
    std::erase_if(windows, [ownProcessID](const SCWindow& each) { return !isOffered(each, ownProcessID); });
    std::ranges::stable_sort(windows, {}, applicationName);
    return windows;
}

SourceLists::~SourceLists() {
    if (devicesChanged_) devices_.setOnChange({});
}

Task<void> SourceLists::refreshSources() {
    SCShareableContent content = co_await fetchShareableContent(capture_, executor_);
    std::vector<SCWindow> listed = offeredWindows(content.windows, processID_);
    if (kept_ && findWindow(listed, *kept_) == listed.end()) {
        const auto kept = findWindow(content.windows, *kept_);
        if (kept != content.windows.end()) {
            listed.push_back(*kept);
        } else {
            // Forgotten, because the server may give its number to another window.
            kept_.reset();
        }
    }
    displays = std::move(content.displays);
    windows = std::move(listed);
}

void SourceLists::refreshDevices() {
    microphones = devices_.microphones();
    cameras = devices_.cameras();
}

void SourceLists::followDevices() {
    devicesChanged_ = std::make_shared<std::atomic<bool>>(false);
    devices_.setOnChange([this, weak = std::weak_ptr(devicesChanged_), &executor = executor_] {
        const auto changed = weak.lock();
        if (!changed || changed->exchange(true)) return;
        executor.post([this, weak] {
            const auto stillFollowed = weak.lock();
            if (!stillFollowed) return;
            *stillFollowed = false;
            refreshDevices();
        });
    });
    refreshDevices();
}

Task<void> SourceLists::ensureListed(std::uint32_t windowID) {
    kept_ = windowID;
    if (findWindow(windows.get(), windowID) != windows->end()) co_return;
    const SCShareableContent content = co_await fetchShareableContent(capture_, executor_);
    const auto found = findWindow(content.windows, windowID);
    if (found == content.windows.end()) co_return;
    std::vector<SCWindow> extended = windows.get();
    extended.push_back(*found);
    windows = std::move(extended);
}

bool SourceLists::isSourceAvailable(const std::optional<CaptureSource>& source) const {
    if (!source) return false;
    if (const auto windowID = source->windowID())
        return findWindow(windows.get(), *windowID) != windows->end();
    if (const auto displayID = source->displayID())
        return std::ranges::find(*displays, *displayID, &SCDisplay::displayID) != displays->end();
    return true;
}

std::uint32_t SourceLists::mainDisplayID() const {
    return chooseMainDisplay(displays.get(), capture_.CGMainDisplayID());
}

std::optional<SourceLists::WindowPlace> SourceLists::placeOfWindow(std::uint32_t windowID) const {
    const auto window = findWindow(windows.get(), windowID);
    if (window == windows->end() || !window->hasPosition || displays->empty()) return std::nullopt;
    const SCDisplay& display = displayShowingMost(displays.get(), window->frame);
    return WindowPlace{display.displayID,
                       window->frame.offsetBy(-display.frame.minX(), -display.frame.minY())};
}

ContentFollower::ContentFollower(ScreenCaptureKit& capture, Executor& executor, Refresh action)
    : capture_(capture),
      executor_(executor),
      refresh_(std::move(action)),
      self_(std::make_shared<ContentFollower*>(this)) {
    // Before the first refresh, so that no change in between is missed.
    capture_.setOnContentChange([&loop = executor_, weak = std::weak_ptr(self_)] {
        loop.post([weak] {
            if (const auto self = weak.lock()) (*self)->refresh();
        });
    });
    refresh();
}

ContentFollower::~ContentFollower() {
    capture_.setOnContentChange(nullptr);
}

void ContentFollower::refresh() {
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
