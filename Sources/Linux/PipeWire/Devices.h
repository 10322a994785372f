// Devices: the microphones and cameras that the sound server knows, and whether there is sound to record.
#pragma once

#include "Linux/PipeWire/DeviceWatch.h"
#include "Linux/PipeWire/Graph.h"
#include "Platform/AVCaptureDevice.h"

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace lumicrate::pipewire {

/// While somebody is told of changes, answers come from the connection that this takes. Otherwise every
/// question is put to the server afresh, over a connection of its own: that takes some milliseconds, and
/// nothing has to be kept in step with a server that comes and goes. Without a server the answers are empty;
/// one that hangs costs two seconds. Main thread.
class Devices final : public AVCaptureDevices {
 public:
    /// The default one first, the others by name. Ids are node names, which outlast a restart.
    std::vector<CaptureDevice> microphones() const override;
    /// By name.
    std::vector<CaptureDevice> cameras() const override;
    /// `changed` is called on a thread of its own, at most five times a second.
    void setOnChange(std::function<void()> changed) override;

    /// All that there is, defaults and outputs too, in one question; nothing when no server can be reached.
    std::optional<Graph> snapshot() const;

 private:
    std::unique_ptr<DeviceWatch> watch_;
};

}  // namespace lumicrate::pipewire
