#include "Linux/PipeWire/LastingConnection.h"

#include "Support/Error.h"

#include <utility>

namespace lumicrate::pipewire {

namespace {

constexpr std::chrono::milliseconds reconnectInterval{1000};
/// What belongs together comes in bursts.
constexpr std::chrono::milliseconds shortestInterval{200};

}  // namespace

LastingConnection::LastingConnection(std::unique_ptr<Connection> first, Handlers handlers)
    : handlers_(std::move(handlers)), connection_(std::move(first)) {
    thread_ = std::thread([this] { run(); });
}

LastingConnection::~LastingConnection() {
    end();
}

void LastingConnection::end() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
        woken_.notify_all();
    }
    if (thread_.joinable()) thread_.join();
}

/// From any thread, also with a session's lock held.
void LastingConnection::poke() {
    const std::lock_guard lock(mutex_);
    poked_ = true;
    woken_.notify_all();
}

void LastingConnection::run() {
    if (connection_) {
        const Session::Lock lock(connection_->session);
        connection_->session.setOnChange([this] { poke(); });
    }
    std::unique_lock lock(mutex_);
    while (!ending_) {
        // What changes from here on is for the next round.
        poked_ = false;
        lock.unlock();
        const std::optional<Patience> again = follow();
        lock.lock();
        woken_.wait_for(lock, shortestInterval, [this] { return ending_; });
        const auto due = [this] { return ending_ || poked_; };
        if (again) {
            woken_.wait_for(lock, *again, due);
        } else {
            woken_.wait(lock, due);
        }
    }
}

std::optional<LastingConnection::Patience> LastingConnection::follow() {
    const auto isAlive = [this] {
        const Session::Lock lock(connection_->session);
        return connection_->session.isAlive();
    };
    if (connection_ && !isAlive()) {
        handlers_.onLost();
        connection_.reset();
    }
    if (!connection_) reconnect();
    return connection_ ? handlers_.onChange(*connection_) : reconnectInterval;
}

void LastingConnection::reconnect() {
    try {
        auto next = std::make_unique<Connection>();
        const Session::Lock lock(next->session);
        next->session.setOnChange([this] { poke(); });
        connection_ = std::move(next);
    } catch (const PlatformError&) {
        // There is none yet.
    }
}

}  // namespace lumicrate::pipewire
