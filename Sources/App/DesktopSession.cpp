// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/DesktopSession.h"

#include "Support/Error.h"
#include "Support/Log.h"
#include "Views/Audio/AudioRecorderView.h"
#include "Views/Desktop/Coordinates.h"
#include "Views/Webcam/StudioWindow.h"

#include <QApplication>
#include <QTimer>
#include <algorithm>
#include <memory>

namespace lumicrate::app {

namespace {

/// Finds a display by its RandR monitor name, by which Qt knows the screen, too; or by its frame, since the X
/// servers of Wayland desktops may have other names.
views::Screens::FindDisplay findDisplay(const capture::CaptureKit& capture) {
    return [&capture](const std::string& connector, const Rect& frame) -> std::optional<SCDisplay> {
        try {
            const std::vector<SCDisplay> displays = capture.displays();
            const auto named = std::ranges::find(displays, connector, &SCDisplay::connector);
            if (named != displays.end()) return *named;
            const auto placed = std::ranges::find(displays, frame, &SCDisplay::frame);
            if (placed != displays.end()) return *placed;
        } catch (const PlatformError&) {
            // The display server is gone, and its screens with it.
        }
        return std::nullopt;
    };
}

}  // namespace

DesktopSession::DesktopSession(SystemServices& system)
    : abilities(desktopAbilities()),
      screens(findDisplay(system.capture)),
      keys(system.executor),
      buttons(system.executor),
      presses(system.executor),
      keyMonitor({[this](std::uint32_t key) { return keys.keysymOf(key); },
                  [this](std::uint32_t key) { return keys.virtualKeyCodeOf(key); }}),
      pictures(system.portalCapture ? static_cast<SCScreenshotManager&>(*system.portalCapture)
                                    : x11Pictures_),
      contents_([this](const QKeyEvent& event) { return keyMonitor.translated(event); }),
      controlBar(screens, system.defaults, contents_),
      areaSelector(
          {system.executor, system.capture, pictures, system.process, screens, system.defaults, contents_}),
      screenChooser_(system.executor, screens, pictures, keyMonitor, contents_),
      countdown_(system.executor, screens, system.defaults, contents_, abilities),
      clickHighlighter_(system.executor, screens, buttons, contents_),
      keystrokes_(system.executor, system.defaults, presses, contents_),
      areaFrame_(contents_),
      webcam({system.executor, system.defaults, screens, system.devices, system.cameraSessions, contents_}),
      audioRecorder(
          {system.executor, system.defaults, controlBar,
           [](AudioRecorderWindow& owner) { return std::make_unique<views::AudioRecorderView>(owner); },
           QApplication::beep}),
      system_(system),
      scale_(views::Coordinates::now().scale()) {}

void DesktopSession::followScale(ScreenRecorder& recorder) {
    screenChanges_ = screens.observe([this, &recorder] { updateScale(recorder); });
    stateChanges_ = recorder.state.observe([this, &recorder](ScreenRecorder::State coming) {
        // The new state takes effect after this call.
        if (coming == ScreenRecorder::State::idle)
            QTimer::singleShot(0, &screens, [this, &recorder] { updateScale(recorder); });
    });
}

void DesktopSession::updateScale(ScreenRecorder& recorder) {
    using State = ScreenRecorder::State;
    const double scale = views::Coordinates::now().scale();
    const bool isFree = *recorder.state == State::idle || *recorder.state == State::selectingArea;
    if (scale == scale_ || !isFree) return;
    log(LogArea::ui, "scale ", scale, " pixels per point");
    scale_ = scale;
    system_.capture.setScale(scale);
    recorder.refreshSourcesSoon();
}

RecorderOverlays DesktopSession::pictureOverlays() {
    RecorderOverlays overlays;
    if (abilities.seesClicks) overlays.clickHighlighter = &clickHighlighter_;
    if (abilities.seesKeys) overlays.keystrokes = &keystrokes_;
    overlays.webcam = &webcam;
    return overlays;
}

CarbonHotKeys& DesktopSession::hotKeys() {
    if (abilities.grabsKeys) return keys;
    if (!portalKeys_) portalKeys_.emplace(system_.executor, system_.portalRegistry);
    return *portalKeys_;
}

DesktopServices DesktopSession::services() {
    RecorderOverlays overlays = pictureOverlays();
    overlays.areaSelector = &areaSelector;
    overlays.screenChooser = &screenChooser_;
    overlays.countdown = &countdown_;
    overlays.controlBar = &controlBar;
    overlays.areaFrame = &areaFrame_;
    overlays.audioRecorder = &audioRecorder;
    return {screens, hotKeys(), overlays,
            [](WebcamStudio& studio) { return std::make_unique<views::StudioWindow>(studio); }};
}

}  // namespace lumicrate::app
