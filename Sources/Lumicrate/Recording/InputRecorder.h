// SPDX-License-Identifier: GPL-3.0-or-later
// InputRecorder: follows the pointer, the clicks and the shown keys of a recording.
#pragma once

#include "Lumicrate/Capture/ContentFilter.h"
#include "Platform/NSEvent.h"
#include "Platform/RecordedInput.h"
#include "Platform/ScreenCaptureKit.h"
#include "Support/Geometry.h"
#include "Support/MediaTime.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace lumicrate {

class KeystrokeDisplay;

/// How the recorded part of the desktop is shown in the pictures of a stream.
struct PicturePlacement {
    Rect part;  ///< pixels of the desktop, not empty
    PixelSize picture;
    /// A picture that is at most this much larger than the part, in pixels, shows it unscaled at its top
    /// left.
    double padding = 0;

    /// Where the middle of a pixel of the desktop is, as in RecordedInput.
    Point position(Point pixel) const;
};

/// What tells of input. Both must outlive the recorder.
struct InputMonitors {
    NSPointerMonitoring* pointer = nullptr;  ///< null where the desktop does not tell
    KeystrokeDisplay* keystrokes = nullptr;  ///< null where keys are not shown
};

/// From its construction to its destruction, the first position at once. Main thread.
class InputRecorder {
 public:
    /// Takes input and its time of the clock.
    using Sink = std::function<void(RecordedInput input, CMTime at)>;

    /// References must outlive the recorder; `configuration` is that of the stream which captures `target`.
    /// If the desktop refuses, nothing is recorded.
    InputRecorder(const InputMonitors& monitors, const ScreenCaptureKit& capture, const CMClock& clock,
                  const CaptureTarget& target, const SCStreamConfiguration& configuration, Sink sink);
    ~InputRecorder();
    InputRecorder(const InputRecorder&) = delete;
    InputRecorder& operator=(const InputRecorder&) = delete;

 private:
    void pointed(const NSPointerEvent& event);
    void shown(const std::string& keys);

    InputMonitors monitors_;
    const ScreenCaptureKit& capture_;
    const CMClock& clock_;
    std::optional<std::uint32_t> windowID_;  ///< of a followed window
    double scale_;                           ///< pixels per point
    PicturePlacement placement_;             ///< of a window, where it was last
    Sink sink_;
    std::unique_ptr<NSEventMonitor> monitor_;
};

}  // namespace lumicrate
