// SPDX-License-Identifier: GPL-3.0-or-later
// ScreenCastStream: receives the buffers of one screen cast.
#pragma once

#include "Linux/Pictures/BlockRegion.h"
#include "Linux/PipeWire/CursorReader.h"
#include "Linux/PipeWire/ScreenCastFormats.h"
#include "Linux/PipeWire/Session.h"
#include "Linux/PipeWire/UprightPicture.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace lumicrate::pipewire {

/// A picture of the cast, in its buffer.
struct CastFrame {
    CastPicture picture;
    UprightMap map;
    pictures::BlockRegion damage;  ///< in the buffer, since the last frame that was read; a superset
};

/// Receives from construction to destruction. Keeps only the newest frame; older ones are returned to the
/// producer at once, and their damage is added up.
class ScreenCastStream {
 public:
    using Time = std::chrono::nanoseconds;  ///< host clock
    /// Called on the session's thread, with its lock held.
    using Handler = std::function<void()>;

    /// `node` is the producer's identifier on that server. `onChange` is called when there is a new frame, a
    /// changed cursor, or another state. Throws PlatformError when the node does not exist. `session` must
    /// outlive the stream; its lock is taken.
    ScreenCastStream(Session& session, std::uint32_t node, Handler onChange);
    ~ScreenCastStream();
    ScreenCastStream(const ScreenCastStream&) = delete;
    ScreenCastStream& operator=(const ScreenCastStream&) = delete;

    /// Waits until a format has been negotiated, at most for that time; false if it has not. Takes the lock.
    bool awaitFormat(Session::Timeout timeout) const;

    // All others with the session's lock held:

    /// The producer or the server is gone, or they refuse the stream. It stays so.
    bool hasFailed() const { return failed_ || !session_.isAlive(); }
    const std::optional<CastFormat>& format() const { return format_; }
    /// Since when the cast has been paused, after it was running.
    const std::optional<Time>& pausedSince() const { return pausedSince_; }
    /// Requests that a cast goes on that has stopped.
    void restart();

    /// Whether changes of the cursor call onChange.
    void followCursor(bool follows) { followsCursor_ = follows; }
    CursorReader& cursor() { return cursor_; }

    bool hasNewFrame() const { return newest_ != nullptr && !isRead_; }
    /// Calls `read` with the newest frame, also with one that was read before. False when there is none, or
    /// its pixels cannot be read. A producer with few buffers gets this one back at once.
    bool readFrame(const std::function<void(const CastFrame&)>& read);

 private:
    struct DestroyProxy {
        void operator()(pw_registry* registry) const {
            pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry));
        }
    };
    struct DestroyStream {
        void operator()(pw_stream* stream) const { pw_stream_destroy(stream); }
    };

    static const pw_stream_events events;
    static const pw_registry_events registryEvents;

    void connect();
    void findNode();
    void stateChanged(pw_stream_state before, pw_stream_state state);
    void formatChanged(const spa_pod* format);
    void offerFormats();
    static void map(pw_buffer& buffer);
    void remove(pw_buffer& buffer);
    void receive();
    bool noteFrame(const spa_buffer& buffer);
    void returnNewest();
    void deviceMemoryFailed();

    const std::uint32_t node_;
    const Handler onChange_;
    bool hasNode_ = false;
    bool failed_ = false;
    bool usesDeviceMemory_ = true;
    bool followsCursor_ = false;
    std::optional<CastFormat> format_;
    std::optional<Time> pausedSince_;
    std::optional<std::uint64_t> sequence_;  ///< the last buffer's
    CursorReader cursor_;
    int bufferCount_ = 0;
    pw_buffer* newest_ = nullptr;
    bool isRead_ = false;
    pictures::BlockRegion damage_;  ///< since the last frame that was read
    UprightMap map_;                ///< of the newest frame

    spa_hook registryListener_{};
    spa_hook listener_{};
    Session& session_;
    std::unique_ptr<pw_registry, DestroyProxy> registry_;  ///< used only under the session's lock, as is
    std::unique_ptr<pw_stream, DestroyStream> stream_;
};

}  // namespace lumicrate::pipewire
