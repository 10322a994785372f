// GraphWatch: follows the sound server's devices, defaults and links.
#pragma once

#include "Linux/PipeWire/Graph.h"
#include "Linux/PipeWire/Session.h"

#include <pipewire/extensions/metadata.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace lumicrate::pipewire {

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
    /// A number that differs each time a microphone of that id is connected; nothing while there is none.
    /// Takes the session's lock.
    std::optional<std::uint64_t> microphoneSerial(const std::string& id) const;
    /// Whether a stream's node is linked to an output by the session manager alone, which replaces the last
    /// microphone by an output when it is disconnected. False when the user chose the output. Session's lock
    /// held.
    bool isLinkedToOutputByFallback(std::uint32_t node) const;

 private:
    struct Node {
        CaptureDevice device;
        NodeRole role;
        std::uint64_t serial = 0;
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
    static void onGlobal(void* self, std::uint32_t number, std::uint32_t permissions, const char* type,
                         std::uint32_t version, const spa_dict* properties);
    static void onGlobalRemoved(void* self, std::uint32_t number);
    static int onProperty(void* self, std::uint32_t subject, const char* key, const char* type,
                          const char* value);
    void addNode(std::uint32_t number, const spa_dict* properties);
    void addLink(std::uint32_t number, const spa_dict* properties);
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
