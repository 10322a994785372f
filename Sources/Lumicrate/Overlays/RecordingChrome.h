// SPDX-License-Identifier: GPL-3.0-or-later
// RecordingChrome: the overlays that accompany one recording, shown and hidden together.
#pragma once

#include "Lumicrate/Capture/ContentFilter.h"
#include "Lumicrate/Overlays/RecorderOverlays.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Platform/NSScreen.h"
#include "Support/Geometry.h"

#include <optional>
#include <string>
#include <vector>

namespace lumicrate {

/// Main thread only.
class RecordingChrome {
 public:
    /// The recorded part of the desktop.
    struct Place {
        std::optional<NSScreen> screen;
        /// The recorded part of the screen, in points, y down from its top left corner; none for the whole
        /// screen.
        std::optional<Rect> part;
        bool framed = false;            ///< show a frame around the part
        bool chromeIsRecorded = false;  ///< as part of the picture, wherever it covers the recorded part
    };

    explicit RecordingChrome(const RecorderOverlays& overlays) : overlays_(overlays) {}

    /// Shows the overlays that the options request, and the control bar; not if it would be recorded on all
    /// screens. Returns why one of them cannot be shown; empty if all are.
    std::string show(const RecordingOptions& options, const Place& place,
                     const std::vector<NSScreen>& screens);
    /// Hides them again, and moves the webcam bubble back to its previous place.
    void hide();
    void setMicrophoneLevel(float level);
    /// Moves the overlays that are placed relative to a recorded window along with it. Frames in points, y
    /// down.
    void followWindow(const Rect& before, const Rect& now);
    /// Places the overlays anew after the screens have changed.
    void screensChanged(const NSScreens& screens);
    /// Whether there is no control bar because it would be recorded.
    bool hidesControlBar() const { return shown_ && hidesControlBar_; }
    /// The overlays that are visible now.
    OverlayWindows windows() const;

 private:
    void showWebcam(const RecordingOptions& options, const std::optional<Rect>& recorded);
    void showControlBar(const std::optional<Rect>& recorded, const std::vector<NSScreen>& screens);

    RecorderOverlays overlays_;
    bool shown_ = false;
    bool hidesControlBar_ = false;
    Place place_;  ///< of the recording, as far as it is known
    std::optional<Point> bubbleCenterBeforeRecording_;
};

}  // namespace lumicrate
