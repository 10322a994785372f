// SPDX-License-Identifier: GPL-3.0-or-later
// Signals: delivers Unix signals as events of the Qt loop, and ends the program when it no longer responds.
#pragma once

#include <QObject>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <initializer_list>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace lumicrate::app {

/// How long a command may take to end after a signal. More, and it appears to hang.
inline constexpr std::chrono::milliseconds endTimeout{800};

/// Ends the program with exit status 1 and this sentence, whatever its threads are waiting for: a system call
/// on a network mount whose server is gone cannot be interrupted. No destructor runs. Any thread.
[[noreturn]] void exitAtOnce(const std::string& sentence);

/// The signals stay blocked after the object is gone: a second Ctrl-C must not kill a program that is already
/// stopping. Main thread.
class Signals {
 public:
    /// What happens when the loop's thread does not take a signal for so long: exitAtOnce(sentence). SIGUSR1
    /// does not count.
    struct Deadline {
        std::chrono::milliseconds timeout;
        std::string sentence;
    };

    /// Blocks the signals' default action in this thread and in all threads it starts later. Signals that
    /// arrive stay pending until a Signals object is created.
    static void block(std::initializer_list<int> signals);

    /// They must be blocked in every thread. Throws std::system_error.
    explicit Signals(std::initializer_list<int> signals, std::optional<Deadline> deadline = std::nullopt);
    ~Signals();
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;

    /// From now on calls `onSignal` on the loop's thread with the number of each signal, also of those that
    /// have arrived before. None: they stay pending again.
    void handle(std::function<void(int)> onSignal);
    void setDeadline(Deadline deadline);

 private:
    void watch();
    void deliver();

    std::function<void(int)> onSignal_;
    QObject receiver_;
    int signals_ = -1;  ///< the descriptor they are read from
    int quit_ = -1;     ///< wakes the thread for its end

    std::mutex mutex_;  ///< guards what follows
    std::condition_variable changed_;
    std::vector<int> pending_;
    std::optional<Deadline> deadline_;
    bool isQuitting_ = false;

    std::thread thread_;
};

}  // namespace lumicrate::app
