// SPDX-License-Identifier: GPL-3.0-or-later
// AreaSelector: lets the user choose a window or drag an area on one screen.
#pragma once

#include "Lumicrate/Overlays/OverlayContents.h"
#include "Lumicrate/Overlays/Selection/AreaToolbarModel.h"
#include "Lumicrate/Overlays/Selection/RecordOptionsBar.h"
#include "Lumicrate/Overlays/Selection/SelectionModel.h"
#include "Platform/AVAsset.h"
#include "Platform/NSProcessInfo.h"
#include "Platform/SCScreenshotManager.h"
#include "Platform/ScreenCaptureKit.h"
#include "Support/Executor.h"
#include "Support/Task.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate {

/// What was chosen on a screen: a rectangle, in points of that screen with y down from its top left corner,
/// and the window's number if the rectangle is the frame of a window that is to be recorded.
struct PickedArea {
    Rect rect;
    std::optional<std::uint32_t> windowID;
    std::vector<Rect> covers{};  ///< parts of the screen that the recording does not show
};

/// The models of one selection's overlay, which are connected through the toolbar's model.
struct AreaSelection {
    AreaSelection(std::string confirmTitle, std::vector<CaptureDevice> microphones, NSUserDefaults& defaults,
                  const std::function<void(const std::string&)>& complain, SelectionModel::Settings settings,
                  SelectionModel::OnFinish onFinish);

    AreaToolbarModel toolbar;
    RecordOptionsBar options;
    SelectionModel selection;
    /// A picture of the screen without the overlay, in its pixels; none if it could not be taken.
    std::optional<CGImage> snapshot;
    /// Show the snapshot instead of the screen behind the overlay.
    bool isFrozen = false;
};

/// One selection at a time: a new one cancels the previous one. Main thread only.
class AreaSelector final {
 public:
    /// All must outlive the selector.
    struct Services {
        Executor& executor;
        const ScreenCaptureKit& capture;
        SCScreenshotManager& screenshots;
        const NSProcessInfo& process;
        const NSScreens& screens;
        NSUserDefaults& defaults;
        OverlayContents& contents;
    };

    explicit AreaSelector(const Services& services)
        : services_(services), screenChanges_(services.screens.observe([this] { screensChanged(); })) {}
    AreaSelector(const AreaSelector&) = delete;
    AreaSelector& operator=(const AreaSelector&) = delete;

    /// `complain` receives messages for the user about preferences that cannot be stored.
    void setComplaints(std::function<void(const std::string&)> complain) { complain_ = std::move(complain); }

    /// None when the user cancels. Destroying the task removes the overlay.
    Task<std::optional<PickedArea>> select(NSScreen screen, std::string confirmTitle,
                                           std::optional<Rect> initialArea,
                                           std::vector<CaptureDevice> microphones, bool windowsOnly);
    /// Lets the user pick a window; `hint` says what for.
    Task<std::optional<PickedArea>> pickWindow(NSScreen screen, std::string hint);
    /// Receives covers: points of the screen, y down.
    using CoversHandler = std::function<void(std::vector<Rect>)>;
    /// Lets the user cover parts of an area, whose covers are known, and calls `changed` after each change.
    /// All in points of the screen, y down. Ends when the user is done, or when the screen changes.
    Task<void> drawCovers(NSScreen screen, Rect area, std::vector<Rect> covers, CoversHandler changed);
    /// Ends the selection in progress, also one that has not opened its overlay yet, with none.
    void cancel();
    /// Reads the windows of the screen again, while the overlay is open.
    void refreshTargets();

 private:
    struct Request {
        NSScreen screen;
        std::string confirmTitle;
        std::vector<CaptureDevice> microphones{};
        bool windowsOnly = false;
        std::optional<std::string> windowHint{};
        CoversHandler onCovers{};  ///< set: only draw covers
    };
    /// What is selected at first: points of the screen, y down.
    struct Start {
        std::optional<Rect> area;
        std::vector<Rect> covers;
    };

    Task<std::optional<PickedArea>> run(Request request, Start start);
    void screensChanged();
    Task<void> readTargets();
    Task<void> reopen(Start start);
    void create(std::vector<HoverTarget> targets, const Start& start);
    std::vector<Rect> covers() const;
    void reportCovers();
    std::optional<CGImage> snapshot(const NSScreen& of);
    Task<std::vector<HoverTarget>> hoverTargets(NSScreen on);
    void open(const NSScreen& screen);
    void finish(std::optional<PickedArea> picked);
    void close();

    Services services_;
    std::function<void(const std::string&)> complain_ = [](const std::string&) {};
    Request request_;
    std::unique_ptr<AreaSelection> selection_;
    Subscription coverChanges_;
    std::unique_ptr<NSPanel> panel_;
    std::optional<Completion<std::optional<PickedArea>>> result_;
    std::uint64_t runs_ = 0;
    RunningTask refreshing_;
    Subscription screenChanges_;
};

/// The windows of other processes that can be clicked on a display, front-most first, each with its part on
/// that display. `windows` front to back; frames global, points, y down.
std::vector<HoverTarget> hoverTargets(const std::vector<SCWindow>& windows, const Rect& display,
                                      std::int32_t ownProcessID);

}  // namespace lumicrate
