// SPDX-License-Identifier: GPL-3.0-or-later
// VirtualExecutor: an event loop under a virtual clock that tests advance.
#pragma once

#include "Support/Executor.h"
#include "Support/MediaTime.h"

#include <deque>
#include <map>
#include <mutex>
#include <utility>

namespace lumicrate::test {

/// Also serves as the host clock.
class VirtualExecutor final : public Executor, public CMClock {
 public:
    std::chrono::nanoseconds now() const override { return now_; }
    CMTime time() const override { return CMTime::from(now_); }

    void post(Work work) override {
        const std::lock_guard lock(mutex_);
        posted_.push_back(std::move(work));
    }
    TimerId after(std::chrono::nanoseconds delay, Work work) override {
        const TimerId id = ++lastTimer_;
        timers_.emplace(std::pair{now_ + delay, id}, std::move(work));
        return id;
    }
    void cancel(TimerId timer) override {
        std::erase_if(timers_, [timer](const auto& each) { return each.first.second == timer; });
    }

    /// Runs all posted work, including work that it posts, without advancing the time.
    void drain() {
        while (true) {
            Work next;
            {
                const std::lock_guard lock(mutex_);
                if (posted_.empty()) return;
                next = std::move(posted_.front());
                posted_.pop_front();
            }
            next();
        }
    }

    /// Advances the time and fires every timer at its due time.
    void advance(std::chrono::nanoseconds duration) {
        const auto end = now_ + duration;
        drain();
        while (!timers_.empty() && timers_.begin()->first.first <= end) {
            now_ = timers_.begin()->first.first;
            const Work due = std::move(timers_.begin()->second);
            timers_.erase(timers_.begin());
            due();
            drain();
        }
        now_ = end;
    }

    std::size_t pendingTimers() const { return timers_.size(); }

 private:
    std::chrono::nanoseconds now_ = std::chrono::hours(1);
    std::mutex mutex_;
    std::deque<Work> posted_;
    std::map<std::pair<std::chrono::nanoseconds, TimerId>, Work> timers_;
    TimerId lastTimer_ = 0;
};

}  // namespace lumicrate::test
