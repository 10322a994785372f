// SPDX-License-Identifier: GPL-3.0-or-later
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

/// Whether a process, whoever its parent is, ends within ten seconds.
bool ends(pid_t pid) {
    const Descriptor process(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
    pollfd watched{process.get(), POLLIN, 0};
    return process.get() < 0 || poll(&watched, 1, 10'000) == 1;
}

TEST(ChildProcess, ReportsHowItEndedAndWhatItWrote) {
    for (const auto& [script, status] :
         {std::pair{"exit 0", 0}, {"exit 42", 42}, {"kill -TERM $$", 128 + SIGTERM}})
        EXPECT_EQ(runToEnd({"sh", "-c", script}).status, status) << script;
    EXPECT_THROW(runProgram({"there-is-no-such-program"}), std::runtime_error);
    ChildProcess child({"sh", "-c", "echo one; echo wrong >&2; printf two"});
    EXPECT_EQ(child.readLine(), "one");
    EXPECT_THROW(child.readLine(), std::runtime_error);
    EXPECT_EQ(child.standardError(), "wrong\n");
}

TEST(ChildProcess, NothingOutlivesATest) {
    ChildProcess child({"sh", "-c", "trap '' TERM; sleep 1000 & echo $!; wait"});
    const pid_t grandchild = std::stoi(child.readLine());
    child.signal(SIGKILL);
    EXPECT_TRUE(ends(grandchild));

    int pipeEnds[2];
    ASSERT_EQ(pipe(pipeEnds), 0);
    const pid_t killedTest = fork();
    if (killedTest == 0) {
        const ChildProcess orphan({"sleep", "1000"});
        const pid_t pid = orphan.processId();
        [[maybe_unused]] const auto written = write(pipeEnds[1], &pid, sizeof pid);
        kill(getpid(), SIGKILL);
    }
    pid_t orphan = 0;
    ASSERT_EQ(read(pipeEnds[0], &orphan, sizeof orphan), static_cast<ssize_t>(sizeof orphan));
    waitpid(killedTest, nullptr, 0);
    EXPECT_TRUE(ends(orphan));
}

}  // namespace

}  // namespace lumicrate::stage
