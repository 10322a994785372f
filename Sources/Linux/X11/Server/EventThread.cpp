#include "Linux/X11/Server/EventThread.h"

#include "Support/Error.h"

#include <poll.h>

#include <array>
#include <utility>

namespace lumicrate::x11 {

EventThread::EventThread(const Connection& connection, Hear hear)
    : connection_(connection), hear_(std::move(hear)), thread_([this] { run(); }) {}

EventThread::~EventThread() {
    stopping_ = true;
    wakeUp_.signal();
    thread_.join();
}

void EventThread::run() {
    try {
        while (!stopping_) {
            takeEvents();
            std::array<pollfd, 2> watched{
                {{wakeUp_.fileDescriptor(), POLLIN, 0}, {connection_.fileDescriptor(), POLLIN, 0}}};
            poll(watched.data(), watched.size(), -1);
            wakeUp_.clear();
        }
    } catch (const PlatformError&) {
        // The server is gone, and with it all that could be told.
    }
}

void EventThread::takeEvents() {
    const std::lock_guard lock(mutex_);
    while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection_.get())}) {
        hear_(*event);
        ++eventCount_;
    }
    connection_.throwIfLost();
    connection_.flush();
}

}  // namespace lumicrate::x11
