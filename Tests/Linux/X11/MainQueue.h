// MainQueue: makes the test's thread the main thread, for adapters that post from other threads.
#pragma once

#include "Support/Executor.h"
#include "Support/MediaTime.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace lumicrate::test {

class MainQueue final : public Executor {
 public:
    std::chrono::nanoseconds now() const override { return HostClock::now(); }
    void post(Work work) override {
        const std::lock_guard lock(mutex_);
        work_.push_back(std::move(work));
        arrived_.notify_all();
    }
    TimerId after(std::chrono::nanoseconds, Work) override { throw std::logic_error("no timers here"); }
    void cancel(TimerId) override {}

    /// Runs posted work until the condition holds; false on timeout.
    bool runUntil(const std::function<bool()>& reached,
                  std::chrono::seconds timeout = std::chrono::seconds(30)) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (!reached()) {
            Work next;
            {
                std::unique_lock lock(mutex_);
                if (!arrived_.wait_until(lock, deadline, [this] { return !work_.empty(); })) return false;
                next = std::exchange(work_.front(), nullptr);
                work_.pop_front();
            }
            next();
        }
        return true;
    }
    /// Waits until something has been posted, without running it.
    bool waitForWork() {
        std::unique_lock lock(mutex_);
        return arrived_.wait_for(lock, std::chrono::seconds(30), [this] { return !work_.empty(); });
    }

 private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<Work> work_;
};

}  // namespace lumicrate::test
