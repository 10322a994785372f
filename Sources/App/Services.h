// Services: every part of the program, made once and wired together.
#pragma once

#include "App/CaptureKit.h"
#include "App/Headless.h"
#include "App/QtExecutor.h"
#include "Linux/Desktop/FileManager.h"
#include "Linux/Desktop/ProcessInfo.h"
#include "Linux/Desktop/UserDefaults.h"
#include "Linux/Media/Editing/Assets.h"
#include "Linux/Media/UnfinishedMovies.h"
#include "Linux/PipeWire/Devices.h"
#include "Lumicrate/AudioMixdown.h"
#include "Lumicrate/HotKeys.h"
#include "Lumicrate/RecordingFolder.h"
#include "Lumicrate/ScreenRecorder.h"
#include "Support/MediaTime.h"
#include "Support/Notifications.h"

namespace lumicrate::app {

/// Public members in the order in which they stand on each other. Needs a QCoreApplication; main thread.
class Services {
 public:
    /// The overlays must outlive them.
    explicit Services(const RecorderOverlays& overlays = {});
    Services(const Services&) = delete;
    Services& operator=(const Services&) = delete;

    QtExecutor executor;
    HostClock clock;
    desktop::UserDefaults defaults;
    desktop::FileManager files;
    desktop::Calendar calendar;
    desktop::ProcessInfo process;
    media::UnfinishedMovies unfinished;
    pipewire::Devices devices;
    CaptureKit capture;
    NotificationCenter notifications;
    NoScreens screens;
    NoHotKeys keys;
    HotKeyCenter hotKeys;
    RecordingFolder folder;
    media::Assets assets;
    AudioMixdown mixdown;
    ScreenRecorder recorder;

 private:
    MovieWriter::Services movieServices();
};

}  // namespace lumicrate::app
