// GraphWatch: the sound server's devices as they come and go.
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

/// Follows what the server announces, from when it is made until it is destroyed. What comes, goes or
/// becomes a default is a change of the session's.
class GraphWatch {
 public:
    /// Waits for the present state; what the server does not tell within the session's patience comes later.
    /// `session` must outlive the watch. Takes its lock, as the destructor does.
    explicit GraphWatch(Session& session);
    ~GraphWatch();
    GraphWatch(const GraphWatch&) = delete;
    GraphWatch& operator=(const GraphWatch&) = delete;

    /// The devices now. Takes the session's lock.
    Graph graph() const;
    /// The default output's number in the server's graph. Session's lock held.
    std::optional<std::uint32_t> defaultOutputNumber() const;
    /// Tells a microphone of that id from one that took its place: each device that comes gets another
    /// number. Nothing while there is none. Takes the session's lock.
    std::optional<std::uint64_t> arrivalOfMicrophone(const std::string& id) const;
    /// Whether what the node of that number hears is an output's sound without anybody having asked for that:
    /// session managers put an output in the place of the last microphone when it goes. Session's lock held.
    bool hearsAnOutputUnasked(std::uint32_t number) const;

 private:
    struct Node {
        CaptureDevice device;
        NodeRole role;
        std::uint64_t arrival = 0;
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
    void takeDefault(std::string_view key, std::optional<std::string> name);
    void listenToDefaults(std::uint32_t number);

    Session& session_;
    std::map<std::uint32_t, Node> nodes_;
    std::map<std::uint32_t, Link> links_;
    std::set<std::uint32_t> directed_;  ///< streams that the user has put somewhere
    std::uint64_t arrivals_ = 0;
    std::optional<std::string> defaultMicrophone_;
    std::optional<std::string> wantedMicrophone_;  ///< what the user made the default, there or not
    std::optional<std::string> defaultOutput_;
    spa_hook registryListener_{};
    spa_hook metadataListener_{};
    std::unique_ptr<pw_registry, DestroyProxy> registry_;
    std::unique_ptr<pw_metadata, DestroyProxy> metadata_;
};

}  // namespace lumicrate::pipewire
