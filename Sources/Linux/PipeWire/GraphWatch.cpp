#include "Linux/PipeWire/GraphWatch.h"

#include <spa/utils/dict.h>

#include <string_view>

namespace lumicrate::pipewire {

namespace {

std::optional<std::string> valueOf(const spa_dict* properties, const char* key) {
    const char* value = properties ? spa_dict_lookup(properties, key) : nullptr;
    if (!value || !*value) return std::nullopt;
    return value;
}

}  // namespace

const pw_registry_events GraphWatch::registryEvents = [] {
    pw_registry_events handlers{};
    handlers.version = PW_VERSION_REGISTRY_EVENTS;
    handlers.global = &GraphWatch::onGlobal;
    handlers.global_remove = &GraphWatch::onGlobalRemoved;
    return handlers;
}();

const pw_metadata_events GraphWatch::metadataEvents = [] {
    pw_metadata_events handlers{};
    handlers.version = PW_VERSION_METADATA_EVENTS;
    handlers.property = &GraphWatch::onProperty;
    return handlers;
}();

GraphWatch::GraphWatch(Session& session) : session_(session) {
    const Session::Lock lock(session_);
    registry_.reset(pw_core_get_registry(session_.core(), PW_VERSION_REGISTRY, 0));
    if (!registry_) return;
    pw_registry_add_listener(registry_.get(), &registryListener_, &registryEvents, this);
    // The first answer comes after all objects have been announced, the second after the defaults, which are
    // told only to those who have asked for them when they were announced.
    if (session_.roundTrip(Session::answerPatience) && metadata_) session_.roundTrip(Session::answerPatience);
}

GraphWatch::~GraphWatch() {
    const Session::Lock lock(session_);
    metadata_.reset();
    registry_.reset();
}

Graph GraphWatch::graph() const {
    const Session::Lock lock(session_);
    Graph graph;
    graph.defaultMicrophone = defaultMicrophone_;
    graph.defaultOutput = defaultOutput_;
    for (const auto& [number, node] : nodes_) {
        if (node.role.isMicrophone) graph.microphones.push_back(node.device);
        if (node.role.isCamera) graph.cameras.push_back(node.device);
        if (node.role.isOutput) graph.outputs.push_back(node.device);
    }
    sortDevices(graph.microphones, graph.defaultMicrophone);
    sortDevices(graph.cameras, std::nullopt);
    sortDevices(graph.outputs, graph.defaultOutput);
    return graph;
}

std::optional<std::uint32_t> GraphWatch::defaultOutputNumber() const {
    for (const auto& [number, node] : nodes_) {
        if (node.role.isOutput && node.device.id == defaultOutput_) return number;
    }
    return std::nullopt;
}

void GraphWatch::onGlobal(void* self, std::uint32_t number, std::uint32_t /*permissions*/, const char* type,
                          std::uint32_t /*version*/, const spa_dict* properties) {
    auto& watch = *static_cast<GraphWatch*>(self);
    const std::string_view kind = type;
    if (kind == PW_TYPE_INTERFACE_Node) watch.addNode(number, properties);
    if (kind == PW_TYPE_INTERFACE_Metadata && valueOf(properties, PW_KEY_METADATA_NAME) == "default")
        watch.listenToDefaults(number);
}

void GraphWatch::onGlobalRemoved(void* self, std::uint32_t number) {
    static_cast<GraphWatch*>(self)->nodes_.erase(number);
}

int GraphWatch::onProperty(void* self, std::uint32_t subject, const char* key, const char* /*type*/,
                           const char* value) {
    auto& watch = *static_cast<GraphWatch*>(self);
    if (subject != PW_ID_CORE || !key || !value) return 0;
    const std::string_view name = key;
    if (name == "default.audio.sink") watch.defaultOutput_ = defaultNameFrom(value);
    if (name == "default.audio.source") watch.defaultMicrophone_ = defaultNameFrom(value);
    return 0;
}

void GraphWatch::addNode(std::uint32_t number, const spa_dict* properties) {
    const NodeRole role = roleOf(valueOf(properties, PW_KEY_MEDIA_CLASS).value_or(""));
    const auto id = valueOf(properties, PW_KEY_NODE_NAME);
    if (!id || role == NodeRole()) return;
    const std::string nick = valueOf(properties, PW_KEY_NODE_NICK).value_or(*id);
    nodes_[number] = {{*id, valueOf(properties, PW_KEY_NODE_DESCRIPTION).value_or(nick)}, role};
}

void GraphWatch::listenToDefaults(std::uint32_t number) {
    metadata_.reset(static_cast<pw_metadata*>(
        pw_registry_bind(registry_.get(), number, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA, 0)));
    if (metadata_) pw_metadata_add_listener(metadata_.get(), &metadataListener_, &metadataEvents, this);
}

}  // namespace lumicrate::pipewire
