// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Recording/InputRecorder.h"

#include "Lumicrate/Overlays/KeystrokeDisplay.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace lumicrate {

namespace {

/// The captured part of the display, pixels of the desktop.
Rect partOf(const SCContentFilter& filter, const SCStreamConfiguration& configuration) {
    const Rect& display = filter.display.frame;
    const Rect part = configuration.sourceRect.value_or(Rect{0, 0, display.width, display.height});
    return part.offsetBy(display.x, display.y).scaledBy(filter.pointPixelScale);
}

}  // namespace

Point PicturePlacement::position(Point pixel) const {
    const auto isPadded = [this](double length, double partLength) {
        return length >= partLength && length - partLength <= padding;
    };
    const double x = pixel.x + 0.5 - part.x;
    const double y = pixel.y + 0.5 - part.y;
    // In the file an odd picture has one more column or row.
    const double codedWidth = picture.width + picture.width % 2;
    const double codedHeight = picture.height + picture.height % 2;
    if (isPadded(picture.width, part.width) && isPadded(picture.height, part.height))
        return {x / codedWidth, y / codedHeight};
    // Centered, as large as it fits.
    const double scale = std::min(picture.width / part.width, picture.height / part.height);
    return {((picture.width - part.width * scale) / 2 + x * scale) / codedWidth,
            ((picture.height - part.height * scale) / 2 + y * scale) / codedHeight};
}

InputRecorder::InputRecorder(const InputMonitors& monitors, const ScreenCaptureKit& capture,
                             const CMClock& clock, const CaptureTarget& target,
                             const SCStreamConfiguration& configuration, Sink sink)
    : monitors_(monitors),
      capture_(capture),
      clock_(clock),
      scale_(target.filter.pointPixelScale),
      placement_{partOf(target.filter, configuration), {configuration.width, configuration.height}},
      sink_(std::move(sink)) {
    if (configuration.followsFirstWindow && !target.filter.windows.empty()) {
        windowID_ = target.filter.windows.front().windowID;
        // The picture's size is the window's in whole points.
        placement_.padding = scale_ == 1 ? 0 : std::ceil(2 * scale_);
    }
    if (monitors_.keystrokes)
        monitors_.keystrokes->setOnShown([this](const std::string& keys) { shown(keys); });
    if (!monitors_.pointer) return;
    try {
        monitor_ =
            monitors_.pointer->addPointerMonitor([this](const NSPointerEvent& event) { pointed(event); });
        log(LogArea::recorder, "input is kept as data");
    } catch (const PlatformError& error) {
        log(LogArea::recorder, "the pointer can't be followed: ", error.what());
    }
}

InputRecorder::~InputRecorder() {
    if (monitors_.keystrokes) monitors_.keystrokes->setOnShown({});
}

/// A followed window is asked for each time: it may be moving right now, with the pointer on its title.
void InputRecorder::pointed(const NSPointerEvent& event) {
    if (windowID_) {
        if (const auto frame = capture_.windowBounds(*windowID_)) placement_.part = frame->scaledBy(scale_);
    }
    if (placement_.part.isEmpty()) return;
    RecordedInput input;
    input.kind = event.button > 0 ? RecordedInput::Kind::press : RecordedInput::Kind::pointer;
    input.button = event.button;
    input.position = placement_.position(event.pixel);
    sink_(std::move(input), event.time);
}

void InputRecorder::shown(const std::string& keys) {
    RecordedInput input;
    input.kind = RecordedInput::Kind::keys;
    input.keys = keys;
    sink_(std::move(input), clock_.time());
}

}  // namespace lumicrate
