// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/MainWindow/RecordingRows.h"

#include "Lumicrate/Library/DerivedFiles.h"
#include "Support/Error.h"
#include "Support/Text.h"

#include <algorithm>
#include <exception>
#include <unordered_set>

namespace lumicrate {

namespace {

/// The ranges of `list` that `other` lacks. Appends the common paths to `common`.
std::vector<RowChanges::Range> missingRanges(const RecordingRows::Urls& list,
                                             const RecordingRows::Urls& other,
                                             std::vector<std::string_view>& common) {
    std::unordered_set<std::string_view> others;
    for (const auto& each : other)
        others.insert(each.native());
    std::vector<RowChanges::Range> ranges;
    for (std::size_t row = 0; row < list.size(); ++row) {
        if (others.contains(list[row].native())) {
            common.push_back(list[row].native());
        } else if (!ranges.empty() && ranges.back().first + ranges.back().count == row) {
            ++ranges.back().count;
        } else {
            ranges.push_back({row, 1});
        }
    }
    return ranges;
}

}  // namespace

RecordingRows::RecordingRows(Services services)
    : services_(std::move(services)),
      recordings_(*services_.library.recordings),
      unopened_(*services_.library.unopened) {
    const auto follow = [this](const auto& published, auto& kept) {
        subscriptions_.push_back(published.observe([this, &kept](const auto& coming) {
            kept = coming;
            changes_.notify();
        }));
    };
    follow(services_.library.recordings, recordings_);
    follow(services_.library.unopened, unopened_);
}

RecordingRows::Row RecordingRows::row(std::size_t index) const {
    constexpr std::string_view separator = " · ";
    const Recording& recording = recordings_[index];
    Row row;
    row.url = recording.url;
    row.name = recording.url.stem().string();
    if (recording.duration) row.facts = formatElapsed(*recording.duration).append(separator);
    row.facts += formatByteCount(recording.size);
    if (recording.created != std::chrono::system_clock::time_point::min())
        row.facts.append(separator).append(services_.formatDate(recording.created));
    row.isNew = unopened_.contains(recording.url);
    row.isSound = lowercaseExtension(recording.url) == "m4a";
    return row;
}

RecordingRows::Urls RecordingRows::urls() const {
    Urls all;
    all.reserve(recordings_.size());
    for (const Recording& each : recordings_)
        all.push_back(each.url);
    return all;
}

const Recording* RecordingRows::find(const std::filesystem::path& url) const {
    const auto found = std::ranges::find(recordings_, url, &Recording::url);
    return found == recordings_.end() ? nullptr : &*found;
}

void RecordingRows::attempt(const std::function<void()>& action) {
    try {
        action();
    } catch (const LocalizedError& error) {
        services_.reportError(error.what());
    }
}

void RecordingRows::open(const std::filesystem::path& url) {
    if (const Recording* found = find(url))
        attempt([&, recording = *found] { services_.library.open(recording); });
}

void RecordingRows::play(const std::filesystem::path& url) {
    if (const Recording* found = find(url))
        attempt([&, recording = *found] { services_.library.openInQuickTime(recording); });
}

void RecordingRows::reveal(const Urls& urls) {
    attempt([&] { services_.workspace.activateFileViewerSelecting(urls); });
}

void RecordingRows::moveToTrash(const Urls& urls) {
    for (const std::filesystem::path& url : urls) {
        attempt([&] {
            services_.files.moveToTrash(url);
            services_.library.markOpened(url);
        });
    }
}

std::optional<std::filesystem::path> RecordingRows::rename(const std::filesystem::path& url,
                                                           std::string_view typed) {
    std::optional<std::filesystem::path> destination;
    const bool wasNew = unopened_.contains(url);
    attempt([&] { destination = services_.files.rename(url, typed); });
    // Otherwise the new name would make it an unopened recording again.
    if (destination && !wasNew) services_.library.markOpened(*destination);
    return destination;
}

std::vector<MenuItem> RecordingRows::menu(const Urls& urls, const InterfaceActions& interface) {
    const bool single = urls.size() == 1;
    const std::filesystem::path first = urls.front();
    std::vector<MenuItem> items;
    items.push_back(MenuItem::command(
        localized("Open"), [this, first] { open(first); }, single));
    items.push_back(MenuItem::command(
        localized("Play in Default Player"), [this, first] { play(first); }, single));
    items.push_back(MenuItem::line());
    items.push_back(MenuItem::command(localized("Rename"), interface.beginRename, single));
    items.push_back(
        MenuItem::command(single ? localized("Copy File") : localized("Copy Files"), interface.copy));
    items.push_back(MenuItem::command(localized("Show in File Viewer"), [this, urls] { reveal(urls); }));
    items.push_back(MenuItem::line());
    items.push_back(MenuItem::command(localized("Move to Trash"), [this, urls] { moveToTrash(urls); }));
    return items;
}

std::optional<RowChanges> rowChanges(const RecordingRows::Urls& before, const RecordingRows::Urls& after) {
    if (before == after) return RowChanges{};
    std::vector<std::string_view> commonBefore;
    std::vector<std::string_view> commonAfter;
    RowChanges changes;
    changes.removed = missingRanges(before, after, commonBefore);
    changes.inserted = missingRanges(after, before, commonAfter);
    if (commonBefore != commonAfter) return std::nullopt;
    std::reverse(changes.removed.begin(), changes.removed.end());
    return changes;
}

}  // namespace lumicrate
