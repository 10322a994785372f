// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Files/WriteBehind.h"

#include <algorithm>
#include <utility>

namespace lumicrate::media {

namespace {

/// Bytes that are synchronized together. More would hold up other programs' writes for long.
constexpr std::size_t maxBatch = std::size_t{16} << 20;

}  // namespace

WriteBehind::WriteBehind(ByteSink& sink, std::size_t capacity, OnFailure onFailure)
    : sink_(sink), capacity_(capacity), onFailure_(std::move(onFailure)), thread_([this] { run(); }) {}

WriteBehind::~WriteBehind() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    arrived_.notify_one();
    thread_.join();
}

void WriteBehind::append(std::uint64_t offset, std::vector<std::uint8_t> bytes, Written written) {
    enqueue({offset, std::move(bytes), false, std::move(written)});
}

void WriteBehind::patch(std::uint64_t offset, std::span<const std::uint8_t> bytes) {
    enqueue({offset, {bytes.begin(), bytes.end()}, true, {}});
}

void WriteBehind::enqueue(Write write) {
    {
        const std::lock_guard lock(mutex_);
        if (failed_ || replacePatch(write)) return;
        backlog_ += write.bytes.size();
        waiting_.push_back(std::move(write));
    }
    arrived_.notify_one();
}

/// Replaces a queued patch of the same place. The order of the patches behind the last append is irrelevant.
bool WriteBehind::replacePatch(Write& write) {
    if (!write.isPatch) return false;
    const auto lastAppend = std::find_if(waiting_.rbegin(), waiting_.rend(),
                                         [](const Write& waiting) { return !waiting.isPatch; });
    const auto same = std::find_if(waiting_.rbegin(), lastAppend, [&](const Write& waiting) {
        return waiting.offset == write.offset && waiting.bytes.size() == write.bytes.size();
    });
    if (same == lastAppend) return false;
    same->bytes = std::move(write.bytes);
    return true;
}

std::size_t WriteBehind::backlog() const {
    const std::lock_guard lock(mutex_);
    return backlog_;
}

bool WriteBehind::drain() {
    std::unique_lock lock(mutex_);
    settled_.wait(lock, [this] { return waiting_.empty() && !busy_; });
    return !failed_;
}

std::uint64_t WriteBehind::reached() const {
    const std::lock_guard lock(mutex_);
    return reached_;
}

void WriteBehind::waitForRoom() {
    std::unique_lock lock(mutex_);
    settled_.wait(lock, [this] { return backlog_ < capacity_ || failed_; });
}

void WriteBehind::run() {
    std::unique_lock lock(mutex_);
    while (true) {
        arrived_.wait(lock, [this] { return ending_ || !waiting_.empty(); });
        if (ending_) return;
        const std::vector<Write> batch = takeBatch();
        busy_ = true;
        lock.unlock();
        perform(batch);
        lock.lock();
        busy_ = false;
        settled_.notify_all();
    }
}

/// With `mutex_` locked.
std::vector<WriteBehind::Write> WriteBehind::takeBatch() {
    std::vector<Write> batch;
    for (std::size_t bytes = 0; !waiting_.empty() && bytes < maxBatch;) {
        bytes += waiting_.front().bytes.size();
        batch.push_back(std::move(waiting_.front()));
        waiting_.pop_front();
    }
    return batch;
}

void WriteBehind::perform(const std::vector<Write>& batch) {
    std::size_t written = 0;
    std::exception_ptr failure;
    try {
        for (; written < batch.size(); ++written)
            sink_.write(batch[written].offset, batch[written].bytes);
    } catch (...) {
        failure = std::current_exception();
    }
    const std::span<const Write> done = std::span(batch).first(written);
    try {
        if (!std::ranges::all_of(done, &Write::isPatch)) sink_.synchronize();
    } catch (...) {
        return fail(std::current_exception());
    }
    settle(done);
    if (failure) fail(failure);
}

/// These writes are in the file.
void WriteBehind::settle(std::span<const Write> done) {
    for (const Write& write : done) {
        {
            const std::lock_guard lock(mutex_);
            backlog_ -= write.bytes.size();
            if (!write.isPatch) reached_ = write.offset + write.bytes.size();
        }
        if (write.written) write.written();
    }
}

void WriteBehind::fail(const std::exception_ptr& error) {
    std::deque<Write> dropped;
    {
        const std::lock_guard lock(mutex_);
        failed_ = true;
        backlog_ = 0;
        dropped.swap(waiting_);
    }
    onFailure_(error);
}

}  // namespace lumicrate::media
