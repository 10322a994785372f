// SPDX-License-Identifier: GPL-3.0-or-later
// Construction, the user's commands, and a recording from the moment it runs.
#include "Lumicrate/Recording/ScreenRecorder.h"

#include "Lumicrate/Overlays/Selection/AreaSelector.h"
#include "Lumicrate/Shortcuts/RecorderShortcuts.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace lumicrate {

using namespace std::chrono_literals;

namespace {

/// The elapsed time is shown in seconds; four updates a second keep it from visibly lagging behind.
constexpr auto elapsedInterval = 250ms;
/// How often the movie is kept up and the free space is checked, in intervals of the elapsed time.
constexpr int ticksPerCheck = 3;
/// How long a recording continues after its window was closed.
constexpr auto closedWindowTime = 1min;
constexpr std::string_view closedWindowWarning =
    translatable("The recorded window was closed. The recording ends in a minute.");

bool userStoppedSharing(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const SCStreamError& known) {
        return known.code() == SCStreamErrorUserStopped;
    } catch (...) {
        return false;
    }
}

Task<void> untilIdle(Executor& executor, const Published<ScreenRecorder::State>& state) {
    using State = ScreenRecorder::State;
    if (*state == State::idle) co_return;
    const Completion<bool> idle(executor);
    const Subscription watching = state.observe([idle](State next) {
        if (next == State::idle) idle.resolve(true);
    });
    co_await idle;
}

}  // namespace

ScreenRecorder::Parts::Parts(const Services& services)
    : lists(services.capture, services.devices, services.executor, services.process.processIdentifier()),
      inWindowCountdown(services.executor) {}

ScreenRecorder::ScreenRecorder(const Services& services)
    : ScreenRecorder(services, std::make_unique<Parts>(services)) {}

ScreenRecorder::ScreenRecorder(const Services& services, std::unique_ptr<Parts> parts)
    : displays(parts->lists.displays),
      windows(parts->lists.windows),
      microphones(parts->lists.microphones),
      cameras(parts->lists.cameras),
      countdownValue(parts->inWindowCountdown.value),
      services_(services),
      parts_(std::move(parts)),
      chooser_(services.overlays, services.screens, parts_->lists, services.picker),
      chrome_(services.overlays),
      self_(std::make_shared<ScreenRecorder*>(this)) {
    hasScreenAccess = services_.capture.CGPreflightScreenCaptureAccess();
    stateLog_ = state.observe([](State next) { log(LogArea::recorder, "state ", rawValue(next)); });
    if (WebcamBubbleShowing* webcam = services_.overlays.webcam) {
        webcam->setOnError([weak = std::weak_ptr(self_)](const std::string& message) {
            if (const auto self = weak.lock()) (*self)->errorMessage = message;
        });
        webcam->setOnWindowChange([weak = std::weak_ptr(self_)] {
            if (const auto self = weak.lock(); self && (*self)->recording_)
                (*self)->recording_->setOverlays((*self)->chrome_.windows());
        });
    }
    screenChanges_ = services_.screens.observe([this] { chrome_.screensChanged(services_.screens); });
    services_.hotKeys.setOnLayoutChange([weak = std::weak_ptr(self_)] {
        if (const auto self = weak.lock()) (*self)->registerHotKeys();
    });
    registerHotKeys();
}

ScreenRecorder::~ScreenRecorder() {
    chrome_.hide();
}

double ScreenRecorder::elapsedNow() const {
    return isActive() ? recording_->elapsed() : *elapsed;
}

std::optional<std::filesystem::path> ScreenRecorder::outputURL() const {
    return recording_ ? std::optional(recording_->url()) : std::nullopt;
}

std::uint64_t ScreenRecorder::refusedFrames() const {
    return recording_ ? recording_->refusedFrames() : lastRefusedFrames_;
}

RecordingOptions ScreenRecorder::options() const {
    if (studio_) return studio_->options();
    RecordingOptions options =
        optionsOverride_ ? *optionsOverride_ : RecordingOptions::current(services_.defaults);
    options.covers.insert(options.covers.end(), drawnCovers_.begin(), drawnCovers_.end());
    return options;
}

void ScreenRecorder::setSource(const CaptureSource& next) {
    if (isAtRest()) source = next;
}

Task<void> ScreenRecorder::refreshSources() {
    hasScreenAccess = services_.capture.CGPreflightScreenCaptureAccess();
    co_await parts_->lists.refreshSources();
    // Never while a recording starts: it would record something that nobody chose.
    if (isAtRest() && !isSourceAvailable(*source)) source = CaptureSource::area(mainDisplayID());
}

void ScreenRecorder::followSources() {
    if (sourceFollower_) return;
    sourceFollower_.emplace(services_.capture, services_.executor, [this] { return refreshSources(); });
}

void ScreenRecorder::registerHotKeys() {
    RefusedShortcuts refused = bindShortcuts(services_.hotKeys, services_.defaults,
                                             [weak = std::weak_ptr(self_)](ShortcutAction action) {
                                                 if (const auto self = weak.lock()) perform(action, **self);
                                             });
    missingHotKeys = std::move(refused.withoutKey);
    unavailableHotKeys = std::move(refused.all);
}

// Commands

void ScreenRecorder::toggle() {
    switch (*state) {
        case State::idle: {
            const auto stored = services_.defaults.stringForKey(preference::captureMode);
            const auto mode = fromRawValue<CaptureMode>(stored.value_or("")).value_or(CaptureMode::window);
            return mode == CaptureMode::window ? recordWindow() : record(mode);
        }
        case State::countingDown:
        case State::recording:
        case State::paused:
            requestStop();
            return;
        case State::selectingArea:
            if (studio_) studio_->confirm();
            return;
        case State::starting:
        case State::stopping:
            return;
    }
}

void ScreenRecorder::toggleMicrophoneMute() {
    if (!isActive() || !*recordsMicrophone) return;
    microphoneMuted = !*microphoneMuted;
    recording_->setMicrophoneMuted(*microphoneMuted);
}

void ScreenRecorder::requestStop() {
    switch (*state) {
        case State::countingDown:
            cancelCountdown();
            return;
        case State::starting:
            startGivenUp_ = true;
            return;
        case State::recording:
        case State::paused:
            if (covering_.isRunning()) services_.overlays.areaSelector->cancel();
            recording_->end();
            if (*errorMessage == localized(closedWindowWarning)) errorMessage = std::nullopt;
            elapsed = elapsedNow();
            state = State::stopping;
            stopping_ = RunningTask(services_.executor, finishRecording());
            return;
        case State::selectingArea:
            if (studio_) return studio_->cancel();
            startGivenUp_ = true;
            chooser_.cancel();
            return;
        case State::idle:
        case State::stopping:
            return;
    }
}

Task<void> ScreenRecorder::stop() {
    requestStop();
    return untilIdle(services_.executor, state);
}

// While recording

void ScreenRecorder::beginSession() {
    recording_->begin(chrome_, [this] { closedWindow_ = RunningTask(services_.executor, endWithWindow()); });
    elapsed = 0.0;
    state = State::recording;
    timerTask_ = RunningTask(services_.executor, updateElapsed());
}

Task<void> ScreenRecorder::updateElapsed() {
    int ticks = 0;
    while (true) {
        // Without an observer of the elapsed time, wake up for the checks only.
        const int step = elapsed.isObserved() ? 1 : ticksPerCheck - ticks;
        co_await sleepFor(services_.executor, step * elapsedInterval);
        if (*state == State::recording) elapsed = elapsedNow();
        ticks += step;
        if (ticks < ticksPerCheck) continue;
        ticks = 0;
        if (*state == State::recording) recording_->keepUp();
        if (isActive() && !freeSpace().hasRoomToGoOn()) interrupt(localized("The disk is almost full."));
    }
}

/// The picture would be frozen from here on; the sound may still be wanted for a while.
Task<void> ScreenRecorder::endWithWindow() {
    errorMessage = localized(closedWindowWarning);
    co_await sleepFor(services_.executor, closedWindowTime);
    interrupt(localized("The recorded window was closed."));
}

/// Of the volume with the file being written, or with the file that would be.
FreeSpaceGuard ScreenRecorder::freeSpace() const {
    const std::filesystem::path url =
        recording_ ? recording_->url() : outputOverride_.value_or(services_.folder.folder());
    return FreeSpaceGuard(services_.movie.files.volumeCapacity(url));
}

CaptureSession::Handlers ScreenRecorder::sessionHandlers() {
    CaptureSession::Handlers handlers;
    handlers.onStopped = [this](const std::exception_ptr& error) {
        interrupt(userStoppedSharing(error) ? std::nullopt : std::optional(localizedDescription(error)));
    };
    handlers.onInterruption = [this](const std::exception_ptr& reason) {
        interrupt(localizedDescription(reason));
    };
    handlers.onNotice = [this](const std::string& sentence) { notice(sentence); };
    if (services_.defaults.boolForKey(preference::webcamMicLevel)) {
        handlers.onMicrophoneLevel = [this](float level) {
            microphoneLevel = level;
            chrome_.setMicrophoneLevel(level);
        };
    }
    return handlers;
}

/// Saves what was captured; if nothing was captured yet, cancels the start. Only the first reason is
/// reported: later ones follow from it, or the recording is already ending.
void ScreenRecorder::interrupt(const std::optional<std::string>& reason) {
    const bool starts = *state == State::starting && !startGivenUp_;
    const bool counts = *state == State::countingDown;
    if (!isActive() && !starts && !counts) return;
    log(LogArea::recorder, "interrupted: ", reason.value_or("the user stopped sharing"));
    if (reason) errorMessage = localized("Recording stopped: ") + *reason;
    requestStop();
}

/// Repeated sentences are reported once.
void ScreenRecorder::notice(const std::string& sentence) {
    if (std::ranges::find(pendingNotices_, sentence) == pendingNotices_.end())
        pendingNotices_.push_back(sentence);
}

Task<void> ScreenRecorder::finishRecording() {
    co_await recording_->stop();
    chrome_.hide();
    if (studio_) studio_->close();
    timerTask_.cancel();
    closedWindow_.cancel();
    covering_.cancel();

    const std::filesystem::path url = recording_->url();
    bool saved = false;
    try {
        Task<void> saving = recording_->save(SoundWishes::current(services_.defaults, soundOverride_));
        co_await saving;
        saved = true;
    } catch (...) {
        errorMessage =
            localized("The recording couldn't be saved: ") + localizedDescription(std::current_exception());
    }
    lastRefusedFrames_ = recording_->refusedFrames();
    if (saved) {
        // First, so that observers find the file no longer in progress.
        recording_.reset();
        lastRecording = url;
        services_.notifications.post(recordingSavedNotification, url);
    }
    returnToIdle();
}

void ScreenRecorder::returnToIdle() {
    recording_.reset();
    closeStudio();
    if (services_.picker) services_.picker->endSharing();
    drawnCovers_.clear();
    optionsOverride_.reset();
    outputOverride_.reset();
    soundOverride_ = {};
    requiredSound_ = {};
    notices = std::exchange(pendingNotices_, {});
    recordsMicrophone = false;
    microphoneMuted = false;
    microphoneLevel = 0.0F;
    pickingMode = std::nullopt;
    // Even if the state is idle already: whoever requested a recording waits for this notification.
    state = State::idle;
}

}  // namespace lumicrate
