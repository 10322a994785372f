// SPDX-License-Identifier: GPL-3.0-or-later
// AVReplayBuffer: the last seconds of what is captured, encoded and kept in memory until they are saved.
#pragma once

#include "Platform/AVAssetWriter.h"

#include <cstddef>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>

namespace lumicrate {

/// Any thread.
class AVReplayBuffer {
 public:
    /// What it may keep. It begins with a key picture, so it keeps up to one interval of key pictures more
    /// than `seconds`, and that interval even if it exceeds `bytes`.
    struct Limits {
        double seconds = 30;
        std::size_t bytes = std::size_t{256} << 20;
    };
    struct Contents {
        double seconds = 0;
        std::size_t bytes = 0;
    };

    virtual ~AVReplayBuffer() = default;

    /// The writer whose samples are kept, with a video track. It creates no file. Once.
    virtual std::unique_ptr<AVAssetWriter> makeWriter(AVFileType fileType) = 0;
    virtual Contents contents() const = 0;
    /// From now on the writer writes to this new file, which begins with what is kept. The buffer keeps
    /// nothing any more. Throws PlatformError if the file cannot be created.
    virtual void continueInto(const std::filesystem::path& url) = 0;
    /// Writes what is kept at the time of the call as a movie to a new file; the buffer continues. Calls
    /// `completion` once, on any thread, with null or the reason why there is no file. After a crash
    /// meanwhile, the file is completed as a recording is.
    virtual void save(const std::filesystem::path& url,
                      std::function<void(std::exception_ptr)> completion) = 0;
};

using AVReplayBufferFactory = std::function<std::unique_ptr<AVReplayBuffer>(const AVReplayBuffer::Limits&)>;

}  // namespace lumicrate
