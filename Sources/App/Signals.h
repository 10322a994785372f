// Signals: Unix signals as events of the Qt loop.
#pragma once

#include <QSocketNotifier>
#include <functional>
#include <initializer_list>
#include <memory>

namespace lumicrate::app {

/// The signals stay blocked when it goes: what was asked to stop is already stopping then.
class Signals {
 public:
    /// Keeps signals from their usual effect, in this thread and in all that it will start. What arrives
    /// waits for a Signals object to be made.
    static void block(std::initializer_list<int> signals);

    /// `onSignal` is given the number of each of `signals` that arrives, on the loop's thread. They must be
    /// blocked in every thread.
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
