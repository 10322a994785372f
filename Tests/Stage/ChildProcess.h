// SPDX-License-Identifier: GPL-3.0-or-later
// ChildProcess: runs a program beside this process and never lets it outlive this process.
//
// The program is started directly, without a shell. The kernel kills it when the thread that started it ends,
// so start it from a thread that lives long enough. The destructor ends and reaps it.
#pragma once

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate::stage {

/// Owns a file descriptor.
class Descriptor {
 public:
    explicit Descriptor(int fd = -1) : fd_(fd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Descriptor();

    int get() const { return fd_; }

 private:
    int fd_;
};

/// Changes to this process's environment for a child; no value removes the variable.
using Environment = std::map<std::string, std::optional<std::string>>;

/// How a child ended and what it cost. CPU time includes the children that it reaped.
struct ChildResult {
    int exitStatus = 0;  ///< as a shell reports it: 127 for an unknown program, 128 + signal for a killed one
    double userSeconds = 0;
    double systemSeconds = 0;
    long maxResidentKiB = 0;  ///< at least what this process held when it forked

    double cpuSeconds() const { return userSeconds + systemSeconds; }
};

class ChildProcess {
 public:
    enum class Kind {
        Background,  ///< its output is captured, and signals reach its children too
        Foreground,  ///< uses this process's output and terminal
    };

    /// Finds the program in PATH.
    explicit ChildProcess(std::vector<std::string> arguments, const Environment& environment = {},
                          Kind kind = Kind::Background);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    /// Sends SIGTERM, and SIGKILL to a child that still runs after five seconds.
    ~ChildProcess();

    pid_t processId() const { return pid_; }
    bool isRunning() { return !wait(0); }

    /// Nothing when it still runs after `seconds`.
    std::optional<ChildResult> wait(double seconds);
    /// Throws std::runtime_error when it still runs after `seconds`.
    ChildResult mustEnd(double seconds);
    /// Does nothing when the child has ended.
    void signal(int number);

    /// The next line of captured standard output, without its end. Throws std::runtime_error, with the
    /// captured standard error, when none comes within `seconds`.
    std::string readLine(double seconds = 30);
    std::string standardOutput() const;
    std::string standardError() const;

 private:
    std::string name_;
    Kind kind_;
    pid_t pid_ = -1;
    Descriptor pidfd_;
    Descriptor output_;
    Descriptor error_;
    std::size_t lineStart_ = 0;
    std::optional<ChildResult> result_;
};

struct ProgramRun {
    int status = 0;
    std::string output;
    std::string error;

    std::string everything() const { return output + error; }
};

/// Runs a program to its end. Throws std::runtime_error when it takes longer than `seconds`.
ProgramRun runToEnd(std::vector<std::string> arguments, const Environment& environment = {},
                    double seconds = 60);
/// The standard output of a program. Throws std::runtime_error, with its standard error, also when it fails.
std::string runProgram(std::vector<std::string> arguments, const Environment& environment = {},
                       double seconds = 60);

}  // namespace lumicrate::stage
