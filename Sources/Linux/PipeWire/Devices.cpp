// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/Devices.h"

#include "Linux/PipeWire/ReconnectingConnection.h"
#include "Support/Error.h"

#include <mutex>
#include <utility>

namespace lumicrate::pipewire {

/// Knows the devices as of the last change, across restarts of the server; nothing without one.
class Devices::Watch {
 public:
    explicit Watch(std::function<void()> changed)
        : changed_(std::move(changed)),
          connection_(nullptr,
                      {[this](Connection& connection) -> std::optional<ReconnectingConnection::Delay> {
                           setGraph(connection.watch.graph());
                           return std::nullopt;
                       },
                       [this] { setGraph(std::nullopt); }}) {}

    std::optional<Graph> graph() const {
        const std::lock_guard lock(mutex_);
        return graph_;
    }

 private:
    void setGraph(std::optional<Graph> graph) {
        {
            const std::lock_guard lock(mutex_);
            if (graph == graph_) return;
            graph_ = std::move(graph);
        }
        changed_();
    }

    const std::function<void()> changed_;
    mutable std::mutex mutex_;
    std::optional<Graph> graph_;
    ReconnectingConnection connection_;  ///< last: its thread uses all the others
};

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
    if (changed) watch_ = std::make_shared<Watch>(std::move(changed));
}

std::vector<CaptureDevice> Devices::microphones() const {
    return snapshot().value_or(Graph()).microphones;
}

std::vector<CaptureDevice> Devices::cameras() const {
    return snapshot().value_or(Graph()).cameras;
}

}  // namespace lumicrate::pipewire
