// SPDX-License-Identifier: GPL-3.0-or-later
// PreviewModel: everything that one preview window shows, and what it does with its recording.
#pragma once

#include "Lumicrate/Preview/GIFExporter.h"
#include "Lumicrate/Preview/PlayerModel.h"
#include "Lumicrate/Preview/RecordingFiles.h"
#include "Lumicrate/Preview/StripPictures.h"
#include "Lumicrate/Preview/ZoomBlocks.h"
#include "Platform/AVAsset.h"
#include "Platform/AVCompactExport.h"
#include "Platform/AVVideoComposition.h"
#include "Platform/NSAlert.h"
#include "Platform/NSFileManager.h"
#include "Platform/NSUserDefaults.h"
#include "Platform/NSWorkspace.h"
#include "Support/DispatchQueue.h"
#include "Support/Executor.h"
#include "Support/Notifications.h"
#include "Support/Published.h"
#include "Support/Task.h"
#include "Support/Text.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

namespace lumicrate {

/// At most one long operation (saving a trim, making a GIF) runs at a time; `busy` is set meanwhile, and
/// other operations on the file are ignored. Main thread.
class PreviewModel {
 public:
    /// All references must outlive the model.
    struct Services {
        Executor& executor;
        const AVAssets& assets;
        const ImageIO& images;
        const AVCompactExport& compactExport;
        const AVVideoCompositionExport& composition;
        NSFileManager& files;
        NSUserDefaults& defaults;
        NotificationCenter& notifications;
        NSWorkspace& workspace;
        AVPlayerFactory makePlayer;
        DispatchQueueFactory makeQueue;
        /// Watches the folder of the recording; null where folders cannot be watched.
        std::function<std::unique_ptr<FolderWatch>(const std::filesystem::path& folder)> watchFolder;
    };

    struct GIFChoice {
        const char* title;
        double width;
    };
    static constexpr std::array gifChoices = {GIFChoice{translatable("Small (480 px wide)"), 480},
                                              GIFChoice{translatable("Medium (640 px wide)"), 640},
                                              GIFChoice{translatable("Large (960 px wide)"), 960}};
    /// The largest sizes of files that are offered: what messengers and trackers usually accept. Bytes.
    static constexpr std::array<std::uint64_t, 5> sizeLimits = {3'000'000, 5'000'000, 8'000'000, 10'000'000,
                                                                25'000'000};
    /// A choice of the GIF menu.
    struct Animation {
        AnimationEncoding::Format format = AnimationEncoding::Format::gif;
        double width = 640;
        std::uint64_t maxBytes = 0;  ///< 0 for any; otherwise the width is chosen for it
    };

    PreviewModel(Services services, std::filesystem::path url);
    ~PreviewModel();
    PreviewModel(const PreviewModel&) = delete;
    PreviewModel& operator=(const PreviewModel&) = delete;

    Published<std::filesystem::path> url;
    Published<std::string> info;
    Published<std::optional<Size>> videoSize;  ///< pixels, as presented; none for sound and until it is known
    Published<bool> hasData;                   ///< the file has recorded input
    Published<std::optional<std::string>> busy;
    Published<double> progress;  ///< 0 … 1 of what is busy
    Published<std::optional<std::string>> errorMessage;
    Published<bool> renaming;
    Published<std::string> newName;
    PlayerModel playerView;
    StripPictures strip;
    ZoomBlocks zoom;

    /// Set by the window.
    NSAlertSheet showSheet;
    std::function<void()> closeWindow;
    /// Called once when the size of the first file is known, or that it has none or cannot be read.
    std::function<void()> onMeasured;

    /// Opens the file in the player, and reads its facts.
    void load();
    void beginRename();
    void commitRename();
    void trim();
    void resetTrim();
    void exportGIF(double width) { exportAnimation({.width = width}); }
    void exportAnimation(const Animation& animation);
    /// Makes a copy of at most that many bytes beside the recording, and shows it in its folder.
    void shareSmallCopy(std::uint64_t maxBytes);
    /// Takes the recorded input out of the file, in place.
    void removeData();
    /// Offers the zooms to the clicks of the recording for editing, until zoom.end().
    void beginZoom();
    /// Makes a copy with the zooms as they are, and shows it in its folder; editing goes on.
    void saveZoomedCopy();
    /// Ends the long operation; nothing is left of it.
    void cancel();
    void openInQuickTime();
    void showInFolder();
    void moveToTrash();

 private:
    Task<void> describe(std::filesystem::path url);
    void measured();
    void askHowToSaveTrim(CMTimeRange range);
    Task<void> saveTrim(CMTimeRange range, bool replacing, bool precise);
    Task<void> copyWithoutData();
    Task<void> makeGIF(Animation animation);
    Task<void> makeSmallCopy(std::uint64_t maxBytes);
    Task<void> readInput(std::filesystem::path url);
    Task<void> makeZoomedCopy();
    /// Runs `work` in the background with progress, and shows the file that it returns in its folder, or a
    /// sentence that begins with `prefix`.
    Task<void> makeFile(std::string label, std::string prefix,
                        std::function<std::filesystem::path(const LongWork&)> work);
    LongWork beginWork(const std::string& label);
    void endWork(const std::string& failure);
    void attempt(const std::function<void()>& operation);
    void followFile(const FolderChanges& changes);

    Services services_;
    RecordingFiles recordingFiles_;
    NSFileEntry shown_;  ///< the file as it was when it was loaded
    std::stop_source stop_;
    std::unique_ptr<DispatchQueue> readQueue_;
    std::unique_ptr<DispatchQueue> workQueue_;
    std::unique_ptr<FolderWatch> watch_;
    RunningTask describing_;
    RunningTask readingInput_;
    RunningTask working_;
};

}  // namespace lumicrate
