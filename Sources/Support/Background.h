// Blocking work off the main thread, awaited by a task.
#pragma once

#include "Support/DispatchQueue.h"
#include "Support/Task.h"

#include <exception>
#include <functional>
#include <optional>
#include <type_traits>
#include <utility>
#include <variant>

namespace lumicrate {

/// Runs `work` on `queue` and gives its result, or throws what it threw, to the task that awaits it. When
/// that task is cancelled, the work goes on to its end and nobody hears of it: it must own what it uses.
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
