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

/// While a change handler is set, queries are answered from the watch. Otherwise each query makes a
/// connection of its own, which takes some milliseconds. Without a server the lists are empty; a hanging
/// server delays an answer by two seconds. Main thread.
class Devices final : public AVCaptureDevices {
 public:
    /// The default one first, the others by name. Ids are node names, which survive restarts.
    std::vector<CaptureDevice> microphones() const override;
    /// By name.
    std::vector<CaptureDevice> cameras() const override;
    /// `changed` is called on another thread, at most five times a second.
    void setOnChange(std::function<void()> changed) override;
    /// Outside of a sandbox, the sound server lets every program of the user read its cameras.
    AVAuthorizationStatus authorizationStatusForVideo() const override {
        return AVAuthorizationStatus::authorized;
    }
    void requestAccessForVideo(std::function<void(bool granted)> completion) override { completion(true); }

    /// All devices and defaults in one query; nothing when no server can be reached.
    std::optional<Graph> snapshot() const;

 private:
    class Watch;

    std::shared_ptr<Watch> watch_;
};

}  // namespace lumicrate::pipewire
