// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Library/RecordingFolder.h"

#include "Lumicrate/Library/DerivedFiles.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Support/Error.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>
#include <utility>

namespace lumicrate {

namespace {

constexpr std::array<std::string_view, 4> movieExtensions = {"mp4", "mov", "m4v", "m4a"};

std::string_view prefix(RecordingFolder::Kind kind) {
    switch (kind) {
        case RecordingFolder::Kind::screen:
            return "Recording-Screen";
        case RecordingFolder::Kind::audio:
            return "Recording-Audio";
        case RecordingFolder::Kind::webcam:
            return "Recording-Webcam";
        case RecordingFolder::Kind::replay:
            break;
    }
    return "Recording-Replay";
}

/// Names sort in the order of time.
std::string fileDate(const DateComponents& date) {
    std::array<char, 96> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02d_%02d.%02d.%02d", date.year, date.month, date.day,
                  date.hour, date.minute, date.second);
    return text.data();
}

}  // namespace

RecordingFolder::InProgress::InProgress(std::shared_ptr<Urls> urls, std::filesystem::path url)
    : urls_(std::move(urls)), url_(std::move(url)) {
    urls_->insert(url_);
}

RecordingFolder::InProgress& RecordingFolder::InProgress::operator=(InProgress&& other) noexcept {
    std::swap(urls_, other.urls_);
    std::swap(url_, other.url_);
    return *this;
}

RecordingFolder::InProgress::~InProgress() {
    if (!urls_) return;
    if (const auto found = urls_->find(url_); found != urls_->end()) urls_->erase(found);
}

RecordingFolder::RecordingFolder(NSFileManager& files, const NSCalendar& calendar, NSUserDefaults& defaults)
    : files_(files), calendar_(calendar), defaults_(defaults) {
    current = stored();
    defaultsChanges_ = defaults_.observe([this] {
        if (const std::filesystem::path now = stored(); now != *current) current = now;
    });
}

/// A relative path would depend on where the program was started.
std::filesystem::path RecordingFolder::stored() const {
    const std::filesystem::path chosen = defaults_.stringForKey(preference::recordingsFolder).value_or("");
    return chosen.is_absolute() ? chosen : files_.moviesDirectory() / "Lumicrate";
}

void RecordingFolder::choose(const std::filesystem::path& folder) {
    files_.createDirectory(folder);
    if (!files_.isWritableDirectory(folder))
        throw LocalizedError(localized("Recordings can't be written to this folder."));
    defaults_.set(preference::recordingsFolder, folder.string());
}

std::filesystem::path RecordingFolder::newRecordingURL(Kind kind, const std::string& fileExtension) {
    files_.createDirectory(folder());
    std::filesystem::path wanted = folder() / (std::string(prefix(kind)) + "_" + fileDate(calendar_.now()));
    wanted += "." + fileExtension;
    return uniqueURL(files_, wanted);
}

RecordingFolder::InProgress RecordingFolder::markInProgress(const std::filesystem::path& url) {
    return {inProgress_, url};
}

bool RecordingFolder::isMovie(const std::filesystem::path& url) {
    const std::string fileExtension = lowercaseExtension(url);
    return std::find(movieExtensions.begin(), movieExtensions.end(), fileExtension) != movieExtensions.end();
}

}  // namespace lumicrate
