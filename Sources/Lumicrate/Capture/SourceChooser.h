// SourceChooser: has the user choose what to record.
#pragma once

#include "Lumicrate/Capture/CaptureSource.h"
#include "Lumicrate/Capture/SourceLists.h"
#include "Lumicrate/Overlays/RecorderOverlays.h"
#include "Platform/NSScreen.h"
#include "Support/Geometry.h"
#include "Support/Task.h"

#include <cstdint>
#include <optional>

namespace lumicrate {

struct PickedArea;

/// Every question is answered with nothing when the user cancels or there is no way to ask. Main thread only.
class SourceChooser {
 public:
    struct Choice {
        CaptureSource source;
        std::optional<Rect>
            area;  ///< of an area source: points of its screen, y down from the top left corner
    };

    /// All must outlive the chooser.
    SourceChooser(const RecorderOverlays& overlays, const NSScreens& screens, SourceLists& lists)
        : overlays_(overlays), screens_(screens), lists_(lists) {}

    /// An area of a display, or a window on it.
    Task<std::optional<Choice>> selectArea(std::uint32_t displayID, std::optional<Rect> initialArea);
    /// A window on a display.
    Task<std::optional<Choice>> pickWindow(std::uint32_t displayID);
    /// A whole display; where there is only one, nobody is asked.
    Task<std::optional<Choice>> pickScreen();

 private:
    Task<std::optional<PickedArea>> ask(std::uint32_t displayID, std::optional<Rect> initialArea,
                                        bool windowsOnly);

    RecorderOverlays overlays_;
    const NSScreens& screens_;
    SourceLists& lists_;
};

}  // namespace lumicrate
