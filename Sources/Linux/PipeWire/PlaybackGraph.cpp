// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/PlaybackGraph.h"

#include <string_view>
#include <vector>

namespace lumicrate::pipewire {

namespace {

enum class Side { left, right, both };

/// Channel names are position, side, and sometimes more: "FL", "SR", "RLC", "TFL". Devices without known
/// positions number theirs.
Side sideOf(std::string_view channel) {
    if (channel.starts_with("AUX") && channel.size() > 3)
        return (channel.back() - '0') % 2 == 0 ? Side::left : Side::right;
    if (channel == "MONO") return Side::both;
    if (channel.find('L') != std::string_view::npos) return Side::left;
    // The first letter of "RC" is a position: rear.
    return channel.size() > 1 && channel.find('R', 1) != std::string_view::npos ? Side::right : Side::both;
}

bool match(Side a, Side b) {
    return a == b || a == Side::both || b == Side::both;
}

}  // namespace

std::set<PlaybackGraph::Link> recordingLinks(const PlaybackGraph& graph, PlaybackGraph::Number recorder,
                                             std::optional<PlaybackGraph::Number> output,
                                             const std::function<bool(const PlaybackGraph::Node&)>& records) {
    using Port = std::map<PlaybackGraph::Number, PlaybackGraph::Port>::value_type;
    std::vector<const Port*> inputs;
    for (const auto& port : graph.ports) {
        if (port.second.node == recorder && port.second.isInput) inputs.push_back(&port);
    }
    std::set<PlaybackGraph::Link> wanted;
    for (const auto& [_, link] : graph.links) {
        const auto from = graph.ports.find(link.from);
        const auto to = graph.ports.find(link.to);
        if (from == graph.ports.end() || to == graph.ports.end()) continue;
        const auto player = graph.nodes.find(from->second.node);
        const auto device = graph.nodes.find(to->second.node);
        if (player == graph.nodes.end() || device == graph.nodes.end()) continue;
        if (!device->second.isOutput || (output && device->first != *output) || !records(player->second) ||
            to->second.channel == "LFE")
            continue;
        for (const Port* input : inputs) {
            if (match(sideOf(to->second.channel), sideOf(input->second.channel)))
                wanted.insert({link.from, input->first});
        }
    }
    return wanted;
}

}  // namespace lumicrate::pipewire
