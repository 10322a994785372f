// SPDX-License-Identifier: GPL-3.0-or-later
// LoopExecutor: a real event loop on the test's thread, for players that report from threads of their own.
#pragma once

#include "Support/Executor.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace lumicrate::test {

/// Has no timers.
class LoopExecutor final : public Executor {
 public:
    std::chrono::nanoseconds now() const override {
        return std::chrono::steady_clock::now().time_since_epoch();
    }
    void post(Work work) override {
        const std::lock_guard lock(mutex_);
        posted_.push_back(std::move(work));
        changed_.notify_one();
    }
    TimerId after(std::chrono::nanoseconds, Work) override { throw std::logic_error("no timers"); }
    void cancel(TimerId) override {}

    /// Runs posted work until `reached`, for half a minute at most. Returns whether it was reached.
    bool await(const std::function<bool()>& reached) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!reached()) {
            std::unique_lock lock(mutex_);
            if (!changed_.wait_until(lock, deadline, [this] { return !posted_.empty(); })) return false;
            const Work next = std::move(posted_.front());
            posted_.pop_front();
            lock.unlock();
            next();
        }
        return true;
    }

 private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Work> posted_;
};

}  // namespace lumicrate::test
