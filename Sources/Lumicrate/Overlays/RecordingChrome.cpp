// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Overlays/RecordingChrome.h"

#include "Lumicrate/Overlays/AreaFrame.h"
#include "Lumicrate/Overlays/ClickHighlighter.h"
#include "Lumicrate/Overlays/ControlBarController.h"
#include "Lumicrate/Overlays/KeystrokeDisplay.h"

#include <algorithm>
#include <utility>

namespace lumicrate {

namespace {

/// The height that the control bar needs below an area, with its distances, points.
constexpr double roomForBar = 80;

/// A part of a screen in global coordinates, y up.
Rect globalRect(const Rect& part, const NSScreen& screen) {
    return {screen.frame.minX() + part.minX(), screen.frame.maxY() - part.maxY(), part.width, part.height};
}

template <class Overlay>
void addWindow(const Overlay* overlay, std::vector<std::uint32_t>& numbers) {
    if (!overlay) return;
    if (const auto number = overlay->windowNumber()) numbers.push_back(*number);
}

}  // namespace

std::string RecordingChrome::show(const RecordingOptions& options, const Place& place,
                                  const std::vector<NSScreen>& screens) {
    shown_ = true;
    place_ = place;
    const auto& [screen, part, framed, chromeIsRecorded] = place;
    std::optional<Rect> recorded;
    if (screen) recorded = part ? globalRect(*part, *screen) : screen->frame;

    if (options.webcamEnabled) showWebcam(options, recorded);
    if (options.highlightClicks && overlays_.clickHighlighter && screen)
        overlays_.clickHighlighter->show(*screen);
    std::string keysReason;
    if (options.showKeys && overlays_.keystrokes && recorded)
        keysReason = overlays_.keystrokes->show(options, *recorded);
    if (framed && part && screen && overlays_.areaFrame) overlays_.areaFrame->show(*part, *screen);
    showControlBar(recorded, screens);
    return keysReason;
}

void RecordingChrome::showControlBar(const std::optional<Rect>& recorded,
                                     const std::vector<NSScreen>& screens) {
    hidesControlBar_ = false;
    if (!overlays_.controlBar) return;
    const auto& [screen, part, framed, chromeIsRecorded] = place_;
    const bool fits = part && screen && recorded->minY() - screen->visibleFrame.minY() >= roomForBar;
    if (!chromeIsRecorded || fits) return overlays_.controlBar->show(screen, part ? recorded : std::nullopt);
    const auto other = std::ranges::find_if(
        screens, [&](const NSScreen& each) { return !screen || each.displayID != screen->displayID; });
    hidesControlBar_ = other == screens.end();
    if (!hidesControlBar_) overlays_.controlBar->show(*other, std::nullopt);
}

void RecordingChrome::showWebcam(const RecordingOptions& options, const std::optional<Rect>& recorded) {
    if (!overlays_.webcam) return;
    overlays_.webcam->showPanel(options);
    if (recorded) bubbleCenterBeforeRecording_ = overlays_.webcam->moveInside(*recorded);
}

void RecordingChrome::hide() {
    if (!std::exchange(shown_, false)) return;
    if (overlays_.controlBar) overlays_.controlBar->hide();
    if (overlays_.areaFrame) overlays_.areaFrame->hide();
    if (overlays_.clickHighlighter) overlays_.clickHighlighter->hide();
    if (overlays_.keystrokes) overlays_.keystrokes->hide();
    const auto center = std::exchange(bubbleCenterBeforeRecording_, std::nullopt);
    if (!overlays_.webcam) return;
    overlays_.webcam->setMicrophoneLevel(std::nullopt);
    if (center) overlays_.webcam->moveCenter(*center);
    overlays_.webcam->apply();
}

void RecordingChrome::setMicrophoneLevel(float level) {
    if (shown_ && overlays_.webcam) overlays_.webcam->setMicrophoneLevel(level);
}

void RecordingChrome::followWindow(const Rect& before, const Rect& now) {
    if (!shown_) return;
    if (place_.part) {
        place_.part = {place_.part->x + now.x - before.x, place_.part->y + now.y - before.y, now.width,
                       now.height};
        if (overlays_.keystrokes && place_.screen)
            overlays_.keystrokes->move(globalRect(*place_.part, *place_.screen));
    }
    const double up = before.maxY() - now.maxY();
    // The bar is below the window's middle, the bubble in its bottom right corner.
    if (overlays_.controlBar) overlays_.controlBar->moveBy(now.midX() - before.midX(), up);
    if (overlays_.webcam) overlays_.webcam->moveBy(now.maxX() - before.maxX(), up);
}

void RecordingChrome::screensChanged(const NSScreens& screens) {
    if (!shown_ || !place_.screen) return;
    const std::optional<NSScreen> screen = currentScreen(*place_.screen, screens);
    // Without its screen the recording ends.
    if (!screen) return;
    place_.screen = screen;
    const std::optional<Rect>& part = place_.part;
    if (overlays_.clickHighlighter) overlays_.clickHighlighter->setScreen(*screen);
    if (overlays_.keystrokes) overlays_.keystrokes->move(part ? globalRect(*part, *screen) : screen->frame);
    if (part && overlays_.areaFrame) overlays_.areaFrame->move(*part, *screen);
    if (overlays_.controlBar)
        overlays_.controlBar->place(screen, part ? std::optional(globalRect(*part, *screen)) : std::nullopt);
}

OverlayWindows RecordingChrome::windows() const {
    OverlayWindows windows;
    addWindow(overlays_.webcam, windows.keep);
    addWindow(overlays_.clickHighlighter, windows.keep);
    addWindow(overlays_.keystrokes, windows.keep);
    addWindow(overlays_.controlBar, windows.chrome);
    addWindow(overlays_.areaFrame, windows.chrome);
    return windows;
}

}  // namespace lumicrate
