// SPDX-License-Identifier: GPL-3.0-or-later
// FakeReplayBuffer: a replay buffer that a test controls and inspects.
#pragma once

#include "Platform/AVReplayBuffer.h"
#include "Tests/Lumicrate/Movie/FakeAssetWriter.h"

#include <utility>

namespace lumicrate::test {

/// Outlives its buffer.
struct FakeReplay {
    FakeMovie movie;
    AVReplayBuffer::Limits limits;
    std::filesystem::path saved;
    std::exception_ptr refusal;  ///< of continueInto()
    std::function<void(std::exception_ptr)> completion;
};

class FakeReplayBuffer final : public AVReplayBuffer {
 public:
    explicit FakeReplayBuffer(FakeReplay& replay) : replay_(replay) {}

    std::unique_ptr<AVAssetWriter> makeWriter(AVFileType fileType) override {
        replay_.movie.fileType = fileType;
        return std::make_unique<FakeAssetWriter>(replay_.movie);
    }
    Contents contents() const override { return {12.5, 3'400'000}; }
    void continueInto(const std::filesystem::path& url) override {
        if (replay_.refusal) std::rethrow_exception(replay_.refusal);
        replay_.movie.url = url;
    }
    void save(const std::filesystem::path& url, std::function<void(std::exception_ptr)> completion) override {
        replay_.saved = url;
        replay_.completion = std::move(completion);
    }

 private:
    FakeReplay& replay_;
};

}  // namespace lumicrate::test
