// Graph: the sound server's devices at one moment.
#pragma once

#include "Platform/AVCaptureDevice.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate::pipewire {

/// What a node of the server's graph is to a recorder.
struct NodeRole {
    bool isMicrophone = false;
    bool isCamera = false;
    bool isOutput = false;
    bool operator==(const NodeRole&) const = default;
};

/// Reads a node's media class ("Audio/Source" …). Streams of applications and everything unknown have no
/// role. The monitor of an output is no node of its own and so never takes part.
NodeRole roleOf(std::string_view mediaClass);

/// The node name in the server's note of a default device, which reads {"name": "…"}; nothing for another
/// text.
std::optional<std::string> defaultNameFrom(std::string_view note);

/// Puts the default device first and the others in the order of their names, then of their ids, so that a
/// list does not depend on the order of plugging.
void sortDevices(std::vector<CaptureDevice>& devices, const std::optional<std::string>& defaultId);

/// The devices, in order; their ids are node names.
struct Graph {
    std::vector<CaptureDevice> microphones;
    std::vector<CaptureDevice> cameras;
    std::vector<CaptureDevice> outputs;
    std::optional<std::string> defaultMicrophone;
    std::optional<std::string> defaultOutput;
    bool operator==(const Graph&) const = default;
};

}  // namespace lumicrate::pipewire
