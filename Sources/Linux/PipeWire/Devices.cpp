#include "Linux/PipeWire/Devices.h"

#include "Linux/PipeWire/GraphWatch.h"
#include "Linux/PipeWire/Session.h"
#include "Support/Error.h"

namespace lumicrate::pipewire {

std::optional<Graph> Devices::snapshot() const {
    try {
        Session session;
        return GraphWatch(session).graph();
    } catch (const PlatformError&) {
        return std::nullopt;
    }
}

std::vector<CaptureDevice> Devices::microphones() const {
    return snapshot().value_or(Graph()).microphones;
}

std::vector<CaptureDevice> Devices::cameras() const {
    return snapshot().value_or(Graph()).cameras;
}

}  // namespace lumicrate::pipewire
