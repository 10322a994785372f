// SPDX-License-Identifier: GPL-3.0-or-later
// ReconnectingConnection: a connection to the sound server that is established again whenever the server
// restarts.
#pragma once

#include "Linux/PipeWire/GraphWatch.h"
#include "Linux/PipeWire/Session.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace lumicrate::pipewire {

/// One connection, and the server's graph.
struct Connection {
    explicit Connection(const Remote& remote = {}) : session(remote) {}

    Session session;
    GraphWatch watch{session};
};

/// Its thread sleeps while nothing changes. Without a server it tries to connect once a second.
class ReconnectingConnection {
 public:
    using Delay = std::chrono::milliseconds;

    /// Called on the thread, one at a time.
    struct Handlers {
        /// Called when connected, then after changes that the session announces: at most five times a second,
        /// and always after the last. Returns the delay after which to call again although nothing changed;
        /// nothing for never.
        std::function<std::optional<Delay>(Connection&)> onChange;
        /// The server is gone, and objects created with the connection must be destroyed; or the first
        /// attempt to connect failed.
        std::function<void()> onLost;
    };

    /// Uses `first`, or connects on its thread when it is null.
    ReconnectingConnection(std::unique_ptr<Connection> first, Handlers handlers, Remote remote = {});
    /// Calls end(), then disconnects.
    ~ReconnectingConnection();
    ReconnectingConnection(const ReconnectingConnection&) = delete;
    ReconnectingConnection& operator=(const ReconnectingConnection&) = delete;

    /// No handler runs after its return. The connection, if any, stays until destruction. May wait some
    /// seconds for a server that does not answer.
    void end();

 private:
    void run();
    void reconnect();
    std::optional<Delay> check();
    void wake();

    const Handlers handlers_;
    const Remote remote_;
    std::mutex mutex_;
    std::condition_variable wakeUp_;
    bool wakePending_ = false;
    bool ending_ = false;
    bool triedToConnect_ = false;  ///< the thread's
    std::unique_ptr<Connection>
        connection_;  ///< the thread's; destroyed first: its callbacks still call wake()
    std::thread thread_;
};

}  // namespace lumicrate::pipewire
