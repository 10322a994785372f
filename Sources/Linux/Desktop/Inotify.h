// Inotify: the kernel's reports on folders, as values.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace lumicrate::desktop {

/// One instance of inotify. It never waits.
class Inotify {
 public:
    struct Event {
        int watch = -1;
        std::uint32_t mask = 0;
        std::string name;  ///< of the folder's entry, where it is about one
    };

    /// Throws PlatformError when the user has too many of them.
    Inotify();
    Inotify(const Inotify&) = delete;
    Inotify& operator=(const Inotify&) = delete;
    ~Inotify();

    int descriptor() const { return descriptor_; }
    /// Watches a folder, or changes what it is watched for; the watch's number, or the system's code,
    /// negative.
    int add(const std::filesystem::path& folder, std::uint32_t mask);
    void remove(int watch);
    /// All that has happened until now.
    std::vector<Event> read();

 private:
    int descriptor_;
};

}  // namespace lumicrate::desktop
