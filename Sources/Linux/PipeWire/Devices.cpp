#include "Linux/PipeWire/Devices.h"

#include "Linux/PipeWire/LastingConnection.h"
#include "Support/Error.h"

#include <utility>

namespace lumicrate::pipewire {

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
