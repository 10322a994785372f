// SPDX-License-Identifier: GPL-3.0-or-later
// SourceChooser: asks the user what to record.
#pragma once

#include "Lumicrate/Capture/CaptureSource.h"
#include "Lumicrate/Capture/SourceLists.h"
#include "Lumicrate/Overlays/RecorderOverlays.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Platform/NSScreen.h"
#include "Platform/SCContentSharingPicker.h"
#include "Support/Geometry.h"
#include "Support/Task.h"

#include <cstdint>
#include <optional>

namespace lumicrate {

struct PickedArea;

/// The screen of a display, or else the main screen; none without screens.
std::optional<NSScreen> screenShowing(const NSScreens& service, std::uint32_t displayID);

/// The display under the pointer, if the pointer is on one.
std::optional<std::uint32_t> displayUnderPointer(const NSScreens& service);

/// Main thread only.
class SourceChooser {
 public:
    struct Choice {
        CaptureSource source;
        /// Set for an area: points of its screen, y down from the top left corner.
        std::optional<Rect> area;
        std::vector<Rect> covers{};  ///< of an area, in the same points
    };

    /// All must outlive the chooser. `picker` is null where programs may capture without it.
    SourceChooser(const RecorderOverlays& overlays, const NSScreens& screens, SourceLists& lists,
                  SCContentSharingPicker* picker)
        : overlays_(overlays), screens_(screens), lists_(lists), picker_(picker) {}

    /// Asks for what `mode` records: a window or an area on the display `displayID`, or one of the screens.
    /// `initialArea` is selected first. None if the user cancels, or if there is no overlay to ask with. A
    /// single screen is chosen without asking. Where the user has to share what is captured, share() asks for
    /// the screen or window. Throws the platform's error.
    Task<std::optional<Choice>> choose(CaptureMode mode, std::uint32_t displayID,
                                       std::optional<Rect> initialArea, bool showsCursor);
    /// Where the user has to share what is captured: asks for that, with the cursor or without it, unless it
    /// is shared already. The source as it was shared, which may be another one; none if the user declines.
    /// Throws the platform's error.
    Task<std::optional<CaptureSource>> share(CaptureSource source, bool showsCursor);
    /// Ends a choice in progress as if the user had cancelled it.
    void cancel();

 private:
    Task<std::optional<Choice>> chooseShared(CaptureMode mode, std::uint32_t displayID,
                                             std::optional<Rect> initialArea, bool showsCursor);
    Task<std::optional<Choice>> selectArea(std::uint32_t displayID, std::optional<Rect> initialArea);
    Task<std::optional<Choice>> pickWindow(std::uint32_t displayID);
    Task<std::optional<Choice>> pickScreen();
    Task<std::optional<PickedArea>> ask(std::uint32_t displayID, std::optional<Rect> initialArea,
                                        bool windowsOnly);

    RecorderOverlays overlays_;
    const NSScreens& screens_;
    SourceLists& lists_;
    SCContentSharingPicker* picker_;
};

}  // namespace lumicrate
