// Thumbnails: the first picture of recordings, for those that are looked at.
#pragma once

#include "Lumicrate/Library/Recording.h"
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

/// Reads one picture after the other on a queue, those asked for last first: what has been scrolled past
/// meanwhile is forgotten and, should it come into view again, asked for again. Main thread.
class Thumbnails {
 public:
    using Picture = std::shared_ptr<const CGImage>;

    /// How many pictures are kept; far more than fit into a window.
    static constexpr std::size_t capacity = 160;
    /// How many may wait; as many as a tall window shows.
    static constexpr std::size_t mostWaiting = 24;

    /// All but `queue` must outlive it; pictures are at most `size`, in pixels.
    Thumbnails(Executor& executor, const ImageIO& images, std::unique_ptr<DispatchQueue> queue, Size size);
    Thumbnails(const Thumbnails&) = delete;
    Thumbnails& operator=(const Thumbnails&) = delete;

    /// The picture of the file as it is now; nothing when it has none, or when it is not there yet and is
    /// being fetched.
    Picture picture(const Recording& recording);
    /// `arrived` is given the file whose picture can be had now.
    [[nodiscard]] Subscription observe(std::function<void(const std::filesystem::path&)> arrived) const {
        return arrivals_.add(std::move(arrived));
    }

 private:
    /// What the file was when the picture was taken.
    struct Entry {
        std::string key;
        std::chrono::system_clock::time_point created;
        std::uintmax_t size = 0;
        Picture picture;
    };

    void enqueue(const Recording& recording);
    Task<void> fetchAll();
    void keep(const Recording& recording, Picture picture);

    Executor& executor_;
    const ImageIO& images_;
    Size size_;
    std::list<Entry> entries_;  ///< the one looked at last in front
    std::unordered_map<std::string, std::list<Entry>::iterator> byPath_;
    std::vector<Recording> waiting_;  ///< the next one last
    std::optional<std::filesystem::path> underWay_;
    mutable Observers<const std::filesystem::path&> arrivals_;
    std::unique_ptr<DispatchQueue> queue_;
    RunningTask fetching_;
};

}  // namespace lumicrate
