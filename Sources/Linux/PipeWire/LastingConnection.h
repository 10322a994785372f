// LastingConnection: a connection to the sound server that is made anew whenever the server went and came
// back.
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

/// One connection and what is known of the server's graph.
struct Connection {
    Session session;
    GraphWatch watch{session};
};

/// Has a thread of its own, which sleeps while nothing changes. Only while there is no server does it look
/// for one, once a second.
class LastingConnection {
 public:
    using Patience = std::chrono::milliseconds;

    /// Both are called on the thread, one at a time.
    struct Handlers {
        /// First when connected, then after changes of the session's (see Session), some of them at once: not
        /// oftener than five times a second, and always after the last. Gives after how long it wants to be
        /// called again if nothing changes; nothing for never.
        std::function<std::optional<Patience>(Connection&)> onChange;
        /// The server is gone. What was made with the connection is to be given up.
        std::function<void()> onLost;
    };

    /// Goes on with `first` or, where there is none, connects on its thread.
    LastingConnection(std::unique_ptr<Connection> first, Handlers handlers);
    /// Ends, then disconnects.
    ~LastingConnection();
    LastingConnection(const LastingConnection&) = delete;
    LastingConnection& operator=(const LastingConnection&) = delete;

    /// When it returns, no handler runs or will run; a connection there is stays until destruction. Waits for
    /// a server that is being asked and does not answer, for some seconds at the worst.
    void end();

 private:
    void run();
    void reconnect();
    std::optional<Patience> follow();
    void poke();

    const Handlers handlers_;
    std::mutex mutex_;
    std::condition_variable woken_;
    bool poked_ = false;
    bool ending_ = false;
    std::unique_ptr<Connection> connection_;  ///< the thread's; goes first, because it pokes
    std::thread thread_;
};

}  // namespace lumicrate::pipewire
