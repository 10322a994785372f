// SerialQueue: a DispatchQueue with a thread of its own.
#pragma once

#include "Support/DispatchQueue.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

namespace lumicrate {

/// Destroying the queue first runs all work that it still holds, then joins the thread; so it must not be
/// destroyed from its own thread.
class SerialQueue final : public DispatchQueue {
 public:
    /// `label` names the queue for whoever debugs it.
    explicit SerialQueue(std::string label);
    ~SerialQueue() override;
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    void async(Work work) override;
    const std::string& label() const { return label_; }

 private:
    void run();

    std::string label_;
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<Work> work_;
    bool ending_ = false;
    std::thread thread_;
};

}  // namespace lumicrate
