// RecordingChrome: the overlays that accompany one recording, shown and hidden together.
#pragma once

#include "Lumicrate/Capture/ContentFilter.h"
#include "Lumicrate/Overlays/RecorderOverlays.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Platform/NSScreen.h"
#include "Support/Geometry.h"

#include <optional>

namespace lumicrate {

/// Main thread only.
class RecordingChrome {
 public:
    /// Where a recording takes place.
    struct Place {
        std::optional<NSScreen> screen;
        /// The recorded part of the screen, in its points, y down from its top left corner; none for all of
        /// it.
        std::optional<Rect> part;
        bool framed = false;  ///< mark the part
    };

    explicit RecordingChrome(const RecorderOverlays& overlays) : overlays_(overlays) {}

    /// Shows what the options ask for, and the control bar.
    void show(const RecordingOptions& options, const Place& place);
    /// Hides everything again, and puts the webcam bubble back where it was.
    void hide();
    void setMicrophoneLevel(float level);
    /// Has the overlays that were placed against a recorded window go with it. Frames in points, y down.
    void followWindow(const Rect& before, const Rect& now);
    /// The overlays that are there now.
    OverlayWindows windows() const;

 private:
    void showWebcam(const RecordingOptions& options, const std::optional<Rect>& recorded);

    RecorderOverlays overlays_;
    bool shown_ = false;
    std::optional<Point> bubbleCenterBeforeRecording_;
};

}  // namespace lumicrate
