// What the recorder asks of the pieces that appear on the screen around a recording. Main thread only.
#pragma once

#include "Lumicrate/Recording/RecordingOptions.h"
#include "Platform/AVCaptureDevice.h"
#include "Platform/NSScreen.h"
#include "Support/Geometry.h"
#include "Support/Task.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate {

/// What was chosen on a screen: a rectangle, in points of that screen with y down from its top left corner,
/// and the window if it is one's frame.
struct PickedArea {
    Rect rect;
    std::optional<std::uint32_t> windowID;
};

/// Lets the user choose a window or drag an area on one screen; none when the user cancels.
class AreaChoosing {
 public:
    virtual ~AreaChoosing() = default;
    virtual Task<std::optional<PickedArea>> select(NSScreen screen, std::string confirmTitle,
                                                   std::optional<Rect> initialArea,
                                                   std::vector<CaptureDevice> microphones,
                                                   bool windowsOnly) = 0;
};

/// Lets the user choose one of several screens, by display number; none when the user cancels.
class ScreenChoosing {
 public:
    virtual ~ScreenChoosing() = default;
    virtual Task<std::optional<std::uint32_t>> choose() = 0;
};

/// Counts down over a screen: true at the end, or what `finish` was given before.
class CountdownShowing {
 public:
    virtual ~CountdownShowing() = default;
    virtual Task<bool> run(int seconds, std::optional<NSScreen> screen) = 0;
    virtual void finish(bool result) = 0;
};

/// The bar with elapsed time, pause and stop, below the recorded area (global, y up) or at the bottom of the
/// screen.
class ControlBarShowing {
 public:
    virtual ~ControlBarShowing() = default;
    virtual void show(std::optional<NSScreen> screen, std::optional<Rect> below) = 0;
    virtual void hide() = 0;
    /// Points, y up; nothing where it is not visible.
    virtual void moveBy(double dx, double dy) = 0;
    /// While there is a panel.
    virtual std::optional<std::uint32_t> windowNumber() const = 0;
};

/// Flashes a ring where the user clicks on the screen.
class ClickHighlighting {
 public:
    virtual ~ClickHighlighting() = default;
    virtual void show(NSScreen screen) = 0;
    virtual void hide() = 0;
    /// While there is a panel.
    virtual std::optional<std::uint32_t> windowNumber() const = 0;
};

/// The dashed frame around a recorded area (points of the screen, y down from its top left corner).
class AreaFraming {
 public:
    virtual ~AreaFraming() = default;
    virtual void show(Rect around, NSScreen screen) = 0;
    virtual void hide() = 0;
    /// While there is a panel.
    virtual std::optional<std::uint32_t> windowNumber() const = 0;
};

/// The floating camera picture, which is recorded along.
class WebcamBubbleShowing {
 public:
    virtual ~WebcamBubbleShowing() = default;
    virtual void showPanel(RecordingOptions options) = 0;
    /// Back to what the stored preferences say.
    virtual void apply() = 0;
    /// Brings the bubble into an area (global, y up); gives its centre before, if it was moved.
    virtual std::optional<Point> moveInside(Rect area) = 0;
    virtual void moveCenter(Point center) = 0;
    /// Points, y up; nothing where it is not visible.
    virtual void moveBy(double dx, double dy) = 0;
    /// 0 … 1, or none for no meter.
    virtual void setMicrophoneLevel(std::optional<float> level) = 0;
    /// While there is a panel and it is visible.
    virtual std::optional<std::uint32_t> windowNumber() const = 0;
    /// Where messages for the user go.
    virtual void setOnError(std::function<void(const std::string&)> sink) = 0;
};

/// The window from which sound alone is recorded.
class AudioWindowShowing {
 public:
    virtual ~AudioWindowShowing() = default;
    virtual void show() = 0;
};

/// Any of them may be missing. Those that are there outlive the recorder.
struct RecorderOverlays {
    AreaChoosing* areaSelector = nullptr;
    ScreenChoosing* screenChooser = nullptr;
    CountdownShowing* countdown = nullptr;
    ControlBarShowing* controlBar = nullptr;
    ClickHighlighting* clickHighlighter = nullptr;
    AreaFraming* areaFrame = nullptr;
    WebcamBubbleShowing* webcam = nullptr;
    AudioWindowShowing* audioWindow = nullptr;
};

}  // namespace lumicrate
