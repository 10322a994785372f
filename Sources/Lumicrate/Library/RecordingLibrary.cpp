// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Library/RecordingLibrary.h"

#include "Support/Error.h"
#include "Support/Log.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace lumicrate {

namespace {

/// The keys refer to the strings in the list, which must outlive the map.
using ByUrl = std::unordered_map<std::string_view, std::size_t>;

ByUrl indexByUrl(const std::vector<Recording>& list) {
    ByUrl index(list.size());
    for (std::size_t i = 0; i < list.size(); ++i)
        index.emplace(list[i].url.native(), i);
    return index;
}

Recording toRecording(const NSFileEntry& entry) {
    Recording recording;
    recording.url = entry.url;
    if (entry.created) recording.created = *entry.created;
    recording.size = *entry.size;
    return recording;
}

void keepDuration(Recording& recording, const Recording& before) {
    if (before.size == recording.size) recording.duration = before.duration;
}

}  // namespace

RecordingLibrary::RecordingLibrary(Services services, Instant launchDate)
    : services_(std::move(services)),
      launchDate_(launchDate),
      durations_(
          services_.executor, std::move(services_.durations),
          [this]() -> const std::vector<Recording>& { return recordings.get(); },
          [this](const DurationReader::Results& results) { addDurations(results); }),
      self_(std::make_shared<RecordingLibrary*>(this)) {
    for (const std::string_view name : {recordingSavedNotification, recordingsChangedNotification}) {
        subscriptions_.push_back(
            services_.notifications.observe(name, [this](const NotificationCenter::Object&) { reload(); }));
    }
    subscriptions_.push_back(services_.folder.current.observe([this](const std::filesystem::path&) {
        // The new folder takes effect after this call.
        services_.executor.post([weak = std::weak_ptr(self_)] {
            const auto self = weak.lock();
            if (!self) return;
            (*self)->watchFolder();
            (*self)->reload();
        });
    }));
    watchFolder();
}

void RecordingLibrary::watchFolder() {
    watch_ = services_.makeWatch ? services_.makeWatch(services_.folder.folder()) : nullptr;
    if (watch_) watch_->setOnChange([this](const FolderChanges& changes) { follow(changes); });
}

void RecordingLibrary::reload() {
    std::vector<NSFileEntry> entries;
    try {
        entries = services_.files.contentsOfDirectory(services_.folder.folder());
    } catch (const LocalizedError&) {
        // Most likely the folder has not been created yet: an empty list.
    }
    const std::vector<Recording>& before = recordings.get();
    const ByUrl known = indexByUrl(before);
    std::vector<Recording> list;
    for (const NSFileEntry& each : entries) {
        if (!isListed(each)) continue;
        list.push_back(toRecording(each));
        if (const auto found = known.find(each.url.native()); found != known.end())
            keepDuration(list.back(), before[found->second]);
    }
    durations_.forgetFailures();
    log(LogArea::library, "folder read: ", list.size(), " recordings");
    publish(std::move(list));
}

/// Looks up only the reported files.
void RecordingLibrary::follow(const FolderChanges& changes) {
    if (changes.everything) return reload();
    std::vector<Recording> list = recordings.get();
    ByUrl known = indexByUrl(list);
    std::vector<Recording> added;
    std::set<std::size_t> gone;
    for (const std::filesystem::path& url : changes.urls) {
        if (!RecordingFolder::isMovie(url)) continue;
        const NSFileEntry entry = services_.files.attributes(url);
        const auto found = known.find(url.native());
        if (!isListed(entry)) {
            if (found != known.end()) gone.insert(found->second);
            continue;
        }
        durations_.forgetFailure(url);
        Recording now = toRecording(entry);
        if (found == known.end()) {
            added.push_back(std::move(now));
            continue;
        }
        Recording& before = list[found->second];
        keepDuration(now, before);
        before = std::move(now);
    }
    for (auto each = gone.rbegin(); each != gone.rend(); ++each)
        list.erase(list.begin() + static_cast<std::ptrdiff_t>(*each));
    std::move(added.begin(), added.end(), std::back_inserter(list));
    publish(std::move(list));
}

bool RecordingLibrary::isListed(const NSFileEntry& entry) const {
    return entry.size && RecordingFolder::isMovie(entry.url) && !services_.folder.isInProgress(entry.url);
}

void RecordingLibrary::publish(std::vector<Recording> list) {
    std::stable_sort(list.begin(), list.end(),
                     [](const Recording& a, const Recording& b) { return a.created > b.created; });
    markNew(list);
    recordings = std::move(list);
    durations_.start();
}

void RecordingLibrary::markNew(const std::vector<Recording>& list) {
    std::set<std::filesystem::path> marked = *unopened;
    for (auto each = list.begin(); each != list.end() && each->created > launchDate_; ++each) {
        if (!opened_.contains(each->url)) marked.insert(each->url);
    }
    if (marked != *unopened) unopened = std::move(marked);
}

/// Results are matched by path and size, because the list or a file may have changed in the meantime.
void RecordingLibrary::addDurations(const DurationReader::Results& results) {
    std::vector<Recording> list = recordings.get();
    const ByUrl known = indexByUrl(list);
    bool changed = false;
    for (const DurationReader::Result& each : results) {
        const auto found = known.find(each.url.native());
        if (!each.duration || found == known.end() || list[found->second].size != each.size) continue;
        list[found->second].duration = each.duration;
        changed = true;
    }
    if (changed) recordings = std::move(list);
}

void RecordingLibrary::markOpened(const std::filesystem::path& url) {
    opened_.insert(url);
    if (!unopened->contains(url)) return;
    std::set<std::filesystem::path> left = *unopened;
    left.erase(url);
    unopened = std::move(left);
}

void RecordingLibrary::open(const Recording& recording) {
    const std::filesystem::path url = recording.url;
    markOpened(url);
    services_.showPreview(url);
}

void RecordingLibrary::openInQuickTime(const Recording& recording) {
    const std::filesystem::path url = recording.url;
    markOpened(url);
    services_.workspace.openURL(url);
}

void RecordingLibrary::moveToTrash(const Recording& recording) {
    const std::filesystem::path url = recording.url;
    try {
        services_.files.trashItem(url);
        markOpened(url);
    } catch (const LocalizedError&) {
        services_.beep();
    }
    reload();
}

}  // namespace lumicrate
