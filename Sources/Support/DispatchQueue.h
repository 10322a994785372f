// Serial queues: work that runs one piece after the other, off the main thread.
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace lumicrate {

/// Runs what it is given in order, one piece at a time.
class DispatchQueue {
 public:
    using Work = std::function<void()>;

    virtual ~DispatchQueue() = default;
    /// Appends `work` and returns at once. Any thread. Work must not throw.
    virtual void async(Work work) = 0;
};

/// Makes the queue of a given label; handed in so that tests can hold the work in their hands.
using DispatchQueueFactory = std::function<std::unique_ptr<DispatchQueue>(const std::string& label)>;

}  // namespace lumicrate
