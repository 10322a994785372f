// EventThread: hears what a server tells a connection, on a thread that sleeps until it tells something.
#pragma once

#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Server/WakeUp.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

namespace lumicrate::x11 {

/// Ends by itself, and says nothing, when the server is lost.
class EventThread {
 public:
    using Hear = std::function<void(const xcb_generic_event_t&)>;

    /// Keeps the thread off the connection, so that somebody else may use it, and what `hear` uses as well.
    class Access {
     public:
        explicit Access(EventThread& thread) : wakeUp_(thread.wakeUp_), lock_(thread.mutex_) {}
        Access(const Access&) = delete;
        Access& operator=(const Access&) = delete;
        /// Replies may have brought events along, of which waiting for the server would not tell.
        ~Access() { wakeUp_.signal(); }

     private:
        WakeUp& wakeUp_;
        std::lock_guard<std::mutex> lock_;
    };

    /// `connection` must outlive the thread. `hear` is called on it, for one event after the other; it may
    /// use the connection, must throw nothing but PlatformError, and must not destroy this.
    EventThread(const Connection& connection, Hear hear);
    /// Waits for a call that is under way; there is none afterwards. Not from within one.
    ~EventThread();
    EventThread(const EventThread&) = delete;
    EventThread& operator=(const EventThread&) = delete;

    /// Not from within `hear`.
    Access access() { return Access(*this); }

    /// How many events the server has told so far. Any thread.
    std::uint64_t eventCount() const { return eventCount_; }

 private:
    void run();
    void takeEvents();

    const Connection& connection_;
    Hear hear_;
    std::mutex mutex_;
    WakeUp wakeUp_;
    std::atomic<bool> stopping_ = false;
    std::atomic<std::uint64_t> eventCount_ = 0;
    std::thread thread_;  // last: it uses all the others
};

}  // namespace lumicrate::x11
