#include "Tests/Stage/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <tuple>
#include <utility>

namespace lumicrate::stage {

namespace {

using Clock = std::chrono::steady_clock;

Clock::time_point deadlineAfter(double seconds) {
    return Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

int millisecondsUntil(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::max<decltype(left)>(left, 0));
}

// Some releases of glibc declare their wrapper without C linkage.
int openProcess(pid_t pid) {
    return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
}

[[noreturn]] void fail(const std::string& what, int error) {
    throw std::runtime_error(what + ": " + std::strerror(error));
}

std::pair<Descriptor, Descriptor> makePipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) fail("No pipe", errno);
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

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
    for (auto& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
}

/// Prepared before the fork, because nothing may be allocated between fork and exec.
struct Launch {
    char* const* arguments;
    char* const* environment;
    int output;  ///< -1: inherited
    int error;
    int report;
    bool ownGroup;
    pid_t parent;
};

[[noreturn]] void becomeProgram(const Launch& launch) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != launch.parent) _exit(127);  // the parent died before the line above
    if (launch.ownGroup) setpgid(0, 0);

    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    ::signal(SIGPIPE, SIG_DFL);

    if (launch.output >= 0) dup2(launch.output, STDOUT_FILENO);
    if (launch.error >= 0) dup2(launch.error, STDERR_FILENO);

    execvpe(launch.arguments[0], launch.arguments, launch.environment);
    const int error = errno;
    [[maybe_unused]] const auto written = write(launch.report, &error, sizeof error);
    _exit(127);
}

}  // namespace

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    if (this != &other) {
        close();
        fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
}

void Descriptor::close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
}

ChildProcess::ChildProcess(std::vector<std::string> arguments, Options options)
    : name_(arguments.at(0)), ownGroup_(options.ownGroup) {
    auto environment = mergedEnvironment(options.environment);
    const auto argumentPointers = pointers(arguments);
    const auto environmentPointers = pointers(environment);

    Descriptor childOutput;
    if (options.output == Output::Capture) {
        std::tie(output_, childOutput) = makePipe();
        fcntl(output_.get(), F_SETFL, O_NONBLOCK);
        // A large pipe, so that the child rarely waits for a reader. Standard error is in memory: it never
        // makes the child wait.
        fcntl(output_.get(), F_SETPIPE_SZ, 1 << 20);
        error_ = Descriptor(memfd_create("stderr", MFD_CLOEXEC));
        if (error_.get() < 0) fail("No memory for standard error", errno);
    }

    auto [report, childReport] = makePipe();
    const Launch launch{argumentPointers.data(),
                        environmentPointers.data(),
                        childOutput.get(),
                        error_.get(),
                        childReport.get(),
                        ownGroup_,
                        getpid()};
    pid_ = fork();
    if (pid_ < 0) fail("Could not start " + name_, errno);
    if (pid_ == 0) becomeProgram(launch);

    childReport.close();
    int error = 0;
    ssize_t got = 0;
    do {
        got = read(report.get(), &error, sizeof error);
    } while (got < 0 && errno == EINTR);
    if (got > 0) {
        waitpid(pid_, nullptr, 0);
        fail("Could not start " + name_, error);
    }
    pidfd_ = Descriptor(openProcess(pid_));
    if (pidfd_.get() < 0) {
        const int reason = errno;
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        fail("Could not watch " + name_, reason);
    }
}

ChildProcess::~ChildProcess() {
    try {
        terminate();
    } catch (...) {  // NOLINT: destructors do not throw
    }
}

std::optional<ChildResult> ChildProcess::wait(double timeout) {
    if (result_) return result_;
    const auto deadline = deadlineAfter(timeout);
    for (;;) {
        pollfd watched[2] = {{pidfd_.get(), POLLIN, 0}, {outputEnded_ ? -1 : output_.get(), POLLIN, 0}};
        const int count = poll(watched, 2, millisecondsUntil(deadline));
        if (count < 0 && errno != EINTR) fail("Could not wait for " + name_, errno);
        if (count > 0 && watched[1].revents != 0) drainOutput();
        if (count > 0 && watched[0].revents != 0) break;
        if (count <= 0 && Clock::now() >= deadline) return std::nullopt;
    }
    int status = 0;
    rusage usage{};
    if (wait4(pid_, &status, 0, &usage) != pid_) fail("Could not reap " + name_, errno);
    ChildResult result;
    result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    result.exitStatus = WIFSIGNALED(status) ? 128 + result.signal : WEXITSTATUS(status);
    result.userSeconds = seconds(usage.ru_utime);
    result.systemSeconds = seconds(usage.ru_stime);
    result.maxResidentKiB = usage.ru_maxrss;
    result_ = result;
    return result_;
}

ChildResult ChildProcess::mustEnd(double timeout) {
    if (const auto result = wait(timeout)) return *result;
    throw std::runtime_error(name_ + " did not end in time");
}

void ChildProcess::sendSignal(int number) const {
    kill(ownGroup_ ? -pid_ : pid_, number);
}

void ChildProcess::signal(int number) {
    if (isRunning()) sendSignal(number);
}

ChildResult ChildProcess::terminate(double timeout) {
    signal(SIGTERM);
    if (!wait(timeout)) sendSignal(SIGKILL);
    return mustEnd(30);
}

bool ChildProcess::drainOutput() {
    char buffer[4096];
    for (;;) {
        const ssize_t got = read(output_.get(), buffer, sizeof buffer);
        if (got > 0) {
            text_.append(buffer, static_cast<std::size_t>(got));
        } else if (got < 0 && errno == EINTR) {
            continue;
        } else {
            if (got == 0) outputEnded_ = true;
            return !outputEnded_;
        }
    }
}

std::optional<std::string> ChildProcess::readLine(double timeout) {
    const auto deadline = deadlineAfter(timeout);
    for (;;) {
        const bool more = drainOutput();
        const auto end = text_.find('\n', lineStart_);
        if (end != std::string::npos) {
            const auto start = std::exchange(lineStart_, end + 1);
            return text_.substr(start, end - start);
        }
        if (!more) return std::nullopt;
        pollfd watched{output_.get(), POLLIN, 0};
        if (poll(&watched, 1, millisecondsUntil(deadline)) <= 0 && Clock::now() >= deadline)
            return std::nullopt;
    }
}

std::string ChildProcess::standardOutput() {
    if (output_.get() >= 0) drainOutput();
    return text_;
}

std::string ChildProcess::standardError() const {
    std::string text;
    char buffer[4096];
    ssize_t got = 0;
    while ((got = pread(error_.get(), buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0) {
        text.append(buffer, static_cast<std::size_t>(got));
    }
    return text;
}

ProgramRun runToEnd(std::vector<std::string> arguments, double seconds, const Environment& environment) {
    ChildProcess child(std::move(arguments), {environment, ChildProcess::Output::Capture});
    const int status = child.mustEnd(seconds).exitStatus;
    return {status, child.standardOutput(), child.standardError()};
}

std::string runProgram(std::vector<std::string> arguments, const Environment& environment, double seconds) {
    const std::string name = arguments.at(0);
    ProgramRun run = runToEnd(std::move(arguments), seconds, environment);
    if (run.status != 0) throw std::runtime_error(name + " failed: " + run.error);
    return std::move(run.output);
}

}  // namespace lumicrate::stage
