// Services: the recorder and what belongs to it, wired to a machine.
#pragma once

#include "App/Machine.h"
#include "Lumicrate/Library/RecordingFolder.h"
#include "Lumicrate/Movie/AudioMixdown.h"
#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Lumicrate/Shortcuts/HotKeyCenter.h"

namespace lumicrate::app {

/// What a desktop session adds to a machine.
struct DesktopParts {
    NSScreens& screens;
    CarbonHotKeys& keys;
    RecorderOverlays overlays;
};

/// Public members in the order in which they stand on each other. Main thread.
class Services {
 public:
    /// Machine and parts must outlive them.
    Services(Machine& machine, const DesktopParts& parts);
    Services(const Services&) = delete;
    Services& operator=(const Services&) = delete;

    HotKeyCenter hotKeys;
    RecordingFolder folder;
    AudioMixdown mixdown;
    ScreenRecorder recorder;
};

}  // namespace lumicrate::app
