// SPDX-License-Identifier: GPL-3.0-or-later
// SourceLists: the displays, windows, microphones and cameras that can be recorded.
#pragma once

#include "Lumicrate/Capture/CaptureSource.h"
#include "Platform/AVCaptureDevice.h"
#include "Platform/ScreenCaptureKit.h"
#include "Support/Executor.h"
#include "Support/Geometry.h"
#include "Support/Published.h"
#include "Support/Task.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate {

/// What can be captured now. Throws the platform's error. Both must outlive the task.
Task<SCShareableContent> fetchShareableContent(const ScreenCaptureKit& capture, Executor& executor);

/// The name of the application that owns a window; empty if unknown.
std::string applicationName(const SCWindow& window);

/// The windows to offer for recording, sorted by application name: those on the normal layer that have a
/// title and a usable size and do not belong to the process `ownProcessID`.
std::vector<SCWindow> offeredWindows(std::vector<SCWindow> windows, std::int32_t ownProcessID);

/// Main thread only.
class SourceLists {
 public:
    /// All must outlive the lists. `processID` is this application's.
    SourceLists(const ScreenCaptureKit& capture, AVCaptureDevices& devices, Executor& executor,
                std::int32_t processID)
        : capture_(capture), devices_(devices), executor_(executor), processID_(processID) {}
    ~SourceLists();
    SourceLists(const SourceLists&) = delete;
    SourceLists& operator=(const SourceLists&) = delete;

    Published<std::vector<SCDisplay>> displays;
    /// The offered windows and, while it exists, the window that ensureListed was last called for.
    Published<std::vector<SCWindow>> windows;
    Published<std::vector<CaptureDevice>> microphones;
    Published<std::vector<CaptureDevice>> cameras;

    /// Reloads displays and windows. Throws the platform's error and leaves the lists as they are.
    Task<void> refreshSources();
    void refreshDevices();
    /// Refreshes the devices now and whenever one is connected or disconnected.
    void followDevices();
    /// Keeps an existing window in `windows` even if it would not be offered, until another call.
    Task<void> ensureListed(std::uint32_t windowID);

    bool isSourceAvailable(const std::optional<CaptureSource>& source) const;
    std::uint32_t mainDisplayID() const;

    /// A listed window's frame on the listed display that shows most of it.
    struct WindowPlace {
        std::uint32_t displayID = 0;
        Rect frame;  ///< points, y down from the display's top left corner
    };
    std::optional<WindowPlace> placeOfWindow(std::uint32_t windowID) const;

 private:
    const ScreenCaptureKit& capture_;
    AVCaptureDevices& devices_;
    Executor& executor_;
    std::int32_t processID_;
    std::optional<std::uint32_t> kept_;  ///< the window of ensureListed
    /// Whether a refresh of the devices is pending; null while they are not followed.
    std::shared_ptr<std::atomic<bool>> devicesChanged_;
};

/// Refreshes lists whenever the capturable displays or windows change: once at the start and after every
/// change. Refreshes do not overlap: any number of changes during one causes a single further refresh. Main
/// thread only.
class ContentFollower {
 public:
    using Refresh = std::function<Task<void>()>;

    /// All must outlive the follower. A PlatformError thrown by `action` is ignored.
    ContentFollower(ScreenCaptureKit& capture, Executor& executor, Refresh action);
    ~ContentFollower();
    ContentFollower(const ContentFollower&) = delete;
    ContentFollower& operator=(const ContentFollower&) = delete;

    /// Refreshes the lists once more.
    void refresh();

 private:
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
