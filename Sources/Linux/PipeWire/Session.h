// SPDX-License-Identifier: GPL-3.0-or-later
// Session: a connection to the sound server, and the thread that runs its loop.
#pragma once

#include <pipewire/pipewire.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace lumicrate::pipewire {

/// Opens a connection to the server: a descriptor that the caller owns, for programs in a sandbox. Any
/// thread. Throws PlatformError. An empty function means the user's own server.
using Remote = std::function<int()>;

/// Connected from construction to destruction; does not reconnect.
///
/// The session's objects (its core and everything created with it) may only be used while its lock is held.
/// Callbacks run on the session's thread with the lock held. All waits have a timeout, whatever the state of
/// the server.
class Session {
 public:
    using Timeout = std::chrono::milliseconds;

    /// Recursive, but must be held only once around await().
    using Lock = std::lock_guard<const Session>;
    void lock() const { pw_thread_loop_lock(loop_.get()); }
    void unlock() const { pw_thread_loop_unlock(loop_.get()); }

    /// Throws PlatformError when no server answers within two seconds.
    explicit Session(const Remote& remote = {});
    ~Session() = default;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    pw_core* core() const { return core_.get(); }
    /// Runs the callbacks, on the session's thread.
    pw_loop* loop() const { return pw_thread_loop_get_loop(loop_.get()); }
    /// False once the connection is lost. Lock held.
    bool isAlive() const { return alive_; }
    /// `changed` is called on the session's thread when the connection is lost, and by noteChange(). Lock
    /// held.
    void setOnChange(std::function<void()> changed) { changed_ = std::move(changed); }
    /// Announces that devices or streams have changed. Lock held.
    void noteChange() const {
        if (changed_) changed_();
    }
    /// Wakes threads in await(). Lock held.
    void signal() const { pw_thread_loop_signal(loop_.get(), false); }
    /// Waits, with the lock released, until the predicate holds, the connection is lost or the timeout has
    /// passed. The predicate is evaluated after every signal(). Returns its final value. Lock held once.
    template <class Predicate>
    bool await(const Predicate& predicate, Timeout timeout) const {
        timespec deadline{};
        pw_thread_loop_get_time(loop_.get(), &deadline, std::chrono::nanoseconds(timeout).count());
        while (!predicate() && alive_) {
            if (pw_thread_loop_timed_wait_full(loop_.get(), &deadline) != 0) break;
        }
        return predicate();
    }
    /// Waits until the server has processed all earlier requests; false on timeout. Lock held once.
    bool roundTrip(Timeout timeout);

    /// For answers of the server.
    static constexpr Timeout answerTimeout{2000};

 private:
    struct Delete {
        void operator()(pw_thread_loop* loop) const { pw_thread_loop_destroy(loop); }
        void operator()(pw_context* context) const;
        void operator()(pw_core* core) const { pw_core_disconnect(core); }
    };
    struct StopThread {
        void operator()(pw_thread_loop* loop) const { pw_thread_loop_stop(loop); }
    };

    void connect(const Remote& remote);

    void done(int sequence);
    void lost();

    static const pw_core_events events;

    bool alive_ = true;
    int lastDone_ = -1;
    std::function<void()> changed_;
    spa_hook listener_{};
    std::unique_ptr<pw_thread_loop, Delete> loop_;
    std::unique_ptr<pw_context, Delete> context_;
    std::unique_ptr<pw_core, Delete> core_;
    /// The same loop while its thread runs, which ends before what it uses is destroyed.
    std::unique_ptr<pw_thread_loop, StopThread> thread_;
};

}  // namespace lumicrate::pipewire
