// SPDX-License-Identifier: GPL-3.0-or-later
// LongWork: progress and cancellation of work that takes seconds or minutes, and running it off the main
// thread.
#pragma once

#include "Support/DispatchQueue.h"
#include "Support/Error.h"
#include "Support/Task.h"

#include <exception>
#include <functional>
#include <optional>
#include <stop_token>
#include <type_traits>
#include <utility>
#include <variant>

namespace lumicrate {

/// The work was cancelled on request.
class CancelledError : public LocalizedError {
 public:
    CancelledError() : LocalizedError(localized("It was cancelled.")) {}
};

/// Passed by value to long work. A default-constructed one reports nothing and never cancels.
struct LongWork {
    /// Receives the completed fraction, 0 … 1, increasing, on the working thread; at most a few hundred
    /// calls.
    std::function<void(double)> onProgress;
    std::stop_token stop;

    /// Reports the completed fraction. Throws CancelledError when cancellation was requested.
    void reach(double fraction) const {
        if (stop.stop_requested()) throw CancelledError();
        if (onProgress) onProgress(fraction);
    }
    /// The part of this work from one fraction to another.
    LongWork part(double from, double to) const {
        if (!onProgress) return *this;
        return {[report = onProgress, from, to](double part) { report(from + part * (to - from)); }, stop};
    }
};

/// Runs `work` on `queue`; the awaiting task receives its result or its exception. Cancelling the task does
/// not stop the work, which runs to its end and is then ignored: it must own everything that it uses.
template <class Result>
Task<Result> inBackground(Executor& executor, DispatchQueue& queue, std::function<Result()> work) {
    struct Outcome {
        std::conditional_t<std::is_void_v<Result>, std::monostate, std::optional<Result>> value;
        std::exception_ptr error;
    };
    const Completion<Outcome> done(executor);
    queue.async([done, work = std::move(work)] {
        Outcome outcome;
        try {
            if constexpr (std::is_void_v<Result>) {
                work();
            } else {
                outcome.value = work();
            }
        } catch (...) {
            outcome.error = std::current_exception();
        }
        done.resolve(std::move(outcome));
    });
    Outcome outcome = co_await done;
    if (outcome.error) std::rethrow_exception(outcome.error);
    if constexpr (!std::is_void_v<Result>) co_return std::move(*outcome.value);
}

}  // namespace lumicrate
