// SourceLists: what can be recorded, and with which devices.
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
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate {

/// Fetches what can be captured now; throws the platform's error. Both must outlive the task.
Task<SCShareableContent> fetchShareableContent(const ScreenCaptureKit& capture, Executor& executor);

/// Of the application that a window belongs to; empty where none is known.
std::string applicationName(const SCWindow& window);

/// The windows that are offered to be recorded: titled ones of a usable size on the normal layer that are not
/// those of the process `ownProcessID`; by application name.
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
    /// Those that are offered and, until the next refresh, one that was asked for by its number.
    Published<std::vector<SCWindow>> windows;
    Published<std::vector<CaptureDevice>> microphones;
    Published<std::vector<CaptureDevice>> cameras;

    /// Reloads displays and windows. Throws the platform's error and leaves the lists as they are.
    Task<void> refreshSources();
    void refreshDevices();
    /// Reloads the devices now and whenever one comes or goes.
    void followDevices();
    /// Makes sure that a window which exists is listed, also one that the list would leave out.
    Task<void> knowWindow(std::uint32_t windowID);

    bool isSourceAvailable(const std::optional<CaptureSource>& source) const;
    std::uint32_t mainDisplayID() const;

    /// A listed window's place on the listed display that shows most of it.
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
    /// Whether changed devices are waiting to be reloaded, while they are followed.
    std::shared_ptr<std::atomic<bool>> devicesChanged_;
};

}  // namespace lumicrate
