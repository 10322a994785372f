// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Library/DurationReader.h"

#include "Support/Log.h"
#include "Support/LongWork.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace lumicrate {

namespace {

using namespace std::chrono_literals;

/// A batch ends after this many files or this much time, whichever comes first.
constexpr std::size_t maxBatchSize = 2048;
constexpr auto maxBatchTime = 100ms;

struct Batch {
    DurationReader::Results read;
    DurationReader::Results unread;  ///< for lack of time
};

Batch readBatch(const std::function<double(const std::filesystem::path&)>& read,
                DurationReader::Results wanted) {
    const auto end = std::chrono::steady_clock::now() + maxBatchTime;
    Batch batch;
    for (auto next = wanted.begin(); next != wanted.end(); ++next) {
        if (!batch.read.empty() && std::chrono::steady_clock::now() >= end) {
            batch.unread.assign(std::make_move_iterator(next), std::make_move_iterator(wanted.end()));
            break;
        }
        try {
            next->duration = read(next->url);
        } catch (...) {
            // Whatever the reason, the duration stays unknown.
        }
        batch.read.push_back(std::move(*next));
    }
    return batch;
}

}  // namespace

DurationReader::DurationReader(Executor& executor, Readers readers,
                               std::function<const std::vector<Recording>&()> list,
                               std::function<void(const Results&)> finished)
    : isReading(false),
      executor_(executor),
      readers_(std::move(readers)),
      list_(std::move(list)),
      finished_(std::move(finished)),
      tasks_(readers_.queues.size()) {}

void DurationReader::start() {
    const auto& list = list_();
    if (std::none_of(list.begin(), list.end(), [this](const Recording& each) { return isMissing(each); }))
        return;
    for (std::size_t i = 0; i < tasks_.size(); ++i) {
        if (tasks_[i].isRunning()) continue;
        ++running_;
        tasks_[i] = RunningTask(executor_, run(i));
    }
    if (!*isReading) isReading = true;
}

bool DurationReader::isMissing(const Recording& recording) const {
    const std::string& name = recording.url.native();
    if (recording.duration || scheduled_.contains(name)) return false;
    const auto failed = failed_.find(name);
    return failed == failed_.end() || failed->second != recording.size;
}

Task<void> DurationReader::run(std::size_t queue) {
    for (;;) {
        Results wanted = takeBatch();
        if (wanted.empty()) break;
        std::function<Batch()> work = [read = readers_.read, wanted = std::move(wanted)] {
            return readBatch(read, wanted);
        };
        Task<Batch> reading = inBackground<Batch>(executor_, *readers_.queues[queue], std::move(work));
        const Batch batch = co_await reading;
        release(batch.read);
        release(batch.unread);
        for (const Result& each : batch.read) {
            if (!each.duration) failed_.insert_or_assign(each.url.native(), each.size);
        }
        finished_(batch.read);
    }
    if (--running_ > 0) co_return;
    log(LogArea::library, "durations read, ", failed_.size(), " unreadable");
    isReading = false;
}

/// The newest unscheduled recordings, an equal share for each queue.
DurationReader::Results DurationReader::takeBatch() {
    std::vector<const Recording*> missing;
    for (const Recording& each : list_()) {
        if (isMissing(each)) missing.push_back(&each);
    }
    const std::size_t share = missing.size() / tasks_.size() + 1;
    missing.resize(std::min({missing.size(), share, maxBatchSize}));
    Results batch;
    for (const Recording* each : missing) {
        scheduled_.insert(each->url.native());
        batch.push_back({each->url, each->size, std::nullopt});
    }
    return batch;
}

void DurationReader::release(const Results& results) {
    for (const Result& each : results)
        scheduled_.erase(each.url.native());
}

}  // namespace lumicrate
