// ChildProcess: a program that runs beside this one and never outlives it.
//
// The child is started directly (no shell), is signalled by the kernel when the thread that started it ends,
// and is ended and reaped when this object goes. Start children from a thread that lives as long as they
// shall.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::stage {

// A descriptor that closes itself.
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

// Variables set for a child on top of this process's own; no value removes the variable.
using Environment = std::map<std::string, std::optional<std::string>>;

// How a child ended and what it cost (its own reaped children included in the CPU time).
struct ChildResult {
    int exitStatus = 0;  // what a shell would report: 128 + signal for a killed one
    int signal = 0;      // 0 when it ended by itself
    double userSeconds = 0;
    double systemSeconds = 0;
    // Never below what this process held resident when it forked: the kernel counts the moment before exec as
    // well.
    long maxResidentKiB = 0;

    double cpuSeconds() const { return userSeconds + systemSeconds; }
};

class ChildProcess {
 public:
    enum class Output {
        Inherit,
        Discard,
        Capture,  // standard output and standard error apart, to be read with the operations below
        File,     // both appended to Options::outputFile
    };

    struct Options {
        Environment environment;
        Output output = Output::Inherit;
        std::filesystem::path outputFile;
        // A group of its own keeps a terminal's Ctrl-C away and lets signals reach the child's children too.
        bool ownGroup = true;
        // SIGKILL is sure; a program with things to put away may rather be asked with SIGTERM.
        int signalOnParentDeath = SIGKILL;
        // A descriptor that the child inherits under its present number.
        int keptDescriptor = -1;
    };

    // Throws std::runtime_error when the program cannot be started (found in PATH, as a shell would).
    ChildProcess(std::vector<std::string> arguments, Options options);
    explicit ChildProcess(std::vector<std::string> arguments)
        : ChildProcess(std::move(arguments), Options()) {}
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    // SIGTERM, a few seconds of patience, SIGKILL.
    ~ChildProcess();

    pid_t processId() const { return pid_; }
    // Readable once the child has ended; for callers with a poll loop of their own.
    int endDescriptor() const { return pidfd_.get(); }
    bool isRunning();

    // Waits at most `seconds` for the end; nothing when it is still running then.
    std::optional<ChildResult> wait(double seconds);
    // The same, but throws std::runtime_error with the program's name when the time is up.
    ChildResult mustEnd(double seconds);

    // Does nothing when the child has ended already.
    void signal(int number);
    // Asks the child to end, insists after `patience` seconds, and reaps it.
    ChildResult terminate(double patience = 5);

    // With Output::Capture: the next line of standard output without its end; nothing at the end of the
    // output or after `seconds`. Lines already handed out stay part of standardOutput().
    std::optional<std::string> readLine(double seconds);
    std::string standardOutput();
    std::string standardError() const;

 private:
    bool drainOutput();
    void sendSignal(int number) const;

    std::string name_;
    Options options_;
    pid_t pid_ = -1;
    Descriptor pidfd_;
    Descriptor output_;
    Descriptor error_;
    std::string text_;
    std::size_t lineStart_ = 0;
    bool outputEnded_ = false;
    std::optional<ChildResult> result_;
};

// Runs a program to its end and returns its standard output. Throws std::runtime_error, with what it wrote to
// standard error, when it fails or takes longer than `seconds`.
std::string runProgram(std::vector<std::string> arguments, const Environment& environment = {},
                       double seconds = 30);

}  // namespace lumicrate::stage
