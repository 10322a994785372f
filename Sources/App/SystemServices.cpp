// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/SystemServices.h"

#include "App/CaptureBackend.h"
#include "Linux/Capture/CameraSession.h"
#include "Linux/Capture/X11Kit.h"
#include "Linux/Desktop/FolderWatch.h"
#include "Linux/Media/MovieFile/MovieRecovery.h"
#include "Linux/Portal/InhibitPortal.h"
#include "Lumicrate/Capture/CameraFormats.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Support/ApplicationId.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <fmt/format.h>

#include <functional>
#include <optional>
#include <utility>

namespace lumicrate::app {

namespace {

media::RecoveryList unfinishedMovies() {
    return media::RecoveryList(desktop::stateFolder() / "unfinished");
}

/// Nothing outside of a sandbox.
std::optional<pipewire::CameraAccess> accessBy(portal::CameraPortal& portal) {
    if (!portal::isSandboxed()) return std::nullopt;
    return pipewire::CameraAccess{
        [&portal] { return portal.isCameraPresent(); },
        [&portal](std::function<void(bool)> completion) { portal.requestAccess(std::move(completion)); },
        portal::CameraPortal::openRemote};
}

/// In a sandbox the screen saver's service can't be reached. Empty outside of one.
desktop::ProcessInfo::Inhibitor portalInhibitor(Executor& executor, portal::Registry& registry) {
    if (!portal::isSandboxed()) return {};
    return [&](const std::string& reason) {
        return std::make_unique<portal::InhibitPortal>(executor, registry, reason);
    };
}

std::unique_ptr<capture::CaptureKit> makeCaptureKit(Executor& executor, portal::Registry& registry,
                                                    NSUserDefaults& defaults) {
    if (captureBackend() == CaptureBackend::x11) return std::make_unique<capture::X11Kit>();
    return std::make_unique<capture::PortalKit>(executor, registry, defaults);
}

}  // namespace

SystemServices::SystemServices()
    : portalRegistry(executor, applicationId),
      process(portalInhibitor(executor, portalRegistry)),
      unfinished(unfinishedMovies()),
      devices(accessBy(cameraPortal)),
      cameraSessions(capture::makeCameraSessionFactory(
          executor, chooseCameraFormat,
          portal::isSandboxed() ? portal::CameraPortal::openRemote : pipewire::Remote())),
      captureKit_(makeCaptureKit(executor, portalRegistry, defaults)),
      capture(*captureKit_),
      portalCapture(dynamic_cast<capture::PortalKit*>(captureKit_.get())) {
    RecordingOptions::registerDefaults(defaults);
    if (portalCapture) sleepWatch.emplace([this] { portalCapture->noteWakeUp(); });
}

AppInfo appInfo() {
    return {"Lumicrate", LUMICRATE_VERSION, LUMICRATE_UPDATE_SITE, desktop::isUpdatedByStore()};
}

std::unique_ptr<FolderWatch> watchFolder(const std::filesystem::path& folder) {
    try {
        return std::make_unique<desktop::FolderWatch>(folder);
    } catch (const PlatformError&) {
        log(LogArea::library, "the folder is not watched");
        return nullptr;
    }
}

std::vector<std::string> recoverInterruptedRecordings() {
    std::vector<std::string> sentences;
    for (const media::RecoveredMovie& movie : media::recoverMovies(unfinishedMovies())) {
        const std::string path = movie.path.string();
        sentences.push_back(movie.error ? localized("The interrupted recording “{}” couldn't be finished: {}",
                                                    {path, localizedDescription(movie.error)})
                                        : localized("Finished the interrupted recording “{}”.", {path}));
    }
    log(LogArea::movie, sentences.size(), " interrupted recordings found");
    return sentences;
}

}  // namespace lumicrate::app
