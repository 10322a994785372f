// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Replay/ReplayBuffer.h"

#include "Linux/Media/MovieFile/AssetWriter.h"
#include "Linux/Media/MovieFile/MovieFile.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <algorithm>
#include <utility>

namespace lumicrate::media {

ReplayBuffer::ReplayBuffer(const Limits& limits, RecoveryList recordings)
    : memory_(std::make_shared<ReplayMemory>(limits)), recordings_(std::move(recordings)) {}

ReplayBuffer::~ReplayBuffer() = default;

std::unique_ptr<AVAssetWriter> ReplayBuffer::makeWriter(AVFileType fileType) {
    fileType_ = fileType;
    return std::make_unique<AssetWriter>(std::filesystem::path(), fileType, memory_);
}

void ReplayBuffer::save(const std::filesystem::path& url,
                        std::function<void(std::exception_ptr)> completion) {
    const std::lock_guard lock(mutex_);
    std::erase_if(saving_, [](const Saving& each) { return each.isDone->load(); });
    auto isDone = std::make_shared<std::atomic<bool>>(false);
    std::jthread thread([this, url, isDone, movie = memory_->movie(), done = std::move(completion)] {
        std::exception_ptr error;
        try {
            write(movie, url);
        } catch (...) {
            error = std::current_exception();
        }
        done(error);
        *isDone = true;
    });
    saving_.push_back({std::move(isDone), std::move(thread)});
}

void ReplayBuffer::continueInto(const std::filesystem::path& url) {
    memory_->continueInto(std::make_unique<MovieFile>(url, fileType_, recordings_));
}

void ReplayBuffer::write(const ReplayMemory::Movie& movie, const std::filesystem::path& url) const {
    if (movie.tracks.empty()) throw PlatformError(localized("Nothing was recorded."));
    MovieFile file(url, fileType_, recordings_);
    std::exception_ptr failure;
    file.setOnFailure([&failure](const std::exception_ptr& reason) { failure = reason; });
    for (const ReplayMemory::Track& track : movie.tracks)
        file.addTrack(track.description, track.bitRate);
    file.begin();
    writeSamples(movie, [&file](int track, const MovieSample& sample) {
        file.write(track, sample);
        file.waitForRoom();
    });
    for (std::size_t i = 0; i < movie.tracks.size(); ++i)
        file.endTrack(static_cast<int>(i), movie.tracks[i].ticks(movie.end));
    file.finish();
    log(LogArea::movie, "replay of ", movie.end, " s saved");
    // Unlike a recording, it can be saved again, elsewhere.
    if (!failure) return;
    file.discard();
    std::rethrow_exception(failure);
}

}  // namespace lumicrate::media
