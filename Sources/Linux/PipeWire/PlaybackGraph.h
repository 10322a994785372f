// SPDX-License-Identifier: GPL-3.0-or-later
// PlaybackGraph: what plays where in the sound server's graph, and the links that record a part of it.
#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>

namespace lumicrate::pipewire {

/// Nodes, ports and links by their numbers in the server's graph.
struct PlaybackGraph {
    using Number = std::uint32_t;

    struct Node {
        std::optional<Number> client;
        bool isOutput = false;  ///< a device that plays
    };
    struct Port {
        Number node = 0;
        bool isInput = false;
        std::string channel;  ///< "FL", "MONO", "AUX3"; may be empty
    };
    struct Link {
        Number from = 0;  ///< ports
        Number to = 0;
        auto operator<=>(const Link&) const = default;
    };

    std::map<Number, Node> nodes;
    std::map<Number, Port> ports;
    std::map<Number, Link> links;
};

/// The links to the inputs of the node `recorder` with which it receives what the nodes that `records`
/// accepts play on `output`, or on any output. They repeat the links to the outputs, so that what is recorded
/// is what is played: left channels go to the left one, right ones to the right one, others (centre, mono) to
/// both. The low-frequency channel is left out, as where the server mixes channels.
std::set<PlaybackGraph::Link> recordingLinks(const PlaybackGraph& graph, PlaybackGraph::Number recorder,
                                             std::optional<PlaybackGraph::Number> output,
                                             const std::function<bool(const PlaybackGraph::Node&)>& records);

}  // namespace lumicrate::pipewire
