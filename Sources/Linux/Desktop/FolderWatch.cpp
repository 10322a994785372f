// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Desktop/FolderWatch.h"

#include "Support/Error.h"
#include "Support/Log.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <QObject>
#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <system_error>
#include <utility>

namespace lumicrate::desktop {

namespace {

/// Changes within this time are reported together.
constexpr std::chrono::milliseconds gathering{150};
/// For more changes than this, reading the whole folder is cheaper.
constexpr std::size_t maxNames = 1000;

constexpr std::uint32_t itself = IN_DELETE_SELF | IN_MOVE_SELF;
constexpr std::uint32_t arrivals = IN_CREATE | IN_MOVED_TO;
constexpr std::uint32_t departures = IN_DELETE | IN_MOVED_FROM;
constexpr std::uint32_t changes = IN_CLOSE_WRITE | IN_ATTRIB;

/// All ancestors of a folder, from the root.
std::vector<std::filesystem::path> ancestorsOf(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> path;
    std::filesystem::path next;
    for (const std::filesystem::path& part : folder) {
        next /= part;
        path.push_back(next);
    }
    path.pop_back();
    return path;
}

/// A file created with O_TMPFILE is reported as "#" and its inode number, even after linkat() has named it.
bool isUnnamed(const std::string& name) {
    return name.size() > 1 && name.front() == '#' &&
           std::all_of(name.begin() + 1, name.end(),
                       [](unsigned char each) { return std::isdigit(each) != 0; });
}

}  // namespace

struct FolderWatch::Event {
    int watch = -1;
    std::uint32_t mask = 0;
    std::string name;  ///< of the entry; empty for the folder itself
};

/// One inotify instance. Never blocks.
class FolderWatch::Inotify {
 public:
    Inotify() : descriptor_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        if (descriptor_ >= 0) return;
        const int reason = errno;
        throw PlatformError(
            localized("Folders can't be watched for changes: {}.", {std::generic_category().message(reason)}),
            reason);
    }
    Inotify(const Inotify&) = delete;
    Inotify& operator=(const Inotify&) = delete;
    ~Inotify() { close(descriptor_); }

    int descriptor() const { return descriptor_; }

    /// Watches a folder, or changes the mask of its watch. Returns the watch, or the negative error number.
    int add(const std::filesystem::path& folder, std::uint32_t mask) {
        const int watch = inotify_add_watch(descriptor_, folder.c_str(), mask | IN_ONLYDIR);
        return watch < 0 ? -errno : watch;
    }
    void remove(int watch) { inotify_rm_watch(descriptor_, watch); }

    /// All events so far.
    std::vector<Event> read() {
        std::vector<Event> events;
        alignas(inotify_event) std::array<char, 16384> buffer{};
        for (;;) {
            const ssize_t length = ::read(descriptor_, buffer.data(), buffer.size());
            if (length <= 0) return events;
            for (ssize_t at = 0; at < length;) {
                inotify_event event{};
                std::memcpy(&event, buffer.data() + at, sizeof event);
                at += static_cast<ssize_t>(sizeof event);
                // The name is padded with zeros.
                events.push_back({event.wd, event.mask, event.len > 0 ? buffer.data() + at : ""});
                at += event.len;
            }
        }
    }

 private:
    int descriptor_;
};

FolderWatch::FolderWatch(const std::filesystem::path& folder)
    : folder_(std::filesystem::absolute(folder).lexically_normal()),
      inotify_(std::make_unique<Inotify>()),
      notifier_(inotify_->descriptor(), QSocketNotifier::Read) {
    if (!folder_.has_filename()) folder_ = folder_.parent_path();
    QObject::connect(&notifier_, &QSocketNotifier::activated, &notifier_, [this] { readEvents(); });
    delay_.setSingleShot(true);
    delay_.setInterval(gathering);
    QObject::connect(&delay_, &QTimer::timeout, &delay_, [this] { report(); });
    addWatches();
}

FolderWatch::~FolderWatch() = default;

/// Each ancestor is watched for arrivals until its child in the path is watched, too; so a folder that is
/// created in between is not missed.
void FolderWatch::addWatches() {
    for (const int each : std::exchange(ancestors_, {}))
        inotify_->remove(each);
    if (watch_ >= 0) inotify_->remove(std::exchange(watch_, -1));
    const auto isMissing = [](int watch) { return watch == -ENOENT || watch == -ENOTDIR; };
    std::filesystem::path parent;
    for (const std::filesystem::path& each : ancestorsOf(folder_)) {
        const int watch = inotify_->add(each, itself | arrivals);
        if (isMissing(watch)) return;
        if (!parent.empty()) inotify_->add(parent, itself);
        // An unreadable folder cannot be watched, but its children can.
        parent = watch >= 0 ? each : std::filesystem::path();
        if (watch >= 0) ancestors_.push_back(watch);
    }
    const int watch = inotify_->add(folder_, itself | arrivals | departures | changes);
    if (watch < 0) {
        if (!isMissing(watch)) log(LogArea::desktop, "a folder cannot be watched: error ", -watch);
        return;
    }
    watch_ = watch;
    if (!parent.empty()) inotify_->add(parent, itself);
}

void FolderWatch::readEvents() {
    for (const Event& each : inotify_->read())
        handle(each);
    if ((everything_ || !names_.empty()) && !delay_.isActive()) delay_.start();
}

void FolderWatch::handle(const Event& event) {
    if ((event.mask & IN_Q_OVERFLOW) != 0) {
        log(LogArea::desktop, "inotify queue overflow: reading the whole folder");
        everything_ = true;
    } else if (event.watch == watch_ && (event.mask & (arrivals | departures | changes)) != 0) {
        if (isUnnamed(event.name)) everything_ = true;
        // Changes of the folder's own attributes have no name.
        if (!event.name.empty() && !event.name.starts_with('.')) names_.insert(event.name);
        if (names_.size() > maxNames) everything_ = true;
    } else if (event.watch == watch_ ||
               std::find(ancestors_.begin(), ancestors_.end(), event.watch) != ancestors_.end()) {
        const int before = watch_;
        addWatches();
        // Otherwise an unrelated folder was created beside the path.
        everything_ = everything_ || before >= 0 || watch_ >= 0;
    }
}

void FolderWatch::report() {
    FolderChanges changes;
    changes.everything = std::exchange(everything_, false);
    for (const std::string& each : std::exchange(names_, {}))
        changes.urls.push_back(folder_ / each);
    if (changes.everything) changes.urls.clear();
    if (changed_) changed_(changes);
}

}  // namespace lumicrate::desktop
