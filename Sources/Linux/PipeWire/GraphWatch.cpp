#include "Linux/PipeWire/GraphWatch.h"

#include <spa/utils/dict.h>

#include <charconv>
#include <string_view>
#include <utility>

namespace lumicrate::pipewire {

namespace {

std::optional<std::string> valueOf(const spa_dict* properties, const char* key) {
    const char* value = properties ? spa_dict_lookup(properties, key) : nullptr;
    if (!value || !*value) return std::nullopt;
    return value;
}

std::uint32_t numberOf(const spa_dict* properties, const char* key) {
    const std::string text = valueOf(properties, key).value_or("");
    std::uint32_t number = PW_ID_ANY;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
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

std::optional<std::uint64_t> GraphWatch::arrivalOfMicrophone(const std::string& id) const {
    const Session::Lock lock(session_);
    for (const auto& [number, node] : nodes_) {
        if (node.role.isMicrophone && node.device.id == id) return node.arrival;
    }
    return std::nullopt;
}

bool GraphWatch::hearsAnOutputUnasked(std::uint32_t number) const {
    if (directed_.contains(number)) return false;
    for (const auto& [_, link] : links_) {
        const auto from = link.to == number ? nodes_.find(link.from) : nodes_.end();
        if (from == nodes_.end()) continue;
        const Node& node = from->second;
        if (node.role.isOutput && !node.role.isMicrophone && node.device.id != wantedMicrophone_) return true;
    }
    return false;
}

void GraphWatch::onGlobal(void* self, std::uint32_t number, std::uint32_t /*permissions*/, const char* type,
                          std::uint32_t /*version*/, const spa_dict* properties) {
    auto& watch = *static_cast<GraphWatch*>(self);
    const std::string_view kind = type;
    if (kind == PW_TYPE_INTERFACE_Node) watch.addNode(number, properties);
    if (kind == PW_TYPE_INTERFACE_Link) watch.addLink(number, properties);
    if (kind == PW_TYPE_INTERFACE_Metadata && valueOf(properties, PW_KEY_METADATA_NAME) == "default")
        watch.listenToDefaults(number);
}

void GraphWatch::onGlobalRemoved(void* self, std::uint32_t number) {
    auto& watch = *static_cast<GraphWatch*>(self);
    watch.links_.erase(number);
    if (watch.nodes_.erase(number) > 0) watch.session_.noteChange();
}

int GraphWatch::onProperty(void* self, std::uint32_t subject, const char* key, const char* /*type*/,
                           const char* value) {
    auto& watch = *static_cast<GraphWatch*>(self);
    // Without a value, the property has been taken away; without a key, all of the subject's.
    const std::string_view name = key ? key : "";
    if (subject == PW_ID_CORE) {
        watch.takeDefault(name, value ? defaultNameFrom(value) : std::nullopt);
    } else if (!key || name == "target.object" || name == "target.node") {
        const bool isSomewhere = value && std::string_view(value) != "-1";
        if (isSomewhere) {
            watch.directed_.insert(subject);
        } else {
            watch.directed_.erase(subject);
        }
    }
    return 0;
}

void GraphWatch::takeDefault(std::string_view key, std::optional<std::string> name) {
    std::optional<std::string>* known = nullptr;
    if (key == "default.audio.sink") known = &defaultOutput_;
    if (key == "default.audio.source") known = &defaultMicrophone_;
    if (key == "default.configured.audio.source") known = &wantedMicrophone_;
    if (!known || *known == name) return;
    *known = std::move(name);
    session_.noteChange();
}

void GraphWatch::addNode(std::uint32_t number, const spa_dict* properties) {
    const NodeRole role = roleOf(valueOf(properties, PW_KEY_MEDIA_CLASS).value_or(""));
    const auto id = valueOf(properties, PW_KEY_NODE_NAME);
    if (!id || role == NodeRole()) return;
    const std::string nick = valueOf(properties, PW_KEY_NODE_NICK).value_or(*id);
    nodes_[number] = {{*id, valueOf(properties, PW_KEY_NODE_DESCRIPTION).value_or(nick)}, role, ++arrivals_};
    session_.noteChange();
}

void GraphWatch::addLink(std::uint32_t number, const spa_dict* properties) {
    links_[number] = {numberOf(properties, PW_KEY_LINK_OUTPUT_NODE),
                      numberOf(properties, PW_KEY_LINK_INPUT_NODE)};
}

void GraphWatch::listenToDefaults(std::uint32_t number) {
    metadata_.reset(static_cast<pw_metadata*>(
        pw_registry_bind(registry_.get(), number, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA, 0)));
    if (metadata_) pw_metadata_add_listener(metadata_.get(), &metadataListener_, &metadataEvents, this);
}

}  // namespace lumicrate::pipewire
