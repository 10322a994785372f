#include "Tests/Stage/ChildProcess.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

namespace lumicrate::stage {

namespace {

ChildProcess shell(const std::string& script) {
    return ChildProcess({"sh", "-c", script}, {{}, ChildProcess::Output::Capture});
}

/// Whether a process, whoever its parent is, ends within some seconds.
bool ends(pid_t pid) {
    const Descriptor watched(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
    if (watched.get() < 0) return true;  // it has ended
    pollfd wanted{watched.get(), POLLIN, 0};
    return poll(&wanted, 1, 10'000) == 1;
}

TEST(ChildProcess, ReportsHowItEnded) {
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
    EXPECT_THROW(runProgram({"false"}), std::runtime_error);
    auto sleeper = shell("exec sleep 1000");
    EXPECT_THROW(sleeper.mustEnd(0.05), std::runtime_error);
    EXPECT_TRUE(sleeper.isRunning());
}

TEST(ChildProcess, KeepsOutputAndErrorApart) {
    auto child = shell("echo one; echo wrong >&2; printf two; head -c 5000000 /dev/zero");
    EXPECT_EQ(child.readLine(20), "one");
    child.mustEnd(20);
    EXPECT_EQ(child.standardOutput().size(), 5'000'007U);
    EXPECT_EQ(child.standardError(), "wrong\n");
}

TEST(ChildProcess, CountsTheWorkOfItsChildren) {
    auto busy = shell("(i=0; while [ $i -lt 300000 ]; do i=$((i+1)); done); sleep 0.1");
    auto idle = shell("sleep 0.1");
    const double idleSeconds = idle.mustEnd(60).cpuSeconds();
    EXPECT_GT(busy.mustEnd(60).cpuSeconds(), 5 * idleSeconds);
}

TEST(ChildProcess, NothingOutlivesATest) {
    pid_t grandchild = 0;
    {
        auto child = shell("trap '' TERM; sleep 1000 & echo $!; wait");
        grandchild = std::stoi(child.readLine(20).value());
        EXPECT_EQ(child.terminate(0.1).signal, SIGKILL);
    }
    EXPECT_TRUE(ends(grandchild));

    int pipeEnds[2];
    ASSERT_EQ(pipe(pipeEnds), 0);
    const pid_t parent = fork();
    if (parent == 0) {
        ChildProcess child({"sleep", "1000"});
        const pid_t pid = child.processId();
        [[maybe_unused]] const auto written = write(pipeEnds[1], &pid, sizeof pid);
        kill(getpid(), SIGKILL);
    }
    pid_t child = 0;
    ASSERT_EQ(read(pipeEnds[0], &child, sizeof child), static_cast<ssize_t>(sizeof child));
    waitpid(parent, nullptr, 0);
    EXPECT_TRUE(ends(child)) << "of a killed test";
}

}  // namespace

}  // namespace lumicrate::stage
