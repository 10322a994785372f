// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/ReconnectingConnection.h"

#include "Support/Error.h"
#include "Support/Log.h"

#include <utility>

namespace lumicrate::pipewire {

namespace {

constexpr std::chrono::milliseconds reconnectInterval{1000};
/// Related changes come in bursts.
constexpr std::chrono::milliseconds minInterval{200};

}  // namespace

ReconnectingConnection::ReconnectingConnection(std::unique_ptr<Connection> first, Handlers handlers,
                                               Remote remote)
    : handlers_(std::move(handlers)), remote_(std::move(remote)), connection_(std::move(first)) {
    thread_ = std::thread([this] { run(); });
}

ReconnectingConnection::~ReconnectingConnection() {
    end();
}

void ReconnectingConnection::end() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
        wakeUp_.notify_all();
    }
    if (thread_.joinable()) thread_.join();
}

/// Any thread, also with the session's lock held.
void ReconnectingConnection::wake() {
    const std::lock_guard lock(mutex_);
    wakePending_ = true;
    wakeUp_.notify_all();
}

void ReconnectingConnection::run() {
    if (connection_) {
        const Session::Lock lock(connection_->session);
        connection_->session.setOnChange([this] { wake(); });
    }
    std::unique_lock lock(mutex_);
    while (!ending_) {
        // Changes from here on are for the next round.
        wakePending_ = false;
        lock.unlock();
        const std::optional<Delay> again = check();
        lock.lock();
        wakeUp_.wait_for(lock, minInterval, [this] { return ending_; });
        const auto due = [this] { return ending_ || wakePending_; };
        if (again) {
            wakeUp_.wait_for(lock, *again, due);
        } else {
            wakeUp_.wait(lock, due);
        }
    }
}

std::optional<ReconnectingConnection::Delay> ReconnectingConnection::check() {
    const auto isAlive = [this] {
        const Session::Lock lock(connection_->session);
        return connection_->session.isAlive();
    };
    if (connection_ && !isAlive()) {
        log(LogArea::audio, "sound server lost");
        handlers_.onLost();
        connection_.reset();
    }
    if (!connection_) reconnect();
    if (!std::exchange(triedToConnect_, true) && !connection_) handlers_.onLost();
    return connection_ ? handlers_.onChange(*connection_) : reconnectInterval;
}

void ReconnectingConnection::reconnect() {
    try {
        auto next = std::make_unique<Connection>(remote_);
        const Session::Lock lock(next->session);
        next->session.setOnChange([this] { wake(); });
        connection_ = std::move(next);
        log(LogArea::audio, "sound server connected again");
    } catch (const PlatformError&) {
        // Not running yet.
    }
}

}  // namespace lumicrate::pipewire
