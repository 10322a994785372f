// SPDX-License-Identifier: GPL-3.0-or-later
// EventThread: passes a connection's events to a handler, on a thread that sleeps while none arrive.
#pragma once

#include "Linux/Pictures/WakeUp.h"
#include "Linux/X11/Server/Connection.h"
#include "Support/Error.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>

namespace lumicrate::x11 {

/// The thread ends silently when the server is lost.
class EventThread {
 public:
    using Handler = std::function<void(const xcb_generic_event_t&)>;

    /// While it lives, its owner may use the connection and everything that the handler uses: the thread
    /// waits.
    class Access {
     public:
        explicit Access(EventThread& thread) : wakeUp_(thread.wakeUp_), lock_(thread.mutex_) {}
        Access(const Access&) = delete;
        Access& operator=(const Access&) = delete;
        /// Waiting for a reply may have queued events, which do not make the descriptor readable.
        ~Access() { wakeUp_.signal(); }

     private:
        pictures::WakeUp& wakeUp_;
        std::lock_guard<std::mutex> lock_;
    };

    /// `connection` must outlive the thread. `handler` is called on the thread, one event at a time. It may
    /// use the connection, may throw PlatformError only, and must not destroy the EventThread.
    EventThread(const Connection& connection, Handler handler)
        : connection_(connection), handler_(std::move(handler)), thread_([this] { run(); }) {}
    /// Waits for a running call; no call follows. Not from within the handler.
    ~EventThread() {
        stopping_ = true;
        wakeUp_.signal();
        thread_.join();
    }
    EventThread(const EventThread&) = delete;
    EventThread& operator=(const EventThread&) = delete;

    /// Not from within the handler.
    Access access() { return Access(*this); }

    /// The number of events handled so far. Any thread.
    std::uint64_t eventCount() const { return eventCount_; }

 private:
    void run() {
        try {
            while (!stopping_) {
                processEvents();
                wakeUp_.wait(connection_.fileDescriptor());
            }
        } catch (const PlatformError&) {
            // The server is gone: no more events.
        }
    }
    void processEvents() {
        const std::lock_guard lock(mutex_);
        connection_.processEvents([this](const xcb_generic_event_t& event) {
            handler_(event);
            ++eventCount_;
        });
        connection_.flush();
    }

    const Connection& connection_;
    Handler handler_;
    std::mutex mutex_;
    pictures::WakeUp wakeUp_;
    std::atomic<bool> stopping_ = false;
    std::atomic<std::uint64_t> eventCount_ = 0;
    std::thread thread_;  // last: it uses all the others
};

}  // namespace lumicrate::x11
