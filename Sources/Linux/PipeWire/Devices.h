// SPDX-License-Identifier: GPL-3.0-or-later
// Devices: the microphones and cameras that the sound server provides.
#pragma once

#include "Linux/PipeWire/ReconnectingConnection.h"
#include "Platform/AVCaptureDevice.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace lumicrate::pipewire {

/// Notices changes of devices or default devices, across restarts of the server.
class DeviceWatch {
 public:
    /// `changed` is called on the watch's thread: when the devices are known, then after changes, at most
    /// five times a second and always after the last. It must not destroy the watch.
    explicit DeviceWatch(std::function<void()> changed);
    DeviceWatch(const DeviceWatch&) = delete;
    DeviceWatch& operator=(const DeviceWatch&) = delete;

    /// The devices as of the last call of `changed`; nothing without a server. Any thread.
    std::optional<Graph> graph() const;

 private:
    void setGraph(std::optional<Graph> graph);

    const std::function<void()> changed_;
    mutable std::mutex mutex_;
    std::optional<Graph> graph_;
    ReconnectingConnection connection_;  ///< last: its thread uses all the others
};

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

    /// All devices and defaults in one query; nothing when no server can be reached.
    std::optional<Graph> snapshot() const;

 private:
    std::unique_ptr<DeviceWatch> watch_;
};

}  // namespace lumicrate::pipewire
