// SPDX-License-Identifier: GPL-3.0-or-later
// Signals: delivers Unix signals as events of the Qt loop.
#pragma once

#include <QSocketNotifier>
#include <functional>
#include <initializer_list>
#include <memory>

namespace lumicrate::app {

/// The signals stay blocked after the object is gone: a second Ctrl-C must not kill a program that is already
/// stopping.
class Signals {
 public:
    /// Blocks the signals' default action in this thread and in all threads it starts later. Signals that
    /// arrive stay pending until a Signals object is created.
    static void block(std::initializer_list<int> signals);

    /// Calls `onSignal` with the number of each of `signals` that arrives, on the loop's thread. They must be
    /// blocked in every thread. Throws std::system_error.
    Signals(std::initializer_list<int> signals, std::function<void(int)> onSignal);
    ~Signals();
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;

 private:
    void readPending() const;

    std::function<void(int)> onSignal_;
    int descriptor_;
    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace lumicrate::app
