// SPDX-License-Identifier: GPL-3.0-or-later
// MainQueue: makes the test's thread the main thread, for adapters that post from other threads.
#pragma once

#include "Support/Executor.h"
#include "Support/MediaTime.h"
#include "Tests/Stage/Await.h"

#include <deque>
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
    }
    TimerId after(std::chrono::nanoseconds, Work) override { throw std::logic_error("no timers here"); }
    void cancel(TimerId) override {}

    /// Runs posted work until the condition holds; false on timeout.
    template <class Condition>
    bool runUntil(Condition reached, std::chrono::seconds timeout = std::chrono::seconds(30)) {
        return stage::eventually(
            [&] {
                while (!reached())
                    if (!runOne()) return false;
                return true;
            },
            timeout);
    }
    /// Waits until something has been posted, without running it.
    bool waitForWork() {
        return stage::eventually([this] {
            const std::lock_guard lock(mutex_);
            return !work_.empty();
        });
    }

 private:
    bool runOne() {
        std::unique_lock lock(mutex_);
        if (work_.empty()) return false;
        const Work next = std::exchange(work_.front(), nullptr);
        work_.pop_front();
        lock.unlock();
        next();
        return true;
    }

    std::mutex mutex_;
    std::deque<Work> work_;
};

}  // namespace lumicrate::test
