// SPDX-License-Identifier: GPL-3.0-or-later
// Devices: the microphones and cameras that the sound server provides.
#pragma once

#include "Linux/PipeWire/GraphWatch.h"
#include "Platform/AVCaptureDevice.h"

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace lumicrate::pipewire {

/// How a program in a sandbox reaches cameras.
struct CameraAccess {
    std::function<bool()> isCameraPresent;
    /// Asks the user. Its argument is called once on the main thread, later.
    std::function<void(std::function<void(bool granted)>)> request;
    /// After access was granted: connections to a server that shows the cameras alone.
    Remote remote;
};

/// While a change handler is set, queries are answered from the watch, at once. Otherwise each query makes a
/// connection of its own, which takes some milliseconds; a hanging server delays the answer by two seconds.
/// Without a server the lists are empty. Main thread, except for soundDevices(), which always connects.
class Devices final : public AVCaptureDevices {
 public:
    /// Outside of a sandbox, without `access`, the server lets every program of the user read its cameras.
    explicit Devices(std::optional<CameraAccess> access = std::nullopt);

    /// The default one first, the others by name. Ids are node names, which survive restarts.
    std::vector<CaptureDevice> microphones() const override;
    /// By name. While access to cameras is not determined, one that stands for all, if there is any.
    std::vector<CaptureDevice> cameras() const override;
    SoundDevices soundDevices() const override;
    /// `changed` is called on another thread, at most five times a second.
    void setOnChange(std::function<void()> changed) override;
    AVAuthorizationStatus authorizationStatusForVideo() const override { return status_; }
    void requestAccessForVideo(std::function<void(bool granted)> completion) override;

    /// All devices and defaults in one query; nothing when no server can be reached.
    std::optional<Graph> snapshot() const;

 private:
    class Watch;

    void watchCameras();

    const std::optional<CameraAccess> access_;
    AVAuthorizationStatus status_;
    std::function<void()> changed_;
    std::shared_ptr<Watch> watch_;
    std::shared_ptr<Watch> cameraWatch_;  ///< in a sandbox, after access was granted
};

}  // namespace lumicrate::pipewire
