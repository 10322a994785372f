// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Overlays/InWindowCountdown.h"

#include <chrono>

namespace lumicrate {

namespace {

/// Cancels its timer when it is destroyed.
class Timer {
 public:
    Timer(Executor& executor, std::chrono::nanoseconds delay, Executor::Work work)
        : executor_(executor), id_(executor.after(delay, std::move(work))) {}
    ~Timer() { executor_.cancel(id_); }
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

 private:
    Executor& executor_;
    Executor::TimerId id_;
};

}  // namespace

Task<bool> InWindowCountdown::run(int seconds) {
    bool cancelled = false;
    for (int n = seconds; n > 0 && !cancelled; --n) {
        value = n;
        const Completion<bool> second(executor_);
        second_ = second;
        const Timer timer(executor_, std::chrono::seconds(1), [second] { second.resolve(true); });
        const bool passed = co_await second;
        cancelled = !passed;
    }
    second_.reset();
    value = std::nullopt;
    co_return !cancelled;
}

void InWindowCountdown::cancel() {
    if (second_) second_->resolve(false);
}

}  // namespace lumicrate
