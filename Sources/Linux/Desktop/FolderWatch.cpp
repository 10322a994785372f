#include "Linux/Desktop/FolderWatch.h"

#include <sys/inotify.h>

#include <QObject>
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <utility>

namespace lumicrate::desktop {

namespace {

/// What happens within this time is told together.
constexpr std::chrono::milliseconds gathering{150};
/// When more than this has changed, reading all is less work.
constexpr std::size_t mostNames = 1000;

constexpr std::uint32_t itself = IN_DELETE_SELF | IN_MOVE_SELF;
constexpr std::uint32_t arrivals = IN_CREATE | IN_MOVED_TO;
constexpr std::uint32_t departures = IN_DELETE | IN_MOVED_FROM;
constexpr std::uint32_t changes = IN_CLOSE_WRITE | IN_ATTRIB;

/// The folders that lead to one, from the root.
std::vector<std::filesystem::path> pathTo(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> path;
    std::filesystem::path next;
    for (const std::filesystem::path& part : folder) {
        next /= part;
        path.push_back(next);
    }
    path.pop_back();
    return path;
}

/// A file that was made without a name is reported as "#" and its number even after it was given one.
bool isUnnamed(const std::string& name) {
    return name.size() > 1 && name.front() == '#' &&
           std::all_of(name.begin() + 1, name.end(),
                       [](unsigned char each) { return std::isdigit(each) != 0; });
}

}  // namespace

FolderWatch::FolderWatch(const std::filesystem::path& folder)
    : folder_(std::filesystem::absolute(folder).lexically_normal()),
      notifier_(inotify_.descriptor(), QSocketNotifier::Read) {
    if (!folder_.has_filename()) folder_ = folder_.parent_path();
    QObject::connect(&notifier_, &QSocketNotifier::activated, &notifier_, [this] { take(); });
    delay_.setSingleShot(true);
    delay_.setInterval(gathering);
    QObject::connect(&delay_, &QTimer::timeout, &delay_, [this] { tell(); });
    aim();
}

/// Each folder is watched for arrivals until the next one is known to be there, so that none can slip in
/// between.
void FolderWatch::aim() {
    for (const int each : std::exchange(leading_, {}))
        inotify_.remove(each);
    if (watch_ >= 0) inotify_.remove(std::exchange(watch_, -1));
    const auto isMissing = [](int watch) { return watch == -ENOENT || watch == -ENOTDIR; };
    std::filesystem::path before;
    for (const std::filesystem::path& each : pathTo(folder_)) {
        const int watch = inotify_.add(each, itself | arrivals);
        if (isMissing(watch)) return;
        if (!before.empty()) inotify_.add(before, itself);
        // One that must not be read can still be passed through.
        before = watch >= 0 ? each : std::filesystem::path();
        if (watch >= 0) leading_.push_back(watch);
    }
    const int watch = inotify_.add(folder_, itself | arrivals | departures | changes);
    if (watch < 0) return;
    watch_ = watch;
    if (!before.empty()) inotify_.add(before, itself);
}

void FolderWatch::take() {
    for (const Inotify::Event& each : inotify_.read())
        take(each);
    if ((everything_ || !names_.empty()) && !delay_.isActive()) delay_.start();
}

void FolderWatch::take(const Inotify::Event& event) {
    if ((event.mask & IN_Q_OVERFLOW) != 0) {
        everything_ = true;
    } else if (event.watch == watch_ && (event.mask & (arrivals | departures | changes)) != 0) {
        // The folder's own attributes come without a name.
        if (isUnnamed(event.name)) everything_ = true;
        if (!event.name.empty() && !event.name.starts_with('.')) names_.insert(event.name);
        if (names_.size() > mostNames) everything_ = true;
    } else if (event.watch == watch_ ||
               std::find(leading_.begin(), leading_.end(), event.watch) != leading_.end()) {
        const int before = watch_;
        aim();
        // Something else may have arrived beside the way.
        everything_ = everything_ || before >= 0 || watch_ >= 0;
    }
}

void FolderWatch::tell() {
    FolderChanges changes;
    changes.everything = std::exchange(everything_, false);
    for (const std::string& each : std::exchange(names_, {}))
        changes.urls.push_back(folder_ / each);
    if (changes.everything) changes.urls.clear();
    if (changed_) changed_(changes);
}

}  // namespace lumicrate::desktop
