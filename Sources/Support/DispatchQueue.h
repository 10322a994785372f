// SPDX-License-Identifier: GPL-3.0-or-later
// DispatchQueue: a serial queue for work off the main thread, and SerialQueue, which runs it on a thread.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace lumicrate {

/// Runs work items one at a time, in the order in which they were added.
class DispatchQueue {
 public:
    using Work = std::function<void()>;

    virtual ~DispatchQueue() = default;
    /// Appends `work` and returns at once. Any thread. `work` must not throw.
    virtual void async(Work work) = 0;
};

/// Makes a queue with a label. Passed in, so that tests can run the work themselves.
using DispatchQueueFactory = std::function<std::unique_ptr<DispatchQueue>(const std::string& label)>;

/// A queue with its own thread. The destructor runs all pending work and joins the thread, so it must not be
/// called on that thread.
class SerialQueue final : public DispatchQueue {
 public:
    /// `label` identifies the queue in a debugger.
    explicit SerialQueue(std::string label);
    ~SerialQueue() override;
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    void async(Work work) override;

 private:
    void run();

    std::string label_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Work> work_;
    bool stopping_ = false;
    std::thread thread_;
};

}  // namespace lumicrate
