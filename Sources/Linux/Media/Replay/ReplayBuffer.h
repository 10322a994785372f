// SPDX-License-Identifier: GPL-3.0-or-later
// ReplayBuffer: AVReplayBuffer, an asset writer that writes to memory.
#pragma once

#include "Linux/Media/MovieFile/MovieRecovery.h"
#include "Linux/Media/Replay/ReplayMemory.h"
#include "Platform/AVReplayBuffer.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace lumicrate::media {

/// Destroying it waits for saves in progress. The writer may outlive it.
class ReplayBuffer final : public AVReplayBuffer {
 public:
    /// A file is in `recordings` while it is being written.
    ReplayBuffer(const Limits& limits, RecoveryList recordings);
    ~ReplayBuffer() override;
    ReplayBuffer(const ReplayBuffer&) = delete;
    ReplayBuffer& operator=(const ReplayBuffer&) = delete;

    std::unique_ptr<AVAssetWriter> makeWriter(AVFileType fileType) override;
    Contents contents() const override { return memory_->contents(); }
    void continueInto(const std::filesystem::path& url) override;
    void save(const std::filesystem::path& url, std::function<void(std::exception_ptr)> completion) override;

 private:
    void write(const ReplayMemory::Movie& movie, const std::filesystem::path& url) const;

    std::shared_ptr<ReplayMemory> memory_;
    RecoveryList recordings_;
    AVFileType fileType_ = AVFileType::mpeg4;
    // Destroyed first: they use the list.
    struct Saving {
        std::shared_ptr<std::atomic<bool>> isDone;
        std::jthread thread;
    };
    std::mutex mutex_;
    std::vector<Saving> saving_;
};

}  // namespace lumicrate::media
