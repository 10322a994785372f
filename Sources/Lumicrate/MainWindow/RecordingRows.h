// RecordingRows: the recordings as the main window lists them, and what can be done with them there.
#pragma once

#include "Lumicrate/Library/Recording.h"
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

/// Texts of a row are made when they are asked for: of thousands, a dozen are seen. Main thread.
class RecordingRows {
 public:
    using Urls = std::vector<std::filesystem::path>;

    struct Services {
        RecordingLibrary& library;
        RecordingFiles files;
        NSWorkspace& workspace;
        /// A moment for people, in the user's time zone.
        std::function<std::string(std::chrono::system_clock::time_point)> formatDate;
        std::function<void(const std::string&)> complain;  ///< told why something could not be done
    };

    /// What stands in one row.
    struct Row {
        std::filesystem::path url;
        std::string name;   ///< of the file, without its extension
        std::string facts;  ///< "01:05 · 3.4 MB · 5 May 2024, 14:03"; a length that is not known is left out
        bool isNew = false;
        bool isSound = false;  ///< there is no picture to show
    };

    explicit RecordingRows(Services services);
    RecordingRows(const RecordingRows&) = delete;
    RecordingRows& operator=(const RecordingRows&) = delete;

    std::size_t count() const { return recordings_.size(); }
    const Recording& recording(std::size_t row) const { return recordings_[row]; }
    Row row(std::size_t row) const;
    Urls urls() const;

    /// `changed` is called after rows came, went or changed.
    [[nodiscard]] Subscription observe(std::function<void()> changed) const {
        return changes_.add(std::move(changed));
    }

    void open(const std::filesystem::path& url);
    void play(const std::filesystem::path& url);
    void reveal(const Urls& urls);
    void moveToTrash(const Urls& urls);
    /// Gives a recording the name that somebody typed, without the extension. Where it is then, or nothing
    /// when it keeps its name.
    std::optional<std::filesystem::path> rename(const std::filesystem::path& url, std::string_view typed);

    /// What only the interface can do.
    struct InterfaceActions {
        std::function<void()> beginRename;
        std::function<void()> copy;
    };
    /// The menu for these recordings, one at least.
    std::vector<MenuItem> menu(const Urls& urls, const InterfaceActions& interface);

 private:
    const Recording* find(const std::filesystem::path& url) const;
    void attempt(const std::function<void()>& action);

    Services services_;
    // As they are about to be: announcements come before the change.
    std::vector<Recording> recordings_;
    std::set<std::filesystem::path> unopened_;
    mutable Observers<> changes_;
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate
