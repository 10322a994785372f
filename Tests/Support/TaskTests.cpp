// SPDX-License-Identifier: GPL-3.0-or-later
#include "Support/Task.h"
#include "Tests/Support/VirtualExecutor.h"

#include <gtest/gtest.h>

#include <thread>
#include <utility>

namespace lumicrate::test {
namespace {

using namespace std::chrono_literals;

struct Guard {
    explicit Guard(int& counter) : count(counter) {}
    ~Guard() { ++count; }
    int& count;
};

Task<void> awaitCompletion(Completion<int> completion, int& result, int& unwound) {
    const Guard guard(unwound);
    result = co_await completion;
}

class TaskTests : public testing::Test {
 protected:
    VirtualExecutor executor;
    int result = 0;
    int unwound = 0;
};

TEST_F(TaskTests, DestroyingTheOwnerUnwindsAtOnceAndForgetsTimers) {
    const auto sleep = [](Executor& by, int& steps, int& ends) -> Task<void> {
        const Guard guard(ends);
        ++steps;
        co_await sleepFor(by, 1s);
        ++steps;
    };
    for (const bool started : {false, true}) {
        RunningTask task(executor, sleep(executor, result, unwound));
        if (started) executor.advance(999ms);
        EXPECT_TRUE(task.isRunning());
        EXPECT_EQ(executor.pendingTimers(), started ? 1U : 0U);
        task = {};
        EXPECT_EQ(unwound, started ? 1 : 0);
        EXPECT_EQ(executor.pendingTimers(), 0U);
        executor.advance(10s);
        EXPECT_EQ(result, started ? 1 : 0);
    }
}

TEST_F(TaskTests, ATaskThatCancelsItselfEndsAtItsNextWait) {
    RunningTask task;
    const auto cancelItself = [](Executor& by, RunningTask& self, int& steps, int& ends) -> Task<void> {
        const Guard guard(ends);
        ++steps;
        self.cancel();
        ++steps;
        co_await sleepFor(by, 1ns);
        ++steps;
    };
    task = RunningTask(executor, cancelItself(executor, task, result, unwound));
    executor.advance(1s);
    EXPECT_EQ(result, 2);
    EXPECT_EQ(unwound, 1);
}

TEST_F(TaskTests, TheFirstResolutionCountsFromAnyThread) {
    for (const bool beforeTheWait : {false, true}) {
        const Completion<int> completion(executor);
        if (beforeTheWait) completion.resolve(5);
        const RunningTask task(executor, awaitCompletion(completion, result, unwound));
        executor.drain();
        std::thread([completion] { completion.resolve(7); }).join();
        completion.resolve(8);
        EXPECT_EQ(result, beforeTheWait ? 5 : 0);
        executor.drain();
        EXPECT_EQ(std::exchange(result, 0), beforeTheWait ? 5 : 7);
        EXPECT_FALSE(task.isRunning());
    }
}

TEST_F(TaskTests, ACancelledTaskIgnoresAWakeUpThatIsAlreadyPosted) {
    const Completion<int> completion(executor);
    {
        const RunningTask task(executor, awaitCompletion(completion, result, unwound));
        executor.drain();
        completion.resolve(7);
    }
    EXPECT_EQ(unwound, 1);
    executor.drain();
    EXPECT_EQ(result, 0);
}

}  // namespace
}  // namespace lumicrate::test
