// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Server/EventThread.h"

#include "Support/Error.h"

#include <utility>

namespace lumicrate::x11 {

EventThread::EventThread(const Connection& connection, Handler handler)
    : connection_(connection), handler_(std::move(handler)), thread_([this] { run(); }) {}

EventThread::~EventThread() {
    stopping_ = true;
    wakeUp_.signal();
    thread_.join();
}

void EventThread::run() {
    try {
        while (!stopping_) {
            processEvents();
            wakeUp_.wait(connection_.fileDescriptor());
        }
    } catch (const PlatformError&) {
        // The server is gone: no more events.
    }
}

void EventThread::processEvents() {
    const std::lock_guard lock(mutex_);
    connection_.processEvents([this](const xcb_generic_event_t& event) {
        handler_(event);
        ++eventCount_;
    });
    connection_.flush();
}

}  // namespace lumicrate::x11
