// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/GraphWatch.h"

#include "Support/Log.h"

#include <spa/utils/dict.h>
#include <spa/utils/json.h>

#include <algorithm>
#include <charconv>
#include <string_view>
#include <tuple>
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

/// The first part of a node name ("alsa_output"): the rest may identify a user's device.
std::string nodeKind(const std::string& name) {
    return name.substr(0, name.find('.'));
}

}  // namespace

NodeRole roleOf(std::string_view mediaClass) {
    NodeRole role;
    // A duplex device is one node for both directions.
    role.isMicrophone =
        mediaClass == "Audio/Source" || mediaClass == "Audio/Source/Virtual" || mediaClass == "Audio/Duplex";
    role.isOutput = mediaClass == "Audio/Sink" || mediaClass == "Audio/Duplex";
    role.isCamera = mediaClass == "Video/Source";
    return role;
}

std::string cameraName(std::string_view description) {
    constexpr std::string_view suffix = " (V4L2)";
    if (description.size() > suffix.size() && description.ends_with(suffix))
        description.remove_suffix(suffix.size());
    return std::string(description);
}

std::optional<std::string> defaultNameFrom(std::string_view metadata) {
    spa_json text{};
    spa_json object{};
    spa_json_init(&text, metadata.data(), metadata.size());
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

const pw_registry_events GraphWatch::registryEvents = [] {
    pw_registry_events handlers{};
    handlers.version = PW_VERSION_REGISTRY_EVENTS;
    handlers.global = [](void* self, std::uint32_t number, std::uint32_t, const char* type, std::uint32_t,
                         const spa_dict* properties) {
        static_cast<GraphWatch*>(self)->add(number, type, properties);
    };
    handlers.global_remove = [](void* self, std::uint32_t number) {
        static_cast<GraphWatch*>(self)->remove(number);
    };
    return handlers;
}();

const pw_metadata_events GraphWatch::metadataEvents = [] {
    pw_metadata_events handlers{};
    handlers.version = PW_VERSION_METADATA_EVENTS;
    handlers.property = [](void* self, std::uint32_t subject, const char* key, const char*,
                           const char* value) {
        static_cast<GraphWatch*>(self)->setProperty(subject, key, value);
        return 0;
    };
    return handlers;
}();

GraphWatch::GraphWatch(Session& session) : session_(session) {
    const Session::Lock lock(session_);
    registry_.reset(pw_core_get_registry(session_.core(), PW_VERSION_REGISTRY, 0));
    if (!registry_) return;
    pw_registry_add_listener(registry_.get(), &registryListener_, &registryEvents, this);
    // After the first round trip all objects are announced, and the metadata is bound. Its values have been
    // received after the second.
    if (session_.roundTrip(Session::answerTimeout) && metadata_) session_.roundTrip(Session::answerTimeout);
    const Graph found = graph();
    log(LogArea::audio, found.microphones.size(), " microphones, ", found.cameras.size(), " cameras, ",
        found.outputs.size(), " sound outputs");
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
        if (node.role.isCamera && !isSecondNodeOfACamera(number)) graph.cameras.push_back(node.device);
        if (node.role.isOutput) graph.outputs.push_back(node.device);
    }
    sortDevices(graph.microphones, graph.defaultMicrophone);
    sortDevices(graph.cameras, std::nullopt);
    sortDevices(graph.outputs, graph.defaultOutput);
    return graph;
}

std::optional<std::uint32_t> GraphWatch::defaultOutputNode() const {
    for (const auto& [number, node] : nodes_) {
        if (node.role.isOutput && node.device.id == defaultOutput_) return number;
    }
    return std::nullopt;
}

bool GraphWatch::hasOutput() const {
    return std::ranges::any_of(nodes_, [](const auto& entry) { return entry.second.role.isOutput; });
}

std::optional<std::uint64_t> GraphWatch::microphoneSerial(const std::string& id) const {
    const Session::Lock lock(session_);
    for (const auto& [number, node] : nodes_) {
        if (node.role.isMicrophone && node.device.id == id) return node.serial;
    }
    return std::nullopt;
}

std::optional<CameraNode> GraphWatch::camera(const std::string& id) const {
    const Session::Lock lock(session_);
    for (const auto& [number, node] : nodes_) {
        if (node.role.isCamera && node.device.id == id) return CameraNode{number, node.serial};
    }
    return std::nullopt;
}

/// Of two drivers for one camera, V4L2 offers more formats; of two nodes of one device, the older one is
/// used. Cameras are compared by name across drivers, which have nothing else in common; with one driver, two
/// cameras of a model have the same name.
bool GraphWatch::isSecondNodeOfACamera(std::uint32_t number) const {
    const Node& node = nodes_.at(number);
    return std::ranges::any_of(nodes_, [&](const auto& entry) {
        const Node& other = entry.second;
        if (entry.first == number || !other.role.isCamera) return false;
        if (other.isLibcamera != node.isLibcamera)
            return node.isLibcamera && other.device.name == node.device.name;
        return !node.parent.empty() && other.parent == node.parent && other.serial < node.serial;
    });
}

bool GraphWatch::isLinkedToOutputByFallback(std::uint32_t node) const {
    if (movedStreams_.contains(node)) return false;
    for (const auto& [_, link] : links_) {
        const auto from = link.to == node ? nodes_.find(link.from) : nodes_.end();
        if (from == nodes_.end()) continue;
        const Node& source = from->second;
        if (source.role.isOutput && !source.role.isMicrophone && source.device.id != configuredMicrophone_)
            return true;
    }
    return false;
}

void GraphWatch::add(std::uint32_t number, std::string_view type, const spa_dict* properties) {
    if (type == PW_TYPE_INTERFACE_Node) addNode(number, properties);
    if (type == PW_TYPE_INTERFACE_Link)
        links_[number] = {numberOf(properties, PW_KEY_LINK_OUTPUT_NODE),
                          numberOf(properties, PW_KEY_LINK_INPUT_NODE)};
    if (type == PW_TYPE_INTERFACE_Metadata && valueOf(properties, PW_KEY_METADATA_NAME) == "default")
        bindMetadata(number);
}

void GraphWatch::remove(std::uint32_t number) {
    links_.erase(number);
    if (nodes_.erase(number) > 0) session_.noteChange();
}

void GraphWatch::setProperty(std::uint32_t subject, const char* key, const char* value) {
    // No value: the property was removed. No key: all of the subject's properties were removed.
    const std::string_view name = key ? key : "";
    if (subject == PW_ID_CORE) {
        setDefault(name, value ? defaultNameFrom(value) : std::nullopt);
    } else if (!key || name == "target.object" || name == "target.node") {
        const bool hasTarget = value && std::string_view(value) != "-1";
        if (hasTarget) {
            movedStreams_.insert(subject);
        } else {
            movedStreams_.erase(subject);
        }
    }
}

void GraphWatch::setDefault(std::string_view key, std::optional<std::string> name) {
    std::optional<std::string>* known = nullptr;
    if (key == "default.audio.sink") known = &defaultOutput_;
    if (key == "default.audio.source") known = &defaultMicrophone_;
    if (key == "default.configured.audio.source") known = &configuredMicrophone_;
    if (!known || *known == name) return;
    *known = std::move(name);
    log(LogArea::audio, key, ": ", *known ? nodeKind(**known) : "none");
    session_.noteChange();
}

void GraphWatch::addNode(std::uint32_t number, const spa_dict* properties) {
    const NodeRole role = roleOf(valueOf(properties, PW_KEY_MEDIA_CLASS).value_or(""));
    const auto id = valueOf(properties, PW_KEY_NODE_NAME);
    if (!id || role == NodeRole()) return;
    const std::string nick = valueOf(properties, PW_KEY_NODE_NICK).value_or(*id);
    const std::string name = valueOf(properties, PW_KEY_NODE_DESCRIPTION).value_or(nick);
    nodes_[number] = {{*id, role.isCamera ? cameraName(name) : name},
                      role,
                      ++lastSerial_,
                      valueOf(properties, PW_KEY_DEVICE_ID).value_or(""),
                      id->starts_with("libcamera")};
    session_.noteChange();
}

void GraphWatch::bindMetadata(std::uint32_t number) {
    metadata_.reset(static_cast<pw_metadata*>(
        pw_registry_bind(registry_.get(), number, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA, 0)));
    if (metadata_) pw_metadata_add_listener(metadata_.get(), &metadataListener_, &metadataEvents, this);
}

}  // namespace lumicrate::pipewire
