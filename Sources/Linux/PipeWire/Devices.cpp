// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/Devices.h"

#include "Support/Error.h"

#include <utility>

namespace lumicrate::pipewire {

DeviceWatch::DeviceWatch(std::function<void()> changed)
    : changed_(std::move(changed)),
      connection_(nullptr, {[this](Connection& connection) -> std::optional<ReconnectingConnection::Delay> {
                                setGraph(connection.watch.graph());
                                return std::nullopt;
                            },
                            [this] { setGraph(std::nullopt); }}) {}

std::optional<Graph> DeviceWatch::graph() const {
    const std::lock_guard lock(mutex_);
    return graph_;
}

void DeviceWatch::setGraph(std::optional<Graph> graph) {
    {
        const std::lock_guard lock(mutex_);
        if (graph == graph_) return;
        graph_ = std::move(graph);
    }
    changed_();
}

std::optional<Graph> Devices::snapshot() const {
    if (auto known = watch_ ? watch_->graph() : std::nullopt) return known;
    try {
        return Connection().watch.graph();
    } catch (const PlatformError&) {
        return std::nullopt;
    }
}

void Devices::setOnChange(std::function<void()> changed) {
    watch_.reset();
    if (changed) watch_ = std::make_unique<DeviceWatch>(std::move(changed));
}

std::vector<CaptureDevice> Devices::microphones() const {
    return snapshot().value_or(Graph()).microphones;
}

std::vector<CaptureDevice> Devices::cameras() const {
    return snapshot().value_or(Graph()).cameras;
}

}  // namespace lumicrate::pipewire
