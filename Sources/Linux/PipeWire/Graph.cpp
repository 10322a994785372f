#include "Linux/PipeWire/Graph.h"

#include "Linux/PipeWire/Session.h"

#include <pipewire/extensions/metadata.h>
#include <spa/utils/dict.h>
#include <spa/utils/json.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <tuple>

namespace lumicrate::pipewire {

NodeRole roleOf(std::string_view mediaClass) {
    NodeRole role;
    // A duplex device is one node for both directions.
    role.isMicrophone = mediaClass == "Audio/Source" || mediaClass == "Audio/Source/Virtual" ||
                        mediaClass == "Audio/Duplex";
    role.isOutput = mediaClass == "Audio/Sink" || mediaClass == "Audio/Duplex";
    role.isCamera = mediaClass == "Video/Source";
    return role;
}

std::optional<std::string> defaultNameFrom(std::string_view note) {
    spa_json text{};
    spa_json object{};
    spa_json_init(&text, note.data(), note.size());
    if (spa_json_enter_object(&text, &object) <= 0) return std::nullopt;
    char key[64];
    while (spa_json_get_string(&object, key, sizeof key) > 0) {
        const char* raw = nullptr;
        const int length = spa_json_next(&object, &raw);
        if (length <= 0) break;
        if (std::string_view(key) != "name") continue;
        if (!spa_json_is_string(raw, length)) break;
        std::string name(static_cast<std::size_t>(length) + 1, '\0');
        if (spa_json_parse_stringn(raw, length, name.data(), static_cast<int>(name.size())) <= 0) break;
        name.resize(name.find('\0'));
        return name;
    }
    return std::nullopt;
}

void sortDevices(std::vector<CaptureDevice>& devices, const std::optional<std::string>& defaultId) {
    std::ranges::sort(devices, [&](const auto& a, const auto& b) {
        const bool aFirst = a.id == defaultId;
        const bool bFirst = b.id == defaultId;
        if (aFirst != bFirst) return aFirst;
        return std::tie(a.name, a.id) < std::tie(b.name, b.id);
    });
}

namespace {

struct DestroyProxy {
    template <class Proxy>
    void operator()(Proxy* proxy) const {
        pw_proxy_destroy(reinterpret_cast<pw_proxy*>(proxy));
    }
};

std::optional<std::string> valueOf(const spa_dict* properties, const char* key) {
    const char* value = properties ? spa_dict_lookup(properties, key) : nullptr;
    if (!value || !*value) return std::nullopt;
    return value;
}

/// Collects what the server announces. Made, used and destroyed under the session's lock.
class GraphReader {
 public:
    explicit GraphReader(Session& session)
        : session_(session), registry_(pw_core_get_registry(session.core(), PW_VERSION_REGISTRY, 0)) {
        registryEvents_.version = PW_VERSION_REGISTRY_EVENTS;
        registryEvents_.global = &GraphReader::onGlobal;
        metadataEvents_.version = PW_VERSION_METADATA_EVENTS;
        metadataEvents_.property = &GraphReader::onProperty;
        if (registry_) pw_registry_add_listener(registry_.get(), &registryListener_, &registryEvents_, this);
    }
    GraphReader(const GraphReader&) = delete;
    GraphReader& operator=(const GraphReader&) = delete;

    Graph read() {
        // The first answer comes after all objects have been announced, the second after the defaults, which
        // are only told to who has asked for them when they were announced.
        if (session_.roundTrip(Session::answerPatience) && metadata_)
            session_.roundTrip(Session::answerPatience);
        sortDevices(graph_.microphones, graph_.defaultMicrophone);
        sortDevices(graph_.cameras, std::nullopt);
        sortDevices(graph_.outputs, graph_.defaultOutput);
        return std::move(graph_);
    }

 private:
    static void onGlobal(void* self, std::uint32_t id, std::uint32_t /*permissions*/, const char* type,
                         std::uint32_t /*version*/, const spa_dict* properties) {
        auto& reader = *static_cast<GraphReader*>(self);
        const std::string_view kind = type;
        if (kind == PW_TYPE_INTERFACE_Node) reader.addNode(properties);
        if (kind == PW_TYPE_INTERFACE_Metadata && valueOf(properties, PW_KEY_METADATA_NAME) == "default")
            reader.listenToDefaults(id);
    }

    static int onProperty(void* self, std::uint32_t subject, const char* key, const char* /*type*/,
                          const char* value) {
        auto& graph = static_cast<GraphReader*>(self)->graph_;
        if (subject != PW_ID_CORE || !key || !value) return 0;
        const std::string_view name = key;
        if (name == "default.audio.sink") graph.defaultOutput = defaultNameFrom(value);
        if (name == "default.audio.source") graph.defaultMicrophone = defaultNameFrom(value);
        return 0;
    }

    void addNode(const spa_dict* properties) {
        const auto id = valueOf(properties, PW_KEY_NODE_NAME);
        if (!id) return;
        const auto nick = valueOf(properties, PW_KEY_NODE_NICK);
        const CaptureDevice device{*id,
                                   valueOf(properties, PW_KEY_NODE_DESCRIPTION).value_or(nick.value_or(*id))};
        const NodeRole role = roleOf(valueOf(properties, PW_KEY_MEDIA_CLASS).value_or(""));
        if (role.isMicrophone) graph_.microphones.push_back(device);
        if (role.isCamera) graph_.cameras.push_back(device);
        if (role.isOutput) graph_.outputs.push_back(device);
    }

    void listenToDefaults(std::uint32_t id) {
        metadata_.reset(static_cast<pw_metadata*>(
            pw_registry_bind(registry_.get(), id, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA, 0)));
        if (metadata_) pw_metadata_add_listener(metadata_.get(), &metadataListener_, &metadataEvents_, this);
    }

    Session& session_;
    Graph graph_;
    pw_registry_events registryEvents_{};
    pw_metadata_events metadataEvents_{};
    spa_hook registryListener_{};
    spa_hook metadataListener_{};
    std::unique_ptr<pw_registry, DestroyProxy> registry_;
    std::unique_ptr<pw_metadata, DestroyProxy> metadata_;
};

}  // namespace

Graph readGraph(Session& session) {
    const Session::Lock lock(session);
    GraphReader reader(session);
    return reader.read();
}

}  // namespace lumicrate::pipewire
