// SPDX-License-Identifier: GPL-3.0-or-later
#include "Support/DispatchQueue.h"

#include <utility>

namespace lumicrate {

SerialQueue::SerialQueue(std::string label) : label_(std::move(label)), thread_([this] { run(); }) {}

SerialQueue::~SerialQueue() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_one();
    thread_.join();
}

void SerialQueue::async(Work work) {
    // Notified under the lock: once it is free, the work may have run and its result may end this queue.
    const std::lock_guard lock(mutex_);
    work_.push_back(std::move(work));
    changed_.notify_one();
}

void SerialQueue::run() {
    std::unique_lock lock(mutex_);
    while (true) {
        changed_.wait(lock, [this] { return stopping_ || !work_.empty(); });
        if (work_.empty()) return;
        const Work next = std::move(work_.front());
        work_.pop_front();
        lock.unlock();
        next();
        lock.lock();
    }
}

}  // namespace lumicrate
