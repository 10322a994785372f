// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Preview/PreviewModel.h"

#include "Lumicrate/Library/DerivedFiles.h"
#include "Lumicrate/Movie/InputRemoval.h"
#include "Lumicrate/Preview/FittedGIF.h"
#include "Lumicrate/Preview/SmallCopy.h"
#include "Lumicrate/Preview/Trimming.h"
#include "Lumicrate/Zoom/ZoomedCopy.h"
#include "Support/Error.h"
#include "Support/LongWork.h"
#include "Support/Text.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <utility>
#include <vector>

namespace lumicrate {

namespace {

constexpr std::string_view preciseTrimKey = "preciseTrim";
constexpr double gifFramesPerSecond = 12;

enum TrimButton : std::size_t { saveAsNewCopy, replaceOriginal, cancelTrim };

NSAlert trimAlert(const CMTimeRange& range, bool isSound, bool isPrecise) {
    NSAlert alert;
    alert.messageText = localized("Save the trimmed recording?");
    alert.informativeText = localized(
        "Keeps {} to {}.", {formatElapsed(range.start.seconds()), formatElapsed(range.end.seconds())});
    alert.buttons = {localized("Save as New Copy"), localized("Replace Original"), localized("Cancel")};
    if (isSound) return alert;
    alert.accessory = {localized("Precise cut (re-encodes, takes longer)"),
                       localized("A fast cut can only start on a keyframe, so it may keep up to 2 seconds of "
                                 "hidden lead-in. A precise cut starts exactly where you chose."),
                       isPrecise};
    return alert;
}

}  // namespace

PreviewModel::PreviewModel(Services services, std::filesystem::path shown)
    : url(std::move(shown)),
      playerView(services.makePlayer, services.defaults),
      strip(services.executor, services.assets, services.images,
            services.makeQueue("Lumicrate.preview.strip")),
      services_(std::move(services)),
      recordingFiles_(services_.files, services_.notifications),
      readQueue_(services_.makeQueue("Lumicrate.preview.read")),
      workQueue_(services_.makeQueue("Lumicrate.preview.work")) {
    if (services_.watchFolder) watch_ = services_.watchFolder(url->parent_path());
    if (watch_) watch_->setOnChange([this](const FolderChanges& changes) { followFile(changes); });
}

PreviewModel::~PreviewModel() {
    // The queues wait for their work.
    stop_.request_stop();
}

void PreviewModel::load() {
    shown_ = services_.files.attributes(*url);
    readingInput_.cancel();
    zoom.end();
    playerView.open(*url);
    describing_ = RunningTask(services_.executor, describe(*url));
}

/// The facts and the window's size need only the head of the file; in foreign movies, the times of the
/// pictures can need all of it.
Task<void> PreviewModel::describe(std::filesystem::path described) {
    const std::function<AVAssetSummary()> summarizing = [&assets = services_.assets, described] {
        return assets.summary(described);
    };
    const std::function<std::vector<CMTime>()> timing = [&assets = services_.assets, described] {
        return assets.pictureTimes(described);
    };
    try {
        Task<AVAssetSummary> summarized =
            inBackground<AVAssetSummary>(services_.executor, *readQueue_, summarizing);
        const AVAssetSummary summary = co_await summarized;
        info = describeRecording(described, summary, services_.files.attributes(described).size);
        videoSize = summary.videoSize;
        hasData = summary.recordedInput;
        measured();
        Task<std::vector<CMTime>> timed =
            inBackground<std::vector<CMTime>>(services_.executor, *readQueue_, timing);
        const std::vector<CMTime> times = co_await timed;
        playerView.setPictures(PictureTable(times, CMTime::fromSeconds(summary.duration)));
        strip.read(described, summary);
    } catch (const LocalizedError& error) {
        info = "";
        errorMessage = error.what();
        measured();
    }
}

void PreviewModel::measured() {
    if (const auto tell = std::exchange(onMeasured, nullptr)) tell();
}

void PreviewModel::beginRename() {
    if (*busy) return;
    newName = url->stem().string();
    renaming = true;
}

void PreviewModel::commitRename() {
    renaming = false;
    if (*busy) return;
    attempt([this] {
        const auto destination = recordingFiles_.rename(*url, *newName);
        if (!destination) return;
        const CMTime time = playerView.time();
        url = *destination;
        load();
        playerView.seek(time);
    });
}

void PreviewModel::trim() {
    if (*busy || zoom.isEditing()) return;
    playerView.beginTrimming([this](std::optional<CMTimeRange> range) {
        if (range) askHowToSaveTrim(*range);
    });
}

void PreviewModel::resetTrim() {
    playerView.resetTrim();
}

void PreviewModel::askHowToSaveTrim(CMTimeRange range) {
    const bool isSound = lowercaseExtension(*url) == "m4a";
    showSheet(trimAlert(range, isSound, services_.defaults.boolForKey(preciseTrimKey)),
              [this, range, isSound](NSAlertResponse response) {
                  if (response.button == cancelTrim) return resetTrim();
                  const bool precise = !isSound && response.isChecked;
                  // A preference that cannot be written must not stop the saving.
                  if (!isSound) attempt([&] { services_.defaults.set(preciseTrimKey, precise); });
                  working_ = RunningTask(services_.executor,
                                         saveTrim(range, response.button == replaceOriginal, precise));
              });
}

Task<void> PreviewModel::saveTrim(CMTimeRange range, bool replacing, bool precise) {
    const LongWork work = beginWork(precise ? localized("Trimming precisely…") : localized("Trimming…"));
    const Trimming::Request request{*url, range, precise, replacing};
    const std::function<std::filesystem::path()> saving = [&assets = services_.assets,
                                                           &files = services_.files, request, work] {
        return Trimming(assets, files).save(request, work);
    };
    std::string failure;
    try {
        Task<std::filesystem::path> saved =
            inBackground<std::filesystem::path>(services_.executor, *workQueue_, saving);
        url = co_await saved;
        load();
        services_.notifications.post(recordingsChangedNotification);
    } catch (const CancelledError&) {
        load();
    } catch (const LocalizedError&) {
        failure = Trimming::message(std::current_exception());
        load();
    }
    endWork(failure);
}

void PreviewModel::exportAnimation(const Animation& animation) {
    if (!*busy) working_ = RunningTask(services_.executor, makeGIF(animation));
}

Task<void> PreviewModel::makeGIF(Animation animation) {
    const bool isWebP = animation.format == AnimationEncoding::Format::webp;
    std::filesystem::path wanted = *url;
    wanted.replace_extension(isWebP ? "webp" : "gif");
    const std::filesystem::path destination = uniqueURL(services_.files, wanted);
    GIFSize size = animation.maxBytes > 0 ? maxFittedSize : GIFSize{animation.width, gifFramesPerSecond};
    size.encoding.format = animation.format;
    const auto making = [&assets = services_.assets, &images = services_.images, &files = services_.files,
                         source = *url, destination, size, limit = animation.maxBytes](const LongWork& work) {
        if (limit > 0)
            exportFittedGIF(assets, images, files, source, destination, size, limit, work);
        else
            lumicrate::exportGIF(assets, images, source, destination, size, work);
        return destination;
    };
    return makeFile(isWebP ? localized("Making WebP…") : localized("Making GIF…"),
                    isWebP ? localized("Couldn't make the WebP: ") : localized("Couldn't make the GIF: "),
                    making);
}

void PreviewModel::shareSmallCopy(std::uint64_t maxBytes) {
    if (!*busy) working_ = RunningTask(services_.executor, makeSmallCopy(maxBytes));
}

Task<void> PreviewModel::makeSmallCopy(std::uint64_t maxBytes) {
    const auto making = [&assets = services_.assets, &exporter = services_.compactExport,
                         &files = services_.files, source = *url, maxBytes](const LongWork& work) {
        return SmallCopy(assets, exporter, files).save(source, {}, maxBytes, work);
    };
    return makeFile(localized("Making a small copy…"), localized("Couldn't make the small copy: "), making);
}

void PreviewModel::removeData() {
    if (!*busy) working_ = RunningTask(services_.executor, copyWithoutData());
}

Task<void> PreviewModel::copyWithoutData() {
    const LongWork work = beginWork(localized("Removing the data…"));
    const std::function<bool()> removing = [&assets = services_.assets, &files = services_.files,
                                            source = *url, work] {
        return removeRecordedInput(assets, files, source, work);
    };
    std::string failure;
    try {
        Task<bool> removed = inBackground<bool>(services_.executor, *workQueue_, removing);
        co_await removed;
        load();
        services_.notifications.post(recordingsChangedNotification);
    } catch (const CancelledError&) {
    } catch (const LocalizedError& error) {
        failure = localized("Couldn't remove the data: ") + error.what();
    }
    endWork(failure);
}

void PreviewModel::beginZoom() {
    const bool isPossible = playerView.canTrim() && videoSize->has_value() && !*playerView.trim;
    if (isPossible && !*busy && !zoom.isEditing())
        readingInput_ = RunningTask(services_.executor, readInput(*url));
}

Task<void> PreviewModel::readInput(std::filesystem::path read) {
    const std::function<std::vector<RecordedInput>()> reading = [&assets = services_.assets, read] {
        return assets.recordedInput(read);
    };
    try {
        Task<std::vector<RecordedInput>> inputRead =
            inBackground<std::vector<RecordedInput>>(services_.executor, *readQueue_, reading);
        std::vector<RecordedInput> input = co_await inputRead;
        // Something else may have begun meanwhile.
        if (!*busy && !*playerView.trim)
            zoom.begin(std::move(input), playerView.pictures().duration().seconds());
    } catch (const LocalizedError& error) {
        errorMessage = error.what();
    }
}

void PreviewModel::saveZoomedCopy() {
    if (!*busy && zoom.isEditing()) working_ = RunningTask(services_.executor, makeZoomedCopy());
}

Task<void> PreviewModel::makeZoomedCopy() {
    const auto making = [&composition = services_.composition, &files = services_.files, source = *url,
                         plan = zoom.plan()](const LongWork& work) {
        return ZoomedCopy(composition, files).save(source, {}, plan, work);
    };
    return makeFile(localized("Making a zoomed copy…"), localized("Couldn't make the zoomed copy: "), making);
}

Task<void> PreviewModel::makeFile(std::string label, std::string prefix,
                                  std::function<std::filesystem::path(const LongWork&)> make) {
    const LongWork work = beginWork(label);
    const std::function<std::filesystem::path()> making = [make = std::move(make), work] {
        return make(work);
    };
    std::string failure;
    try {
        Task<std::filesystem::path> made =
            inBackground<std::filesystem::path>(services_.executor, *workQueue_, making);
        const std::filesystem::path file = co_await made;
        services_.workspace.activateFileViewerSelecting({file});
    } catch (const CancelledError&) {
    } catch (const LocalizedError& error) {
        failure = prefix + error.what();
    }
    endWork(failure);
}

LongWork PreviewModel::beginWork(const std::string& label) {
    playerView.pause();
    stop_ = std::stop_source();
    progress = 0;
    errorMessage = std::nullopt;
    busy = label;
    const auto report = [&executor = services_.executor, stop = stop_.get_token(), this](double fraction) {
        executor.post([this, stop, fraction] {
            if (!stop.stop_requested()) progress = fraction;
        });
    };
    return {report, stop_.get_token()};
}

void PreviewModel::endWork(const std::string& failure) {
    // Reports that are still on their way find that it is over.
    stop_.request_stop();
    if (!failure.empty()) errorMessage = failure;
    busy = std::nullopt;
}

void PreviewModel::cancel() {
    stop_.request_stop();
}

void PreviewModel::openInQuickTime() {
    playerView.pause();
    attempt([this] { services_.workspace.openURL(*url); });
}

void PreviewModel::showInFolder() {
    attempt([this] { services_.workspace.activateFileViewerSelecting({*url}); });
}

void PreviewModel::moveToTrash() {
    if (*busy) return;
    playerView.detach();
    try {
        recordingFiles_.moveToTrash(*url);
    } catch (const LocalizedError& error) {
        errorMessage = error.what();
        return load();
    }
    closeWindow();
}

void PreviewModel::attempt(const std::function<void()>& operation) {
    try {
        errorMessage = std::nullopt;
        operation();
    } catch (const LocalizedError& error) {
        errorMessage = error.what();
    }
}

/// Another program may rename, delete or replace the file at any time.
void PreviewModel::followFile(const FolderChanges& changes) {
    const bool isTouched =
        changes.everything || std::find(changes.urls.begin(), changes.urls.end(), *url) != changes.urls.end();
    if (!isTouched || *busy) return;
    if (!services_.files.fileExists(*url)) {
        describing_.cancel();
        readingInput_.cancel();
        zoom.end();
        playerView.detach();
        info = "";
        videoSize = std::nullopt;
        shown_ = {};
        errorMessage = localized("The recording was moved or deleted.");
        return;
    }
    const NSFileEntry now = services_.files.attributes(*url);
    if (now.size == shown_.size && now.created == shown_.created) return;
    errorMessage = std::nullopt;
    load();
}

}  // namespace lumicrate
