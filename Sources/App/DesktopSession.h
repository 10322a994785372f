// SPDX-License-Identifier: GPL-3.0-or-later
// DesktopSession: screens, global shortcuts, mouse clicks and the recorder's overlays of the desktop
// application.
#pragma once

#include "App/CaptureBackend.h"
#include "App/RecorderServices.h"
#include "App/SystemServices.h"
#include "Linux/Portal/PortalHotKeys.h"
#include "Linux/Portal/Registry.h"
#include "Linux/X11/Capture/WindowPictures.h"
#include "Linux/X11/Input/ButtonWatch.h"
#include "Linux/X11/Input/HotKeys.h"
#include "Linux/X11/Input/PressWatch.h"
#include "Lumicrate/Audio/AudioRecorderWindow.h"
#include "Lumicrate/Overlays/AreaFrame.h"
#include "Lumicrate/Overlays/ClickHighlighter.h"
#include "Lumicrate/Overlays/ControlBarController.h"
#include "Lumicrate/Overlays/CountdownController.h"
#include "Lumicrate/Overlays/KeystrokeDisplay.h"
#include "Lumicrate/Overlays/Selection/AreaSelector.h"
#include "Lumicrate/Overlays/Selection/ScreenChooser.h"
#include "Lumicrate/Overlays/WebcamBubbleController.h"
#include "Views/Desktop/KeyMonitor.h"
#include "Views/Desktop/Screens.h"
#include "Views/Overlays/PanelContents.h"

#include <optional>

namespace lumicrate::app {

/// Needs a QApplication on an X server. Members are in the order of their dependencies. Main thread.
class DesktopSession {
 public:
    /// `system` must outlive it. Throws PlatformError when the X server lacks something that is needed.
    explicit DesktopSession(SystemServices& system);
    DesktopSession(const DesktopSession&) = delete;
    DesktopSession& operator=(const DesktopSession&) = delete;

    DesktopServices services();
    /// Those that are recorded with the screen.
    RecorderOverlays pictureOverlays();
    /// Keeps the points of the capture those of the toolkit when the desktop's scale changes. The points of a
    /// recording are constant, so during one the change waits for its end. `recorder` must outlive this.
    void followScale(ScreenRecorder& recorder);
    /// Whether the rings around clicks keep still, and pressed keys disappear at once.
    void setReducedMotion(bool reduced) {
        clickHighlighter_.setReducedMotion(reduced);
        keystrokes_.setReducedMotion(reduced);
    }

    const DesktopAbilities abilities;
    views::Screens screens;
    /// Also the keyboard's layout, where the desktop assigns the keys.
    x11::HotKeys keys;
    x11::ButtonWatch buttons;
    x11::PressWatch presses;
    views::KeyMonitor keyMonitor;

 private:
    x11::WindowPictures x11Pictures_;

 public:
    SCScreenshotManager& pictures;

 private:
    views::PanelContents contents_;

 public:
    ControlBarController controlBar;
    AreaSelector areaSelector;

 private:
    ScreenChooser screenChooser_;
    CountdownController countdown_;
    ClickHighlighter clickHighlighter_;
    KeystrokeDisplay keystrokes_;
    AreaFrame areaFrame_;

 public:
    WebcamBubbleController webcam;
    AudioRecorderWindow audioRecorder;

 private:
    void updateScale(ScreenRecorder& recorder);
    CarbonHotKeys& hotKeys();

    SystemServices& system_;
    std::optional<portal::PortalHotKeys> portalKeys_;
    double scale_;
    Subscription screenChanges_;
    Subscription stateChanges_;
};

}  // namespace lumicrate::app
