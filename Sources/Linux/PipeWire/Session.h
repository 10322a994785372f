// Session: a connection to the sound server, and the thread that serves it.
#pragma once

#include <pipewire/pipewire.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

namespace lumicrate::pipewire {

/// Connects when made and disconnects when destroyed; it does not reconnect.
///
/// What belongs to the session (its core and everything made with it) may only be touched while its lock is
/// held. Callbacks run on the session's thread, which holds the lock then. No operation waits longer than it
/// says, whatever state the server is in.
class Session {
 public:
    using Deadline = std::chrono::milliseconds;

    /// Held while the session's objects are used. May be taken again by its holder, but not around an
    /// `await`.
    class Lock {
     public:
        explicit Lock(const Session& session) : loop_(session.loop_.get()) { pw_thread_loop_lock(loop_); }
        ~Lock() { pw_thread_loop_unlock(loop_); }
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

     private:
        pw_thread_loop* loop_;
    };

    /// Throws PlatformError when no server answers within two seconds.
    Session();
    ~Session() = default;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    pw_core* core() const { return core_.get(); }
    /// False once the server is gone. Lock held.
    bool isAlive() const { return alive_; }
    /// `changed` is called on the session's thread when the server goes and at each noteChange. Lock held.
    void setOnChange(std::function<void()> changed) { changed_ = std::move(changed); }
    /// Something that somebody may wait for has come or gone. Lock held.
    void noteChange() const {
        if (changed_) changed_();
    }
    /// Wakes whoever is in `await`. Lock held.
    void signal() const { pw_thread_loop_signal(loop_.get(), false); }
    /// Lets the session's thread run until `predicate` holds, which is asked after every signal, or the
    /// server is gone, or `patience` has passed; gives what the predicate says in the end. Lock held, once.
    template <class Predicate>
    bool await(const Predicate& predicate, Deadline patience) const {
        timespec deadline{};
        pw_thread_loop_get_time(loop_.get(), &deadline, std::chrono::nanoseconds(patience).count());
        while (!predicate() && alive_) {
            if (pw_thread_loop_timed_wait_full(loop_.get(), &deadline) != 0) break;
        }
        return predicate();
    }
    /// Waits until the server has done all that it was asked before. False when it has not within `patience`.
    /// Lock held, once.
    bool roundTrip(Deadline patience);

    /// How long an answer of the server may take.
    static constexpr Deadline answerPatience{2000};

 private:
    struct Delete {
        void operator()(pw_thread_loop* loop) const { pw_thread_loop_destroy(loop); }
        void operator()(pw_context* context) const;
        void operator()(pw_core* core) const { pw_core_disconnect(core); }
    };
    /// Runs the thread; ends it before anything that it uses goes.
    class RunningThread {
     public:
        RunningThread() = default;
        ~RunningThread() {
            if (loop_) pw_thread_loop_stop(loop_);
        }
        RunningThread(const RunningThread&) = delete;
        RunningThread& operator=(const RunningThread&) = delete;
        bool start(pw_thread_loop* loop) {
            if (pw_thread_loop_start(loop) != 0) return false;
            loop_ = loop;
            return true;
        }

     private:
        pw_thread_loop* loop_ = nullptr;
    };

    void connect();

    static const pw_core_events events;
    static void onDone(void* self, std::uint32_t id, int sequence);
    static void onError(void* self, std::uint32_t id, int sequence, int result, const char* message);

    bool alive_ = true;
    int lastDone_ = -1;
    std::function<void()> changed_;
    spa_hook listener_{};
    std::unique_ptr<pw_thread_loop, Delete> loop_;
    std::unique_ptr<pw_context, Delete> context_;
    std::unique_ptr<pw_core, Delete> core_;
    RunningThread thread_;
};

}  // namespace lumicrate::pipewire
