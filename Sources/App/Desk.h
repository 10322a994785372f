// Desk: what the desktop session adds to a machine: screens, keys, clicks, and the recorder's overlays.
#pragma once

#include "App/Machine.h"
#include "App/Services.h"
#include "Linux/X11/ButtonWatch.h"
#include "Linux/X11/HotKeys.h"
#include "Linux/X11/WindowPictures.h"
#include "Lumicrate/AudioAtOnce.h"
#include "Lumicrate/Overlays/AreaFrame.h"
#include "Lumicrate/Overlays/AreaSelection.h"
#include "Lumicrate/Overlays/ClickHighlighter.h"
#include "Lumicrate/Overlays/ControlBar.h"
#include "Lumicrate/Overlays/Countdown.h"
#include "Lumicrate/Overlays/ScreenChooser.h"
#include "Views/KeyMonitor.h"
#include "Views/Overlays/PanelContents.h"
#include "Views/Screens.h"

namespace lumicrate::app {

/// Needs a QApplication on an X server. Main thread.
class Desk {
 public:
    /// `machine` must outlive it. Throws PlatformError when the server cannot do what is needed.
    explicit Desk(Machine& machine);
    Desk(const Desk&) = delete;
    Desk& operator=(const Desk&) = delete;

    DesktopParts parts();

    views::Screens screens;
    x11::HotKeys keys;
    x11::ButtonWatch buttons;
    x11::WindowPictures pictures;
    views::KeyMonitor keyMonitor;

 private:
    views::PanelContents contents_;

 public:
    ControlBarController controlBar;
    AreaSelector areaSelector;
    AudioAtOnce audioAtOnce;

 private:
    ScreenChooser screenChooser_;
    CountdownController countdown_;
    ClickHighlighter clickHighlighter_;
    AreaFrame areaFrame_;
};

}  // namespace lumicrate::app
