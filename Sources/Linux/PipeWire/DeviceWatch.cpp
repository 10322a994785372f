#include "Linux/PipeWire/DeviceWatch.h"

#include <utility>

namespace lumicrate::pipewire {

DeviceWatch::DeviceWatch(std::function<void()> changed)
    : changed_(std::move(changed)),
      connection_(nullptr, {[this](Connection& connection) -> std::optional<LastingConnection::Patience> {
                                take(connection.watch.graph());
                                return std::nullopt;
                            },
                            [this] { take(std::nullopt); }}) {}

std::optional<Graph> DeviceWatch::graph() const {
    const std::lock_guard lock(mutex_);
    return graph_;
}

void DeviceWatch::take(std::optional<Graph> graph) {
    {
        const std::lock_guard lock(mutex_);
        if (graph == graph_) return;
        graph_ = std::move(graph);
    }
    changed_();
}

}  // namespace lumicrate::pipewire
