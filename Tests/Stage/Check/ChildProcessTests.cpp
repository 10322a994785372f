#include "Tests/Stage/ChildProcess.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

namespace lumicrate::stage {

namespace {

ChildProcess::Options captured() {
    ChildProcess::Options options;
    options.output = ChildProcess::Output::Capture;
    return options;
}

ChildProcess shell(const std::string& script) {
    return ChildProcess({"sh", "-c", script}, captured());
}

// Whether a process, of whichever parent, ends within some seconds.
bool ends(pid_t pid) {
    const Descriptor watched(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
    if (watched.get() < 0) return true;  // gone already
    pollfd wanted{watched.get(), POLLIN, 0};
    return poll(&wanted, 1, 10'000) == 1;
}

TEST(ChildProcess, reportsHowItEnded) {
    struct Case {
        const char* script;
        int status;
        int signal;
    };
    for (const auto& [script, status, signal] :
         {Case{"exit 0", 0, 0}, Case{"exit 42", 42, 0}, Case{"kill -TERM $$", 143, 15}}) {
        auto child = shell(script);
        const auto result = child.mustEnd(20);
        EXPECT_EQ(result.exitStatus, status) << script;
        EXPECT_EQ(result.signal, signal) << script;
    }
    EXPECT_THROW(ChildProcess({"there-is-no-such-program"}), std::runtime_error);
}

TEST(ChildProcess, waitsNoLongerThanAskedAndLeavesTheChildAlone) {
    auto sleeper = shell("exec sleep 1000");
    EXPECT_FALSE(sleeper.wait(0.05));
    EXPECT_TRUE(sleeper.isRunning());
    EXPECT_THROW(sleeper.mustEnd(0.05), std::runtime_error);
    EXPECT_EQ(sleeper.terminate().signal, SIGTERM);
    EXPECT_FALSE(sleeper.isRunning());
}

TEST(ChildProcess, insistsWhenAskingDoesNotHelp) {
    auto stubborn = shell("trap '' TERM; echo ready; while :; do sleep 1000; done");
    ASSERT_EQ(stubborn.readLine(20), "ready");
    EXPECT_EQ(stubborn.terminate(0.1).signal, SIGKILL);
}

TEST(ChildProcess, keepsOutputApartAndHandsOutLines) {
    auto child = shell("echo one; echo wrong >&2; printf two; exit 0");
    EXPECT_EQ(child.readLine(20), "one");
    EXPECT_EQ(child.readLine(20), std::nullopt);  // the rest is no whole line
    child.mustEnd(20);
    EXPECT_EQ(child.standardOutput(), "one\ntwo");
    EXPECT_EQ(child.standardError(), "wrong\n");
}

TEST(ChildProcess, doesNotHangOnMoreOutputThanAPipeHolds) {
    auto child = shell("head -c 5000000 /dev/zero; head -c 3000000 /dev/zero >&2");
    EXPECT_EQ(child.mustEnd(30).exitStatus, 0);
    EXPECT_EQ(child.standardOutput().size(), 5'000'000U);
    EXPECT_EQ(child.standardError().size(), 3'000'000U);
}

TEST(ChildProcess, changesTheEnvironmentOfTheChildOnly) {
    setenv("STAGE_KEPT", "kept", 1);
    setenv("STAGE_DROPPED", "dropped", 1);
    const auto text = runProgram({"sh", "-c", "echo $STAGE_KEPT-$STAGE_DROPPED-$STAGE_NEW"},
                                 {{"STAGE_DROPPED", std::nullopt}, {"STAGE_NEW", "new"}});
    EXPECT_EQ(text, "kept--new\n");
    EXPECT_STREQ(getenv("STAGE_DROPPED"), "dropped");
}

TEST(ChildProcess, accountsForTheWorkOfTheChildAndItsOwnChildren) {
    // A busy grandchild counts; the time slept does not.
    auto busy = shell("(i=0; while [ $i -lt 300000 ]; do i=$((i+1)); done); sleep 0.3");
    const auto work = busy.mustEnd(60);
    auto idle = shell("sleep 0.3");
    const auto rest = idle.mustEnd(60);
    EXPECT_GT(work.cpuSeconds(), 5 * rest.cpuSeconds());
    EXPECT_LT(rest.cpuSeconds(), 0.2);
    EXPECT_GT(work.maxResidentKiB, 100);
}

TEST(ChildProcess, takesItsOwnChildrenAlong) {
    pid_t grandchild = 0;
    {
        auto child = shell("sleep 1000 & echo $!; wait");
        grandchild = std::stoi(child.readLine(20).value());
    }
    EXPECT_TRUE(ends(grandchild));
}

TEST(ChildProcess, doesNotOutliveAKilledParent) {
    int ends_[2];
    ASSERT_EQ(pipe(ends_), 0);
    const pid_t parent = fork();
    if (parent == 0) {
        ChildProcess child({"sleep", "1000"});
        const pid_t pid = child.processId();
        [[maybe_unused]] const auto written = write(ends_[1], &pid, sizeof pid);
        kill(getpid(), SIGKILL);
    }
    pid_t child = 0;
    ASSERT_EQ(read(ends_[0], &child, sizeof child), static_cast<ssize_t>(sizeof child));
    waitpid(parent, nullptr, 0);
    EXPECT_TRUE(ends(child));
}

}  // namespace

}  // namespace lumicrate::stage
