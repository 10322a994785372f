// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Stage/ChildProcess.h"

#include "Tests/Stage/Await.h"

#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <stdexcept>
#include <string_view>

namespace lumicrate::stage {

namespace {

using Clock = std::chrono::steady_clock;

std::vector<std::string> mergedEnvironment(const Environment& changes) {
    std::vector<std::string> merged;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (!changes.contains(text.substr(0, text.find('=')))) merged.push_back(text);
    }
    for (const auto& [name, value] : changes) {
        if (value) merged.push_back(name + "=" + *value);
    }
    return merged;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (auto& text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
}

std::string contents(const Descriptor& file, std::size_t from = 0) {
    std::string text;
    char buffer[4096];
    ssize_t got = 0;
    while ((got = pread(file.get(), buffer, sizeof buffer, static_cast<off_t>(from + text.size()))) > 0)
        text.append(buffer, static_cast<std::size_t>(got));
    return text;
}

}  // namespace

Descriptor::~Descriptor() {
    if (fd_ >= 0) close(fd_);
}

ChildProcess::ChildProcess(std::vector<std::string> arguments, const Environment& environment, Kind kind)
    : name_(arguments.at(0)), kind_(kind) {
    // Everything is prepared here, because nothing may be allocated between fork and exec. The output goes
    // to memory: the child never waits for a reader.
    auto merged = mergedEnvironment(environment);
    const auto argumentPointers = pointers(arguments);
    const auto environmentPointers = pointers(merged);
    const bool isCaptured = kind == Kind::Background;
    if (isCaptured) {
        output_ = Descriptor(memfd_create("output", MFD_CLOEXEC));
        error_ = Descriptor(memfd_create("error", MFD_CLOEXEC));
    }
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent) _exit(127);  // the parent died before the line above
        if (isCaptured) {
            setpgid(0, 0);
            dup2(output_.get(), STDOUT_FILENO);
            dup2(error_.get(), STDERR_FILENO);
        }
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        ::signal(SIGPIPE, SIG_DFL);
        execvpe(argumentPointers[0], argumentPointers.data(), environmentPointers.data());
        constexpr std::string_view message = "The program cannot be started\n";
        [[maybe_unused]] const auto written = write(STDERR_FILENO, message.data(), message.size());
        _exit(127);
    }
    if (pid_ > 0) {
        if (isCaptured) setpgid(pid_, pid_);  // here too: a signal may be sent before the child does it
        // Some releases of glibc declare their wrapper without C linkage.
        pidfd_ = Descriptor(static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)));
    }
    if (pidfd_.get() < 0) throw std::runtime_error("Could not start " + name_);
}

ChildProcess::~ChildProcess() {
    signal(SIGTERM);
    if (wait(5)) return;
    signal(SIGKILL);
    wait(30);
}

std::optional<ChildResult> ChildProcess::wait(double timeout) {
    if (result_) return result_;
    const auto deadline = Clock::now() + std::chrono::duration<double>(timeout);
    pollfd watched{pidfd_.get(), POLLIN, 0};
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (poll(&watched, 1, static_cast<int>(std::max(left, decltype(left){0}))) > 0) break;
        if (Clock::now() >= deadline) return std::nullopt;
    }
    int status = 0;
    rusage usage{};
    wait4(pid_, &status, 0, &usage);
    result_ = ChildResult{WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status),
                          seconds(usage.ru_utime), seconds(usage.ru_stime), usage.ru_maxrss};
    return result_;
}

ChildResult ChildProcess::mustEnd(double timeout) {
    if (const auto result = wait(timeout)) return *result;
    throw std::runtime_error(name_ + " did not end in time");
}

void ChildProcess::signal(int number) {
    if (isRunning()) kill(kind_ == Kind::Background ? -pid_ : pid_, number);
}

std::string ChildProcess::readLine(double timeout) {
    std::string text;
    auto end = std::string::npos;
    const auto isDecided = [&] {
        const bool isLast = !isRunning();  // before the output is read
        text = contents(output_, lineStart_);
        end = text.find('\n');
        return isLast || end != std::string::npos;
    };
    eventually(isDecided, std::chrono::duration<double>(timeout), std::chrono::milliseconds(2));
    if (end == std::string::npos) throw std::runtime_error(name_ + " wrote no line: " + standardError());
    lineStart_ += end + 1;
    return text.substr(0, end);
}

std::string ChildProcess::standardOutput() const {
    return contents(output_);
}

std::string ChildProcess::standardError() const {
    return contents(error_);
}

ProgramRun runToEnd(std::vector<std::string> arguments, const Environment& environment, double seconds) {
    ChildProcess child(std::move(arguments), environment);
    const int status = child.mustEnd(seconds).exitStatus;
    return {status, child.standardOutput(), child.standardError()};
}

std::string runProgram(std::vector<std::string> arguments, const Environment& environment, double seconds) {
    const std::string name = arguments.at(0);
    ProgramRun run = runToEnd(std::move(arguments), environment, seconds);
    if (run.status != 0) throw std::runtime_error(name + " failed: " + run.error);
    return std::move(run.output);
}

}  // namespace lumicrate::stage
