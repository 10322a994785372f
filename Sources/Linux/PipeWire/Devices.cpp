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

std::optional<std::string> Devices::defaultMicrophone() const {
    return snapshot().value_or(Graph()).defaultMicrophone;
}

bool Devices::soundServerReachable() const {
    return snapshot().has_value();
}

bool Devices::hasSystemSound() const {
    return !snapshot().value_or(Graph()).outputs.empty();
}

}  // namespace lumicrate::pipewire
