// SPDX-License-Identifier: GPL-3.0-or-later
// PlaybackLinks: records a part of what is played by links from the playing streams to a stream of this
// program.
#pragma once

#include "Linux/PipeWire/GraphWatch.h"
#include "Linux/PipeWire/PlaybackGraph.h"
#include "Linux/PipeWire/Session.h"

#include <spa/param/latency.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string_view>

namespace lumicrate::pipewire {

class AudioStream;

/// Follows streams as they begin, end, and move to other outputs. A link is passive: it keeps neither streams
/// nor devices awake.
///
/// The process of a stream is that of its client: the one that the server found at the end of the connection,
/// or for clients of the PulseAudio protocol the one they name. A sandboxed client of that protocol names a
/// number of its own namespace, so its process is unknown.
class PlaybackLinks {
 public:
    using Process = std::int32_t;

    /// Records the streams of `only` and its descendants on all outputs; without it, everything that the
    /// default output plays except the sound of this program. Both references must outlive the object.
    /// Takes the session's lock.
    PlaybackLinks(Session& session, const GraphWatch& watch, std::optional<Process> only);
    ~PlaybackLinks();
    PlaybackLinks(const PlaybackLinks&) = delete;
    PlaybackLinks& operator=(const PlaybackLinks&) = delete;

    /// Whether a stream of this program plays, or could at any time. Changes call the session's noteChange().
    /// Session's lock held.
    bool hasOwnStream() const;
    /// Links `stream` from now on; nullptr for none, before the stream is destroyed. Takes the session's
    /// lock.
    void record(AudioStream* stream);
    /// Whether the stream receives everything it should. Session's lock held.
    bool isComplete() const;
    /// Links what has changed. Happens by itself for changes of the graph, but not for those of the default
    /// output or for refused links. Session's lock held.
    void update();

 private:
    struct DestroyProxy {
        template <class Proxy>
        void operator()(Proxy* proxy) const {
            pw_proxy_destroy(reinterpret_cast<pw_proxy*>(proxy));
        }
    };
    struct Client;
    struct RecordingLink;
    struct DelayWatch;

    static const pw_registry_events registryEvents;

    void add(std::uint32_t number, std::string_view type, const spa_dict* properties);
    void remove(std::uint32_t number);
    void addNode(std::uint32_t number, const spa_dict* properties);
    void bindClient(std::uint32_t number);
    bool records(const PlaybackGraph::Node& node) const;
    void link(const PlaybackGraph::Link& ports);
    void followDelay();

    Session& session_;
    const GraphWatch& watch_;
    const std::optional<Process> only_;
    AudioStream* stream_ = nullptr;
    PlaybackGraph graph_;
    std::map<std::uint32_t, std::unique_ptr<Client>> clients_;
    std::map<PlaybackGraph::Link, std::unique_ptr<RecordingLink>> links_;
    std::unique_ptr<DelayWatch> delay_;
    spa_hook registryListener_{};
    std::unique_ptr<pw_registry, DestroyProxy> registry_;
};

}  // namespace lumicrate::pipewire
