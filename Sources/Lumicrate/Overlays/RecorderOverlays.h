// SPDX-License-Identifier: GPL-3.0-or-later
// RecorderOverlays: the windows that appear on the screen around a recording, as the recorder is given them.
#pragma once

#include "Lumicrate/Recording/RecordingOptions.h"
#include "Support/Geometry.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace lumicrate {

class AreaFrame;
class AreaSelector;
class AudioRecorderWindow;
class ClickHighlighter;
class ControlBarController;
class CountdownController;
class KeystrokeDisplay;
class ScreenChooser;

/// The floating camera picture, which is part of the recorded picture. Main thread only.
class WebcamBubbleShowing {
 public:
    virtual ~WebcamBubbleShowing() = default;
    /// Shows the bubble, even if the stored preferences say otherwise, until the next apply().
    virtual void showPanel(RecordingOptions options) = 0;
    /// Shows or hides the bubble as the stored preferences say.
    virtual void apply() = 0;
    /// While suspended, the bubble is hidden and the camera is free for another part of the program.
    virtual void setSuspended(bool suspended) = 0;
    /// Moves the bubble into `area` (global, y up). Returns its previous centre if it was moved.
    virtual std::optional<Point> moveInside(Rect area) = 0;
    virtual void moveCenter(Point center) = 0;
    /// Points, y up. No effect while the bubble is not visible.
    virtual void moveBy(double dx, double dy) = 0;
    /// 0 … 1, or none for no meter.
    virtual void setMicrophoneLevel(std::optional<float> level) = 0;
    /// None while the bubble is not visible.
    virtual std::optional<std::uint32_t> windowNumber() const = 0;
    /// `changed` is called after windowNumber() has changed.
    virtual void setOnWindowChange(std::function<void()> changed) = 0;
    /// `sink` receives messages for the user.
    virtual void setOnError(std::function<void(const std::string&)> sink) = 0;
};

/// Any of them may be missing. Those that are present must outlive the recorder.
struct RecorderOverlays {
    AreaSelector* areaSelector = nullptr;
    ScreenChooser* screenChooser = nullptr;
    CountdownController* countdown = nullptr;
    ControlBarController* controlBar = nullptr;
    ClickHighlighter* clickHighlighter = nullptr;
    KeystrokeDisplay* keystrokes = nullptr;
    AreaFrame* areaFrame = nullptr;
    WebcamBubbleShowing* webcam = nullptr;
    AudioRecorderWindow* audioRecorder = nullptr;
};

}  // namespace lumicrate
