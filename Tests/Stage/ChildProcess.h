// ChildProcess: runs a program beside this process and never lets it outlive this process.
//
// The program is started directly, without a shell. The kernel kills it when the thread that started it ends,
// so start it from a thread that lives long enough. The destructor ends and reaps it.
#pragma once

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::stage {

/// Owns a file descriptor.
class Descriptor {
 public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(other.fd_) { other.fd_ = -1; }
    Descriptor& operator=(Descriptor&& other) noexcept;
    ~Descriptor() { close(); }

    int get() const { return fd_; }
    void close();

 private:
    int fd_ = -1;
};

/// Changes to this process's environment for a child; no value removes the variable.
using Environment = std::map<std::string, std::optional<std::string>>;

/// How a child ended and what it cost. CPU time includes the children that it reaped.
struct ChildResult {
    int exitStatus = 0;  ///< as a shell reports it: 128 + signal for a killed child
    int signal = 0;      ///< 0 when it exited
    double userSeconds = 0;
    double systemSeconds = 0;
    long maxResidentKiB = 0;  ///< at least what this process held when it forked

    double cpuSeconds() const { return userSeconds + systemSeconds; }
};

class ChildProcess {
 public:
    enum class Output {
        Inherit,
        Capture,  ///< standard output and standard error apart, for the operations below
    };
    struct Options {
        Environment environment = {};
        Output output = Output::Inherit;
        /// In a process group of its own, a terminal's Ctrl-C does not reach it, and signals reach its
        /// children too.
        bool ownGroup = true;
    };

    /// Finds the program in PATH. Throws std::runtime_error when it cannot be started.
    ChildProcess(std::vector<std::string> arguments, Options options);
    explicit ChildProcess(std::vector<std::string> arguments)
        : ChildProcess(std::move(arguments), Options()) {}
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    pid_t processId() const { return pid_; }
    bool isRunning() { return !wait(0); }

    /// Nothing when it still runs after `seconds`.
    std::optional<ChildResult> wait(double seconds);
    /// Throws std::runtime_error when it still runs after `seconds`.
    ChildResult mustEnd(double seconds);

    /// Does nothing when the child has ended.
    void signal(int number);
    /// Sends SIGTERM, after `timeout` seconds SIGKILL, and reaps the child.
    ChildResult terminate(double timeout = 5);

    /// The next line of captured standard output without its end; nothing at the end of the output or after
    /// `seconds`. The line stays part of standardOutput().
    std::optional<std::string> readLine(double seconds);
    std::string standardOutput();
    std::string standardError() const;

 private:
    bool drainOutput();
    void sendSignal(int number) const;

    std::string name_;
    bool ownGroup_;
    pid_t pid_ = -1;
    Descriptor pidfd_;
    Descriptor output_;
    Descriptor error_;
    std::string text_;
    std::size_t lineStart_ = 0;
    bool outputEnded_ = false;
    std::optional<ChildResult> result_;
};

struct ProgramRun {
    int status = 0;
    std::string output;
    std::string error;

    std::string everything() const { return output + error; }
};

/// Runs a program to its end. Throws std::runtime_error when it does not start or takes longer than
/// `seconds`.
ProgramRun runToEnd(std::vector<std::string> arguments, double seconds = 60,
                    const Environment& environment = {});
/// The standard output of a program. Throws std::runtime_error, with its standard error, also when it fails.
std::string runProgram(std::vector<std::string> arguments, const Environment& environment = {},
                       double seconds = 30);

}  // namespace lumicrate::stage
