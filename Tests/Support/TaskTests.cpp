#include "Support/Task.h"
#include "Tests/Support/VirtualExecutor.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

namespace lumicrate::test {
namespace {

using namespace std::chrono_literals;

struct Guard {
    int* count;
    explicit Guard(int& counter) : count(&counter) {}
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;
    ~Guard() { ++*count; }
};

Task<int> addLater(Executor& executor, int a, int b) {
    co_await sleepFor(executor, 1s);
    co_return a + b;
}

Task<int> failLater(Executor& executor) {
    co_await sleepFor(executor, 1s);
    throw std::runtime_error("no");
}

Task<void> store(Executor& executor, int& result, int& unwound) {
    const Guard guard(unwound);
    const int first = co_await addLater(executor, 1, 2);
    const int second = co_await addLater(executor, first, 10);
    result = second;
    try {
        co_await failLater(executor);
    } catch (const std::runtime_error&) {
        result += 100;
    }
}

Task<void> awaitCompletion(Completion<int> completion, int& result, int& unwound) {
    const Guard guard(unwound);
    result = co_await completion;
}

Task<void> cancelItself(Executor& executor, RunningTask& self, int& steps, int& unwound) {
    const Guard guard(unwound);
    ++steps;
    self.cancel();
    ++steps;
    co_await sleepFor(executor, 1ns);
    ++steps;
}

class TaskTests : public testing::Test {
 protected:
    VirtualExecutor executor;
    int result = 0;
    int unwound = 0;
};

TEST_F(TaskTests, ChainsRunInVirtualTimeAndPassOnExceptions) {
    const RunningTask task(executor, store(executor, result, unwound));
    executor.advance(1999ms);
    EXPECT_EQ(result, 0);
    executor.advance(1ms);
    EXPECT_EQ(result, 13);
    EXPECT_TRUE(task.isRunning());
    executor.advance(1s);
    EXPECT_EQ(result, 113);
    EXPECT_FALSE(task.isRunning());
    EXPECT_EQ(unwound, 1);
}

TEST_F(TaskTests, DestroyingTheOwnerUnwindsAtOnceAndForgetsTimers) {
    {
        const RunningTask task(executor, store(executor, result, unwound));
        executor.advance(500ms);
        EXPECT_EQ(executor.pendingTimers(), 1U);
    }
    EXPECT_EQ(unwound, 1);
    EXPECT_EQ(executor.pendingTimers(), 0U);
    executor.advance(10s);
    EXPECT_EQ(result, 0);
}

TEST_F(TaskTests, CancellingBeforeTheFirstStepRunsNothing) {
    { const RunningTask task(executor, store(executor, result, unwound)); }
    executor.advance(10s);
    EXPECT_EQ(result, 0);
}

TEST_F(TaskTests, ATaskThatCancelsItselfEndsAtItsNextWait) {
    RunningTask task;
    int steps = 0;
    task = RunningTask(executor, cancelItself(executor, task, steps, unwound));
    executor.advance(1s);
    EXPECT_EQ(steps, 2);
    EXPECT_EQ(unwound, 1);
}

TEST_F(TaskTests, TheFirstResolutionCountsFromAnyThread) {
    const Completion<int> completion(executor);
    const RunningTask task(executor, awaitCompletion(completion, result, unwound));
    executor.drain();
    std::thread([completion] { completion.resolve(7); }).join();
    completion.resolve(8);
    EXPECT_EQ(result, 0);
    executor.drain();
    EXPECT_EQ(result, 7);
}

TEST_F(TaskTests, AResolutionThatComesBeforeTheWaitIsKept) {
    const Completion<int> completion(executor);
    completion.resolve(5);
    const RunningTask task(executor, awaitCompletion(completion, result, unwound));
    executor.drain();
    EXPECT_EQ(result, 5);
}

TEST_F(TaskTests, AWakeUpOnItsWayFindsACancelledTaskGone) {
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
