// RecordingFolder: where recordings are kept, how they are named, and which of them are being written.
#pragma once

#include "Platform/NSFileManager.h"

#include <filesystem>
#include <memory>
#include <set>
#include <string>

namespace lumicrate {

/// The folder "Lumicrate" in the user's Movies folder. Main thread only.
class RecordingFolder {
 public:
    enum class Kind { screen, audio, webcam };

    /// A file that is being written, for as long as this lives. It may outlive the folder.
    class InProgress {
     public:
        InProgress(InProgress&&) noexcept = default;
        InProgress& operator=(InProgress&& other) noexcept;
        InProgress(const InProgress&) = delete;
        InProgress& operator=(const InProgress&) = delete;
        ~InProgress();

        const std::filesystem::path& url() const { return url_; }

     private:
        friend class RecordingFolder;
        using Urls = std::multiset<std::filesystem::path>;
        InProgress(std::shared_ptr<Urls> urls, std::filesystem::path url);

        std::shared_ptr<Urls> urls_;
        std::filesystem::path url_;
    };

    /// Both must outlive the folder.
    RecordingFolder(NSFileManager& files, const NSCalendar& calendar);

    const std::filesystem::path& folder() const { return folder_; }
    /// A path of the folder where no file is yet, named after the kind and the present second; the folder
    /// then exists, the file does not. Throws PlatformError when the folder cannot be made.
    std::filesystem::path newRecordingURL(Kind kind, const std::string& fileExtension);

    [[nodiscard]] InProgress markInProgress(const std::filesystem::path& url);
    bool isInProgress(const std::filesystem::path& url) const { return inProgress_->contains(url); }

    /// Whether a file's extension, in capitals or not, is one that recordings have.
    static bool isMovie(const std::filesystem::path& url);

 private:
    NSFileManager& files_;
    const NSCalendar& calendar_;
    std::filesystem::path folder_;
    std::shared_ptr<InProgress::Urls> inProgress_ = std::make_shared<InProgress::Urls>();
};

}  // namespace lumicrate
