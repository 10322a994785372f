// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/PlaybackLinks.h"

#include "Linux/PipeWire/AudioStream.h"
#include "Linux/PipeWire/ProcessTree.h"
#include "Support/Log.h"

#include <spa/param/latency-utils.h>
#include <spa/utils/dict.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <set>
#include <string>

namespace lumicrate::pipewire {

namespace {

/// A port that is being set up again may refuse a link.
constexpr int maxAttempts = 3;

std::string_view textOf(const spa_dict* properties, const char* key) {
    const char* text = properties ? spa_dict_lookup(properties, key) : nullptr;
    return text ? text : "";
}

template <class Number = std::uint32_t>
std::optional<Number> numberOf(const spa_dict* properties, const char* key) {
    const std::string_view text = textOf(properties, key);
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

}  // namespace

/// The program behind a connection to the server.
struct PlaybackLinks::Client {
    static const pw_client_events events;

    void setProperties(const spa_dict* properties) {
        const auto named = numberOf<Process>(properties, PW_KEY_APP_PROCESS_ID);
        isOwn = named == getpid();
        // At the other end of these connections is the server of that protocol.
        const bool isPulse = textOf(properties, PW_KEY_CLIENT_API) == "pipewire-pulse";
        const bool isSandboxed = textOf(properties, PW_KEY_ACCESS) == "flatpak";
        const auto process =
            isPulse ? (isSandboxed ? std::nullopt : named) : numberOf<Process>(properties, PW_KEY_SEC_PID);
        isRecorded = links.only_ ? process && isInProcessTree(*process, *links.only_) : !isOwn;
        isKnown = true;
        links.session_.noteChange();
        links.update();
    }

    PlaybackLinks& links;
    bool isKnown = false;
    bool isOwn = false;
    bool isRecorded = false;
    spa_hook listener{};
    std::unique_ptr<pw_client, DestroyProxy> proxy{};
};

const pw_client_events PlaybackLinks::Client::events = [] {
    pw_client_events handlers{};
    handlers.version = PW_VERSION_CLIENT_EVENTS;
    handlers.info = [](void* self, const pw_client_info* info) {
        if ((info->change_mask & PW_CLIENT_CHANGE_MASK_PROPS) != 0)
            static_cast<Client*>(self)->setProperties(info->props);
    };
    return handlers;
}();

/// A link that this program made.
struct PlaybackLinks::RecordingLink {
    static const pw_link_events events;
    static const pw_proxy_events proxyEvents;

    void fail() {
        log(LogArea::audio, "a link of a recorded stream was refused or removed");
        isReady = false;
        hasFailed = true;
        links.session_.noteChange();
    }

    PlaybackLinks& links;
    int attempts = 0;
    bool isReady = false;
    bool hasFailed = false;  ///< refused, or removed by somebody else
    spa_hook listener{};
    spa_hook proxyListener{};
    std::unique_ptr<pw_proxy, DestroyProxy> proxy{};
};

const pw_link_events PlaybackLinks::RecordingLink::events = [] {
    pw_link_events handlers{};
    handlers.version = PW_VERSION_LINK_EVENTS;
    handlers.info = [](void* self, const pw_link_info* info) {
        static_cast<RecordingLink*>(self)->isReady = info->state >= PW_LINK_STATE_PAUSED;
    };
    return handlers;
}();

const pw_proxy_events PlaybackLinks::RecordingLink::proxyEvents = [] {
    pw_proxy_events handlers{};
    handlers.version = PW_VERSION_PROXY_EVENTS;
    handlers.removed = [](void* self) { static_cast<RecordingLink*>(self)->fail(); };
    handlers.error = [](void* self, int, int, const char*) { static_cast<RecordingLink*>(self)->fail(); };
    return handlers;
}();

/// Follows the time from an output's input until its sound is audible.
struct PlaybackLinks::DelayWatch {
    static const pw_port_events events;

    void setDelay(const spa_pod* value) const {
        spa_latency_info latency{};
        if (!value || spa_latency_parse(value, &latency) < 0 || latency.direction != SPA_DIRECTION_INPUT)
            return;
        if (links.stream_) links.stream_->setPlaybackDelay(latency);
    }

    PlaybackLinks& links;
    std::uint32_t port = 0;
    spa_hook listener{};
    std::unique_ptr<pw_port, DestroyProxy> proxy{};
};

const pw_port_events PlaybackLinks::DelayWatch::events = [] {
    pw_port_events handlers{};
    handlers.version = PW_VERSION_PORT_EVENTS;
    handlers.param = [](void* self, int, std::uint32_t id, std::uint32_t, std::uint32_t,
                        const spa_pod* value) {
        if (id == SPA_PARAM_Latency) static_cast<DelayWatch*>(self)->setDelay(value);
    };
    return handlers;
}();

const pw_registry_events PlaybackLinks::registryEvents = [] {
    pw_registry_events handlers{};
    handlers.version = PW_VERSION_REGISTRY_EVENTS;
    handlers.global = [](void* self, std::uint32_t number, std::uint32_t, const char* type, std::uint32_t,
                         const spa_dict* properties) {
        static_cast<PlaybackLinks*>(self)->add(number, type, properties);
    };
    handlers.global_remove = [](void* self, std::uint32_t number) {
        static_cast<PlaybackLinks*>(self)->remove(number);
    };
    return handlers;
}();

PlaybackLinks::PlaybackLinks(Session& session, const GraphWatch& watch, std::optional<Process> only)
    : session_(session), watch_(watch), only_(only) {
    const Session::Lock lock(session_);
    registry_.reset(pw_core_get_registry(session_.core(), PW_VERSION_REGISTRY, 0));
    if (registry_) pw_registry_add_listener(registry_.get(), &registryListener_, &registryEvents, this);
}

PlaybackLinks::~PlaybackLinks() {
    const Session::Lock lock(session_);
    delay_.reset();
    links_.clear();
    clients_.clear();
    registry_.reset();
}

bool PlaybackLinks::hasOwnStream() const {
    return std::ranges::any_of(graph_.nodes, [this](const auto& entry) {
        const auto client = entry.second.client ? clients_.find(*entry.second.client) : clients_.end();
        return client != clients_.end() && client->second->isOwn;
    });
}

void PlaybackLinks::record(AudioStream* stream) {
    const Session::Lock lock(session_);
    stream_ = stream;
    delay_.reset();
    update();
}

bool PlaybackLinks::isComplete() const {
    const auto node = stream_ ? stream_->node() : std::nullopt;
    const auto isInput = [&](const auto& port) { return port.second.node == node && port.second.isInput; };
    return node && std::ranges::any_of(graph_.ports, isInput) &&
           std::ranges::all_of(links_, [](const auto& entry) {
               return entry.second->isReady || entry.second->attempts >= maxAttempts;
           });
}

void PlaybackLinks::add(std::uint32_t number, std::string_view type, const spa_dict* properties) {
    if (type == PW_TYPE_INTERFACE_Node) {
        addNode(number, properties);
    } else if (type == PW_TYPE_INTERFACE_Port) {
        graph_.ports[number] = {numberOf(properties, PW_KEY_NODE_ID).value_or(PW_ID_ANY),
                                textOf(properties, PW_KEY_PORT_DIRECTION) == "in",
                                std::string(textOf(properties, PW_KEY_AUDIO_CHANNEL))};
    } else if (type == PW_TYPE_INTERFACE_Link) {
        graph_.links[number] = {numberOf(properties, PW_KEY_LINK_OUTPUT_PORT).value_or(PW_ID_ANY),
                                numberOf(properties, PW_KEY_LINK_INPUT_PORT).value_or(PW_ID_ANY)};
    } else {
        return;
    }
    update();
}

void PlaybackLinks::addNode(std::uint32_t number, const spa_dict* properties) {
    const std::string_view mediaClass = textOf(properties, PW_KEY_MEDIA_CLASS);
    PlaybackGraph::Node node;
    node.isOutput = roleOf(mediaClass).isOutput;
    // Nodes without a class are filters, such as programs of the JACK protocol.
    if (mediaClass == "Stream/Output/Audio" || mediaClass.empty()) {
        node.client = numberOf(properties, PW_KEY_CLIENT_ID);
        if (node.client) bindClient(*node.client);
    }
    graph_.nodes[number] = node;
}

void PlaybackLinks::bindClient(std::uint32_t number) {
    auto& client = clients_[number];
    if (client) return;
    client = std::make_unique<Client>(Client{*this});
    client->proxy.reset(static_cast<pw_client*>(
        pw_registry_bind(registry_.get(), number, PW_TYPE_INTERFACE_Client, PW_VERSION_CLIENT, 0)));
    if (client->proxy)
        pw_client_add_listener(client->proxy.get(), &client->listener, &Client::events, client.get());
}

void PlaybackLinks::remove(std::uint32_t number) {
    const bool wasNode = graph_.nodes.erase(number) > 0;
    const bool wasKnown = graph_.ports.erase(number) + graph_.links.erase(number) > 0 || wasNode;
    clients_.erase(number);
    if (wasNode) session_.noteChange();
    if (wasKnown) update();
}

/// Devices that feed others play what they get from everybody.
bool PlaybackLinks::records(const PlaybackGraph::Node& node) const {
    if (!node.client) return !only_;
    const auto client = clients_.find(*node.client);
    return client != clients_.end() && client->second->isKnown && client->second->isRecorded;
}

void PlaybackLinks::update() {
    const auto node = stream_ ? stream_->node() : std::nullopt;
    const auto output = only_ ? std::nullopt : watch_.defaultOutputNode();
    std::set<PlaybackGraph::Link> wanted;
    if (node && (only_ || output)) {
        wanted = recordingLinks(graph_, *node, output,
                                [this](const PlaybackGraph::Node& player) { return records(player); });
    }
    std::erase_if(links_, [&](const auto& entry) { return !wanted.contains(entry.first); });
    for (const PlaybackGraph::Link& ports : wanted)
        link(ports);
    followDelay();
}

void PlaybackLinks::link(const PlaybackGraph::Link& ports) {
    auto& made = links_[ports];
    if (!made) made = std::make_unique<RecordingLink>(RecordingLink{*this});
    if ((made->proxy && !made->hasFailed) || made->attempts >= maxAttempts) return;
    ++made->attempts;
    made->hasFailed = false;
    const std::string from = std::to_string(ports.from);
    const std::string to = std::to_string(ports.to);
    const std::array items{SPA_DICT_ITEM_INIT(PW_KEY_LINK_OUTPUT_PORT, from.c_str()),
                           SPA_DICT_ITEM_INIT(PW_KEY_LINK_INPUT_PORT, to.c_str()),
                           SPA_DICT_ITEM_INIT(PW_KEY_LINK_PASSIVE, "true")};
    const spa_dict properties = SPA_DICT_INIT(items.data(), items.size());
    made->proxy.reset(static_cast<pw_proxy*>(pw_core_create_object(
        session_.core(), "link-factory", PW_TYPE_INTERFACE_Link, PW_VERSION_LINK, &properties, 0)));
    if (!made->proxy) return;
    pw_proxy_add_listener(made->proxy.get(), &made->proxyListener, &RecordingLink::proxyEvents, made.get());
    pw_proxy_add_object_listener(made->proxy.get(), &made->listener, &RecordingLink::events, made.get());
    log(LogArea::audio, "recording a channel of a stream by a link");
}

/// The delay of the output where the recorded streams play; streams of several outputs rarely differ audibly.
void PlaybackLinks::followDelay() {
    for (const auto& [_, played] : graph_.links) {
        const auto to = graph_.ports.find(played.to);
        const bool isRecorded =
            std::ranges::any_of(links_, [&](const auto& entry) { return entry.first.from == played.from; });
        if (!isRecorded || to == graph_.ports.end() || !graph_.nodes[to->second.node].isOutput) continue;
        if (delay_ && delay_->port == played.to) return;
        delay_ = std::make_unique<DelayWatch>(DelayWatch{*this, played.to});
        delay_->proxy.reset(static_cast<pw_port*>(
            pw_registry_bind(registry_.get(), played.to, PW_TYPE_INTERFACE_Port, PW_VERSION_PORT, 0)));
        if (!delay_->proxy) return;
        pw_port_add_listener(delay_->proxy.get(), &delay_->listener, &DelayWatch::events, delay_.get());
        std::uint32_t id = SPA_PARAM_Latency;
        pw_port_subscribe_params(delay_->proxy.get(), &id, 1);
        return;
    }
}

}  // namespace lumicrate::pipewire
