#include "Lumicrate/Library/RecordingLengths.h"

#include "Support/LongWork.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace lumicrate {

namespace {

using namespace std::chrono_literals;

/// What one piece of work takes at most; it ends earlier when its time is up.
constexpr std::size_t mostInOnePiece = 2048;
constexpr auto timeForOnePiece = 100ms;

struct Piece {
    RecordingLengths::Results read;
    RecordingLengths::Results left;  ///< for which there was no time
};

Piece readForAWhile(const std::function<double(const std::filesystem::path&)>& read,
                    RecordingLengths::Results wanted) {
    const auto end = std::chrono::steady_clock::now() + timeForOnePiece;
    Piece piece;
    for (auto each = wanted.begin(); each != wanted.end(); ++each) {
        if (!piece.read.empty() && std::chrono::steady_clock::now() >= end) {
            piece.left.assign(std::make_move_iterator(each), std::make_move_iterator(wanted.end()));
            break;
        }
        try {
            each->duration = read(each->url);
        } catch (...) {
            // It cannot be told, whatever the reason.
        }
        piece.read.push_back(std::move(*each));
    }
    return piece;
}

}  // namespace

RecordingLengths::RecordingLengths(Executor& executor, Readers readers,
                                   std::function<const std::vector<Recording>&()> list,
                                   std::function<void(const Results&)> finished)
    : isReading(false),
      executor_(executor),
      readers_(std::move(readers)),
      list_(std::move(list)),
      finished_(std::move(finished)),
      tasks_(readers_.queues.size()) {}

void RecordingLengths::start() {
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

bool RecordingLengths::isMissing(const Recording& recording) const {
    const std::string& name = recording.url.native();
    if (recording.duration || underWay_.contains(name)) return false;
    const auto failed = failed_.find(name);
    return failed == failed_.end() || failed->second != recording.size;
}

Task<void> RecordingLengths::run(std::size_t reader) {
    for (;;) {
        Results wanted = takeMissing();
        if (wanted.empty()) break;
        std::function<Piece()> work = [read = readers_.read, wanted = std::move(wanted)] {
            return readForAWhile(read, wanted);
        };
        Task<Piece> reading = inBackground<Piece>(executor_, *readers_.queues[reader], std::move(work));
        const Piece piece = co_await reading;
        takeBack(piece.read);
        takeBack(piece.left);
        for (const Result& each : piece.read) {
            if (!each.duration) failed_.insert_or_assign(each.url.native(), each.size);
        }
        finished_(piece.read);
    }
    if (--running_ == 0) isReading = false;
}

/// The newest that nobody reads yet, a share of them for each queue.
RecordingLengths::Results RecordingLengths::takeMissing() {
    std::vector<const Recording*> missing;
    for (const Recording& each : list_()) {
        if (isMissing(each)) missing.push_back(&each);
    }
    const std::size_t share = missing.size() / tasks_.size() + 1;
    missing.resize(std::min({missing.size(), share, mostInOnePiece}));
    Results taken;
    for (const Recording* each : missing) {
        underWay_.insert(each->url.native());
        taken.push_back({each->url, each->size, std::nullopt});
    }
    return taken;
}

void RecordingLengths::takeBack(const Results& results) {
    for (const Result& each : results)
        underWay_.erase(each.url.native());
}

}  // namespace lumicrate
