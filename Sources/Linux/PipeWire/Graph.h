// Graph: the sound server's devices at one moment.
#pragma once

#include "Platform/AVCaptureDevice.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate::pipewire {

/// What a node of the server's graph can be used for.
struct NodeRole {
    bool isMicrophone = false;
    bool isCamera = false;
    bool isOutput = false;
    bool operator==(const NodeRole&) const = default;
};

/// The role by a node's media class ("Audio/Source" …). Streams of applications and unknown classes have
/// none. An output's monitor is not a node of its own, so it never appears as a microphone.
NodeRole roleOf(std::string_view mediaClass);

/// The node name in the metadata value of a default device, {"name": "…"}; nothing for other text.
std::optional<std::string> defaultNameFrom(std::string_view metadata);

/// Sorts the default device first and the others by name, then id, so that the list does not depend on the
/// order in which devices were connected.
void sortDevices(std::vector<CaptureDevice>& devices, const std::optional<std::string>& defaultId);

/// Sorted lists; the ids are node names.
struct Graph {
    std::vector<CaptureDevice> microphones;
    std::vector<CaptureDevice> cameras;
    std::vector<CaptureDevice> outputs;
    std::optional<std::string> defaultMicrophone;
    std::optional<std::string> defaultOutput;
    bool operator==(const Graph&) const = default;
};

}  // namespace lumicrate::pipewire
