// DeviceWatch: says when microphones, cameras or default devices have changed.
#pragma once

#include "Linux/PipeWire/Graph.h"
#include "Linux/PipeWire/LastingConnection.h"

#include <functional>
#include <mutex>
#include <optional>

namespace lumicrate::pipewire {

/// Watches from when it is made until it is destroyed, also while the server restarts.
class DeviceWatch {
 public:
    /// `changed` is called on the watch's thread, first when the devices are known and then after changes,
    /// at most five times a second and always after the last. It must not destroy the watch.
    explicit DeviceWatch(std::function<void()> changed);
    DeviceWatch(const DeviceWatch&) = delete;
    DeviceWatch& operator=(const DeviceWatch&) = delete;

    /// The devices as of the last call of `changed`; nothing while there is no server. Any thread.
    std::optional<Graph> graph() const;

 private:
    void take(std::optional<Graph> graph);

    const std::function<void()> changed_;
    mutable std::mutex mutex_;
    std::optional<Graph> graph_;
    LastingConnection connection_;  ///< calls back
};

}  // namespace lumicrate::pipewire
