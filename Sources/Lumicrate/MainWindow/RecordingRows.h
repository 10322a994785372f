// SPDX-License-Identifier: GPL-3.0-or-later
// RecordingRows: the rows of the recordings list in the main window, and the actions on them.
#pragma once

#include "Lumicrate/Library/RecordingLibrary.h"
#include "Lumicrate/Preview/RecordingFiles.h"
#include "Lumicrate/Shell/MenuItem.h"
#include "Platform/NSWorkspace.h"
#include "Support/Published.h"

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lumicrate {

/// The texts of a row are made on request, because only a few of possibly thousands of rows are visible. Main
/// thread.
class RecordingRows {
 public:
    using Urls = std::vector<std::filesystem::path>;

    struct Services {
        RecordingLibrary& library;
        RecordingFiles files;
        NSWorkspace& workspace;
        /// Date and time for the user, in the local time zone.
        std::function<std::string(std::chrono::system_clock::time_point)> formatDate;
        std::function<void(const std::string&)> reportError;  ///< receives a sentence for the user
    };

    /// The content of one row.
    struct Row {
        std::filesystem::path url;
        std::string name;   ///< file name without extension
        std::string facts;  ///< "01:05 · 3.4 MB · 5 May 2024, 14:03"; leaves out what is unknown
        bool isNew = false;
        bool isSound = false;  ///< has no picture
    };

    explicit RecordingRows(Services services);
    RecordingRows(const RecordingRows&) = delete;
    RecordingRows& operator=(const RecordingRows&) = delete;

    std::size_t count() const { return recordings_.size(); }
    const Recording& recording(std::size_t row) const { return recordings_[row]; }
    Row row(std::size_t row) const;
    Urls urls() const;

    /// `changed` is called after any change of the rows.
    [[nodiscard]] Subscription observe(std::function<void()> changed) const {
        return changes_.add(std::move(changed));
    }

    void open(const std::filesystem::path& url);
    void play(const std::filesystem::path& url);
    void reveal(const Urls& urls);
    void moveToTrash(const Urls& urls);
    /// Renames the file to the typed name plus its extension. Returns the new path, or nothing if the name
    /// stays the same.
    std::optional<std::filesystem::path> rename(const std::filesystem::path& url, std::string_view typed);

    /// Menu actions that the view implements.
    struct InterfaceActions {
        std::function<void()> beginRename;
        std::function<void()> copy;
    };
    /// The context menu for these recordings, at least one.
    std::vector<MenuItem> menu(const Urls& urls, const InterfaceActions& interface);

 private:
    const Recording* find(const std::filesystem::path& url) const;
    void attempt(const std::function<void()>& action);

    Services services_;
    // Copies, because observers are notified before the value changes.
    std::vector<Recording> recordings_;
    std::set<std::filesystem::path> unopened_;
    mutable Observers<> changes_;
    std::vector<Subscription> subscriptions_;
};

/// How one list of rows becomes another, so that a view can keep its selection and scroll position: first
/// the removals, last rows first, then the insertions, first rows first. Every range is in the row numbers
/// that are valid when it is applied. From a, b, c to b, x: remove row 2, remove row 0, insert row 1.
struct RowChanges {
    struct Range {
        std::size_t first = 0;
        std::size_t count = 0;
        bool operator==(const Range&) const = default;
    };
    std::vector<Range> removed;
    std::vector<Range> inserted;
};

/// Neither list may contain a path twice. Returns nothing if the common paths are in a different order.
std::optional<RowChanges> rowChanges(const RecordingRows::Urls& before, const RecordingRows::Urls& after);

}  // namespace lumicrate
