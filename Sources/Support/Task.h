// SPDX-License-Identifier: GPL-3.0-or-later
// Coroutines for the recorder's multi-step operations: Task, RunningTask, sleepFor and Completion.
//
// All tasks run on one Executor's thread. Destroying a task while it waits cancels it: its frame and the
// frames that it awaits are unwound (destructors run), its timers are cancelled, and completions that arrive
// later are ignored.
//
// Rules for writing coroutines. GCC 12, the oldest supported compiler, may destroy the temporaries of a
// co_await expression twice. Awaiting the result of a call directly is safe only if the call has no other
// temporaries with destructors, such as a copied or converted argument. When in doubt name the task, then
// await it:
//
//     // Not: co_await countdown.run(3, screenShowing(id)), because the optional<NSScreen> is a temporary.
//     Task<bool> counting = countdown.run(3, screenShowing(id));
//     const bool finished = co_await counting;
//
// A coroutine's frame outlives the call that created it. So a coroutine takes its parameters by value, except
// references to services that outlive the task, and a lambda with captures must not be a coroutine: the
// captures belong to the lambda object, which may be gone when the body resumes.
#pragma once

#include "Support/Executor.h"

#include <chrono>
#include <coroutine>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace lumicrate {

template <class T>
class Task;

namespace detail {

/// The started task at the bottom of a chain of awaiting frames. Every wake-up goes through it, so it knows
/// whether the task is currently executing.
class TaskRoot {
 public:
    virtual ~TaskRoot() = default;
    virtual void resume(std::coroutine_handle<> frame) = 0;
};

struct TaskPromiseBase {
    TaskRoot* root = nullptr;
    std::coroutine_handle<> continuation = std::noop_coroutine();
    std::exception_ptr error;

    struct FinalAwaiter {
        bool await_ready() noexcept { return false; }
        template <class Promise>
        std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> finished) noexcept {
            return finished.promise().continuation;
        }
        void await_resume() noexcept {}
    };

    std::suspend_always initial_suspend() noexcept { return {}; }
    FinalAwaiter final_suspend() noexcept { return {}; }
    void unhandled_exception() noexcept { error = std::current_exception(); }
};

template <class T>
struct TaskPromise : TaskPromiseBase {
    std::optional<T> value;
    Task<T> get_return_object();
    void return_value(T result) { value = std::move(result); }
    T take() {
        if (error) std::rethrow_exception(error);
        return std::move(*value);
    }
};

template <>
struct TaskPromise<void> : TaskPromiseBase {
    Task<void> get_return_object();
    void return_void() noexcept {}
    void take() {
        if (error) std::rethrow_exception(error);
    }
};

}  // namespace detail

/// An operation that starts when it is awaited (or passed to RunningTask) and results in a T or an exception.
template <class T = void>
class [[nodiscard]] Task {
 public:
    using promise_type = detail::TaskPromise<T>;
    using Handle = std::coroutine_handle<promise_type>;

    explicit Task(Handle handle) : handle_(handle) {}
    Task(Task&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    Task& operator=(Task&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;
    ~Task() {
        if (handle_) handle_.destroy();
    }

    bool await_ready() const noexcept { return false; }
    template <class Promise>
    std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> waiting) noexcept {
        handle_.promise().root = waiting.promise().root;
        handle_.promise().continuation = waiting;
        return handle_;
    }
    T await_resume() { return handle_.promise().take(); }

 private:
    friend class RunningTask;
    Handle handle_;
};

namespace detail {
template <class T>
Task<T> TaskPromise<T>::get_return_object() {
    return Task<T>(std::coroutine_handle<TaskPromise<T>>::from_promise(*this));
}
inline Task<void> TaskPromise<void>::get_return_object() {
    return Task<void>(std::coroutine_handle<TaskPromise<void>>::from_promise(*this));
}
}  // namespace detail

/// Owns a started task. Cancelling it, replacing it or destroying the owner unwinds the task where it waits.
/// A task may cancel itself: it then continues until its next wait and is unwound there.
///
/// The task starts from the event loop, not inside the constructor. It must catch its own exceptions: one
/// that escapes terminates the program.
class RunningTask {
 public:
    RunningTask() = default;
    RunningTask(Executor& executor, Task<void> task) : state_(std::make_shared<State>(std::move(task))) {
        executor.post([state = state_] { state->start(); });
    }
    RunningTask(RunningTask&&) noexcept = default;
    RunningTask& operator=(RunningTask&& other) noexcept {
        if (this != &other) {
            cancel();
            state_ = std::move(other.state_);
        }
        return *this;
    }
    RunningTask(const RunningTask&) = delete;
    RunningTask& operator=(const RunningTask&) = delete;
    ~RunningTask() { cancel(); }

    bool isRunning() const { return state_ && !state_->finished(); }

    void cancel() {
        if (const auto state = std::exchange(state_, nullptr)) state->cancel();
    }

 private:
    class State final : public detail::TaskRoot, public std::enable_shared_from_this<State> {
     public:
        explicit State(Task<void> task) : task_(std::move(task)) { task_->handle_.promise().root = this; }

        bool finished() const { return !task_ || task_->handle_.done(); }
        void start() {
            if (task_) resume(task_->handle_);
        }
        void resume(std::coroutine_handle<> frame) override {
            const auto self = shared_from_this();
            onStack_ = true;
            frame.resume();
            onStack_ = false;
            if (task_->handle_.done() && task_->handle_.promise().error) std::terminate();
            if (cancelled_) task_.reset();
        }
        void cancel() {
            if (onStack_) {
                cancelled_ = true;
            } else {
                task_.reset();
            }
        }

     private:
        std::optional<Task<void>> task_;
        bool onStack_ = false;
        bool cancelled_ = false;
    };

    std::shared_ptr<State> state_;
};

/// co_await sleepFor(executor, 250ms): resumes after that time. Cancelled with its task.
class [[nodiscard]] sleepFor {
 public:
    sleepFor(Executor& executor, std::chrono::nanoseconds delay) : executor_(executor), delay_(delay) {}
    sleepFor(const sleepFor&) = delete;
    sleepFor& operator=(const sleepFor&) = delete;
    ~sleepFor() {
        if (timer_) executor_.cancel(*timer_);
    }

    bool await_ready() const noexcept { return false; }
    template <class Promise>
    void await_suspend(std::coroutine_handle<Promise> waiting) {
        timer_ = executor_.after(delay_, [this, waiting] {
            timer_.reset();
            waiting.promise().root->resume(waiting);
        });
    }
    void await_resume() const noexcept {}

 private:
    Executor& executor_;
    std::chrono::nanoseconds delay_;
    std::optional<Executor::TimerId> timer_;
};

/// A value that one party delivers once and a task awaits. Copies refer to the same value.
///
/// `resolve` may be called from any thread; only the first call has an effect. One task may wait; it
/// resumes on the executor.
template <class T>
class Completion {
 public:
    explicit Completion(Executor& executor) : shared_(std::make_shared<Shared>(executor)) {}

    void resolve(T value) const {
        const std::lock_guard lock(shared_->mutex);
        if (shared_->value) return;
        shared_->value = std::move(value);
        if (shared_->waiting) Shared::wake(shared_);
    }

    auto operator co_await() const { return Awaiter{shared_}; }

 private:
    struct Shared {
        explicit Shared(Executor& loop) : executor(loop) {}
        Executor& executor;
        std::mutex mutex;
        std::optional<T> value;
        std::coroutine_handle<> waiting;
        detail::TaskRoot* root = nullptr;

        static void wake(const std::shared_ptr<Shared>& shared) {
            shared->executor.post([shared] {
                std::coroutine_handle<> waiting;
                {
                    const std::lock_guard lock(shared->mutex);
                    waiting = std::exchange(shared->waiting, nullptr);
                }
                if (waiting) shared->root->resume(waiting);
            });
        }
    };

    struct Awaiter {
        explicit Awaiter(std::shared_ptr<Shared> state) : shared(std::move(state)) {}
        Awaiter(const Awaiter&) = delete;
        Awaiter& operator=(const Awaiter&) = delete;
        ~Awaiter() {
            const std::lock_guard lock(shared->mutex);
            shared->waiting = nullptr;
        }

        bool await_ready() const noexcept { return false; }
        template <class Promise>
        bool await_suspend(std::coroutine_handle<Promise> handle) {
            const std::lock_guard lock(shared->mutex);
            if (shared->value) return false;
            shared->root = handle.promise().root;
            shared->waiting = handle;
            return true;
        }
        T await_resume() {
            const std::lock_guard lock(shared->mutex);
            return std::move(*shared->value);
        }

        std::shared_ptr<Shared> shared;
    };

    std::shared_ptr<Shared> shared_;
};

/// Tasks that nobody awaits; they are cancelled with their owner.
class TaskBag {
 public:
    void add(RunningTask task) {
        std::erase_if(tasks_, [](const RunningTask& each) { return !each.isRunning(); });
        tasks_.push_back(std::move(task));
    }

 private:
    std::vector<RunningTask> tasks_;
};

}  // namespace lumicrate
