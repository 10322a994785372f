// SPDX-License-Identifier: GPL-3.0-or-later
// Thumbnails: the first picture of each recording that is on screen.
#pragma once

#include "Lumicrate/Library/RecordingFolder.h"
#include "Platform/AVAsset.h"
#include "Support/DispatchQueue.h"
#include "Support/Executor.h"
#include "Support/Geometry.h"
#include "Support/Published.h"
#include "Support/Task.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace lumicrate {

/// Reads one picture at a time on a queue, the latest request first. Requests that were scrolled past are
/// dropped; they are made again when the row becomes visible again. Main thread.
class Thumbnails {
 public:
    using Picture = std::shared_ptr<const CGImage>;

    /// Pictures kept in memory, least recently used dropped first; far more than fit into a window.
    static constexpr std::size_t capacity = 160;
    /// Requests kept; as many as a tall window shows.
    static constexpr std::size_t maxWaiting = 24;

    /// The references must outlive this object. Pictures are at most `size`, in pixels.
    Thumbnails(Executor& executor, const ImageIO& images, std::unique_ptr<DispatchQueue> queue, Size size);
    Thumbnails(const Thumbnails&) = delete;
    Thumbnails& operator=(const Thumbnails&) = delete;

    /// The picture of the recording, or nullptr: either it has none, or it is being read and will be
    /// announced to the observers. After a change of the file the old picture is returned until then.
    Picture picture(const Recording& recording);
    /// `arrived` is called with the file whose picture has been read.
    [[nodiscard]] Subscription observe(std::function<void(const std::filesystem::path&)> arrived) const {
        return arrivals_.add(std::move(arrived));
    }

 private:
    /// A picture, and the state of the file that it was read from.
    struct Entry {
        std::string key;
        std::chrono::system_clock::time_point created;
        std::uintmax_t size = 0;
        Picture picture;
    };

    void enqueue(const Recording& recording);
    Task<void> readAll();
    void store(const Recording& recording, Picture picture);

    Executor& executor_;
    const ImageIO& images_;
    Size size_;
    std::list<Entry> entries_;  ///< most recently used first
    std::unordered_map<std::string, std::list<Entry>::iterator> byPath_;
    std::vector<Recording> waiting_;  ///< served from the back
    std::optional<std::filesystem::path> reading_;
    mutable Observers<const std::filesystem::path&> arrivals_;
    std::unique_ptr<DispatchQueue> queue_;
    RunningTask task_;
};

}  // namespace lumicrate
