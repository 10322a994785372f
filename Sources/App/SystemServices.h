// SPDX-License-Identifier: GPL-3.0-or-later
// SystemServices: the adapters to the operating system that every command needs, created once; and the
// recovery of interrupted recordings.
#pragma once

#include "App/QtExecutor.h"
#include "Linux/Capture/CaptureKit.h"
#include "Linux/Capture/PortalKit.h"
#include "Linux/Desktop/DesktopServices.h"
#include "Linux/Desktop/FileManager.h"
#include "Linux/Desktop/SleepWatch.h"
#include "Linux/Desktop/UserDefaults.h"
#include "Linux/Media/Editing/Assets.h"
#include "Linux/Media/MovieFile/MovieRecovery.h"
#include "Linux/PipeWire/Devices.h"
#include "Linux/Portal/CameraPortal.h"
#include "Linux/Portal/Registry.h"
#include "Lumicrate/Shell/AppInfo.h"
#include "Platform/AVCaptureSession.h"
#include "Support/MediaTime.h"
#include "Support/Notifications.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::app {

/// Needs a QCoreApplication. Main thread.
class SystemServices {
 public:
    SystemServices();
    SystemServices(const SystemServices&) = delete;
    SystemServices& operator=(const SystemServices&) = delete;

    QtExecutor executor;
    HostClock clock;
    /// With the fallbacks of all recording options registered.
    desktop::UserDefaults defaults;
    desktop::FileManager files;
    desktop::Calendar calendar;
    portal::Registry portalRegistry;
    desktop::ProcessInfo process;
    /// The register of the recordings that are being written.
    media::RecoveryList unfinished;
    portal::CameraPortal cameraPortal;
    pipewire::Devices devices;
    AVCaptureSessionFactory cameraSessions;

 private:
    std::unique_ptr<capture::CaptureKit> captureKit_;

 public:
    capture::CaptureKit& capture;
    capture::PortalKit* portalCapture = nullptr;  ///< the same, if it is that of the portal
    std::optional<desktop::SleepWatch> sleepWatch;
    media::Assets assets;
    NotificationCenter notifications;
};

AppInfo appInfo();

/// Completes every recording that a crash or a power cut interrupted. Gives a sentence for the user for each.
std::vector<std::string> recoverInterruptedRecordings();

/// Nothing when the folder does not exist or the system has no more inotify watches: then changes made by
/// other programs go unnoticed.
std::unique_ptr<FolderWatch> watchFolder(const std::filesystem::path& folder);

}  // namespace lumicrate::app
