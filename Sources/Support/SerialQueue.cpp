#include "Support/SerialQueue.h"

#include <utility>

namespace lumicrate {

SerialQueue::SerialQueue(std::string label) : label_(std::move(label)), thread_([this] { run(); }) {}

SerialQueue::~SerialQueue() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    arrived_.notify_one();
    thread_.join();
}

void SerialQueue::async(Work work) {
    {
        const std::lock_guard lock(mutex_);
        work_.push_back(std::move(work));
    }
    arrived_.notify_one();
}

void SerialQueue::run() {
    std::unique_lock lock(mutex_);
    while (true) {
        arrived_.wait(lock, [this] { return ending_ || !work_.empty(); });
        if (work_.empty()) return;
        const Work next = std::move(work_.front());
        work_.pop_front();
        lock.unlock();
        next();
        lock.lock();
    }
}

}  // namespace lumicrate
