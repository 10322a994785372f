// SPDX-License-Identifier: GPL-3.0-or-later
// GraphWatch: the sound server's graph of devices, and a watch that follows devices, defaults and links.
#pragma once

#include "Linux/PipeWire/Session.h"
#include "Platform/AVCaptureDevice.h"

#include <pipewire/extensions/metadata.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
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

/// A camera's name without what session managers append to it: "Webcam (V4L2)" gives "Webcam".
std::string cameraName(std::string_view description);

/// Sorts the default device first and the others by name, then id, so that the list does not depend on the
/// order in which devices were connected.
void sortDevices(std::vector<CaptureDevice>& devices, const std::optional<std::string>& defaultId);

/// A camera as the server announces it.
struct CameraNode {
    std::uint32_t number = 0;  ///< in the server's graph
    /// Differs each time the camera is connected.
    std::uint64_t serial = 0;
};

/// Sorted lists; the ids are node names. A camera with two nodes is listed once.
struct Graph {
    std::vector<CaptureDevice> microphones;
    std::vector<CaptureDevice> cameras;
    std::vector<CaptureDevice> outputs;
    std::optional<std::string> defaultMicrophone;
    std::optional<std::string> defaultOutput;
    bool operator==(const Graph&) const = default;
};

/// Calls the session's noteChange() when a device appears, disappears or becomes a default.
class GraphWatch {
 public:
    /// Waits for the current state; what the server does not send before the session's timeout is added
    /// later. `session` must outlive the watch. Constructor and destructor take its lock.
    explicit GraphWatch(Session& session);
    ~GraphWatch();
    GraphWatch(const GraphWatch&) = delete;
    GraphWatch& operator=(const GraphWatch&) = delete;

    /// The devices now. Takes the session's lock.
    Graph graph() const;
    /// The default output's node id in the server's graph. Session's lock held.
    std::optional<std::uint32_t> defaultOutputNode() const;
    /// Whether there is any output. Session's lock held.
    bool hasOutput() const;
    /// A number that differs each time a microphone of that id is connected; nothing while there is none.
    /// Takes the session's lock.
    std::optional<std::uint64_t> microphoneSerial(const std::string& id) const;
    /// The camera with that id, whether it is listed or not. Takes the session's lock.
    std::optional<CameraNode> camera(const std::string& id) const;
    /// To bind objects. Null without a connection. Session's lock held.
    pw_registry* registry() const { return registry_.get(); }
    /// Whether a stream's node is linked to an output by the session manager alone, which replaces the last
    /// microphone by an output when it is disconnected. False when the user chose the output. Session's lock
    /// held.
    bool isLinkedToOutputByFallback(std::uint32_t node) const;

 private:
    struct Node {
        CaptureDevice device;
        NodeRole role;
        std::uint64_t serial = 0;
        std::string parent;        ///< a camera's device in the graph, a number; may be empty
        bool isLibcamera = false;  ///< the driver
    };
    struct Link {
        std::uint32_t from = 0;
        std::uint32_t to = 0;
    };
    struct DestroyProxy {
        template <class Proxy>
        void operator()(Proxy* proxy) const {
            pw_proxy_destroy(reinterpret_cast<pw_proxy*>(proxy));
        }
    };

    static const pw_registry_events registryEvents;
    static const pw_metadata_events metadataEvents;
    void add(std::uint32_t number, std::string_view type, const spa_dict* properties);
    void remove(std::uint32_t number);
    void setProperty(std::uint32_t subject, const char* key, const char* value);
    void addNode(std::uint32_t number, const spa_dict* properties);
    bool isSecondNodeOfACamera(std::uint32_t number) const;
    void setDefault(std::string_view key, std::optional<std::string> name);
    void bindMetadata(std::uint32_t number);

    Session& session_;
    std::map<std::uint32_t, Node> nodes_;
    std::map<std::uint32_t, Link> links_;
    std::set<std::uint32_t> movedStreams_;  ///< streams whose target the user chose
    std::uint64_t lastSerial_ = 0;
    std::optional<std::string> defaultMicrophone_;
    std::optional<std::string> configuredMicrophone_;  ///< the default the user chose, present or not
    std::optional<std::string> defaultOutput_;
    spa_hook registryListener_{};
    spa_hook metadataListener_{};
    std::unique_ptr<pw_registry, DestroyProxy> registry_;
    std::unique_ptr<pw_metadata, DestroyProxy> metadata_;
};

}  // namespace lumicrate::pipewire
