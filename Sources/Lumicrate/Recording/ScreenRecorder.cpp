#include "Lumicrate/Recording/ScreenRecorder.h"

#include "Lumicrate/Capture/ScreenLookup.h"
#include "Support/Error.h"
#include "Support/Geometry.h"
#include "Support/Text.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace lumicrate {

using namespace std::chrono_literals;

namespace {

/// Elapsed time is shown in seconds; this keeps it from lagging behind visibly.
constexpr auto elapsedInterval = 250ms;
/// In intervals of the elapsed time: how often the movie is kept up and the disk is looked at.
constexpr int ticksOfARound = 3;
/// Sleep shorter than this is not worth a sentence.
constexpr auto noticeableSleep = 2s;

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
    const Subscription watching = state.observe([idle](State coming) {
        if (coming == State::idle) idle.resolve(true);
    });
    co_await idle;
}

}  // namespace

ScreenRecorder::ScreenRecorder(const Services& services)
    : services_(services),
      lists_(services.capture, services.devices, services.executor, services.process.processIdentifier()),
      inWindowCountdown_(services.executor),
      chooser_(services.overlays, services.screens, lists_),
      chrome_(services.overlays),
      self_(std::make_shared<ScreenRecorder*>(this)) {
    hasScreenAccess = services_.capture.CGPreflightScreenCaptureAccess();
    if (WebcamBubbleShowing* webcam = services_.overlays.webcam) {
        webcam->setOnError([weak = std::weak_ptr(self_)](const std::string& message) {
            if (const auto self = weak.lock()) (*self)->errorMessage = message;
        });
    }
    registerHotKeys();
}

ScreenRecorder::~ScreenRecorder() {
    chrome_.hide();
}

double ScreenRecorder::elapsedNow() const {
    return isActive() ? clock_.elapsed(services_.executor.now()) : *elapsed;
}

std::optional<std::filesystem::path> ScreenRecorder::outputURL() const {
    return output_ ? std::optional(output_->file.url()) : std::nullopt;
}

std::uint64_t ScreenRecorder::refusedFrames() const {
    return session_ ? session_->refusedFrames() : refusedFramesBefore_;
}

bool ScreenRecorder::isAtRest() const {
    return *state == State::idle && !starting_.isRunning();
}

RecordingOptions ScreenRecorder::options() const {
    return optionsOverride_ ? *optionsOverride_ : RecordingOptions::current(services_.defaults);
}

void ScreenRecorder::setSource(const CaptureSource& next) {
    if (isAtRest()) source = next;
}

void ScreenRecorder::setOptionsOverride(std::optional<RecordingOptions> options) {
    optionsOverride_ = std::move(options);
}

void ScreenRecorder::setOutputOverride(std::optional<std::filesystem::path> url) {
    outputOverride_ = std::move(url);
}

void ScreenRecorder::toggle() {
    switch (*state) {
        case State::idle: {
            const auto stored = services_.defaults.stringForKey(preference::captureMode);
            record(fromRawValue<CaptureMode>(stored.value_or("")).value_or(CaptureMode::window));
            return;
        }
        case State::countingDown:
        case State::recording:
        case State::paused:
            requestStop();
            return;
        case State::selectingArea:
        case State::starting:
        case State::stopping:
            return;
    }
}

// Choosing

void ScreenRecorder::record(CaptureMode mode) {
    if (!isAtRest()) return;
    pickingMode = mode;
    const auto underPointer = displayUnderPointer(services_.screens);
    begin(chooseAndStart(mode, underPointer.value_or(services_.capture.CGMainDisplayID())));
}

void ScreenRecorder::recordAudioNow() {
    if (!isAtRest()) return;
    pickingMode = CaptureMode::audio;
    source = CaptureSource::audioOnly();
    begin(startSequence());
}

void ScreenRecorder::start(bool usingSavedArea) {
    if (!isAtRest()) return;
    if (!*source) {
        const bool hasArea = usingSavedArea && options().areaRect;
        source = hasArea ? CaptureSource::area(mainDisplayID()) : CaptureSource::display(mainDisplayID());
    }
    begin(startSequence());
}

void ScreenRecorder::begin(Task<void> steps) {
    errorMessage = std::nullopt;
    notices = std::vector<std::string>();
    noticed_.clear();
    startGivenUp_ = false;
    starting_ = RunningTask(services_.executor, std::move(steps));
}

Task<void> ScreenRecorder::chooseAndStart(CaptureMode mode, std::uint32_t displayID) {
    bool chosen = false;
    try {
        chosen = co_await choose(mode, displayID);
    } catch (...) {
        errorMessage = localizedDescription(std::current_exception());
    }
    if (chosen) {
        co_await startSequence();
    } else {
        comeToRest();
    }
}

Task<bool> ScreenRecorder::choose(CaptureMode mode, std::uint32_t displayID) {
    switch (mode) {
        case CaptureMode::window: {
            Task<bool> choosing = accept(chooser_.pickWindow(displayID));
            co_return co_await choosing;
        }
        case CaptureMode::area: {
            Task<bool> choosing = accept(chooser_.selectArea(displayToSelectOn(), options().areaRect));
            co_return co_await choosing;
        }
        case CaptureMode::screen: {
            Task<bool> choosing = accept(chooser_.pickScreen());
            co_return co_await choosing;
        }
        case CaptureMode::audio:
            // Recording is begun from there.
            if (services_.overlays.audioWindow) services_.overlays.audioWindow->show();
            co_return false;
        case CaptureMode::webcam:
            break;
    }
    co_return false;
}

/// Areas are selected where the last recording was.
std::uint32_t ScreenRecorder::displayToSelectOn() const {
    const auto known = *source ? (*source)->displayID() : std::nullopt;
    return known.value_or(mainDisplayID());
}

Task<bool> ScreenRecorder::accept(Task<std::optional<SourceChooser::Choice>> choosing) {
    state = State::selectingArea;
    const std::optional<SourceChooser::Choice> choice = co_await choosing;
    state = State::idle;
    if (!choice) co_return false;
    if (choice->area) {
        services_.defaults.set(preference::areaRect, stringFromRect(*choice->area));
        if (optionsOverride_) optionsOverride_->areaRect = choice->area;
    }
    source = choice->source;
    co_return true;
}

Task<void> ScreenRecorder::refreshSources() {
    hasScreenAccess = services_.capture.CGPreflightScreenCaptureAccess();
    co_await lists_.refreshSources();
    const bool free = *state == State::idle || *state == State::selectingArea;
    if (free && !isSourceAvailable(*source)) source = CaptureSource::area(mainDisplayID());
}

void ScreenRecorder::followSources() {
    if (sourceFollower_) return;
    sourceFollower_.emplace(services_.capture, services_.executor, [this] { return refreshSources(); });
}

void ScreenRecorder::registerHotKeys() {
    unavailableHotKeys = bindShortcuts(services_.hotKeys, services_.defaults,
                                       [weak = std::weak_ptr(self_)](ShortcutAction action) {
                                           const auto self = weak.lock();
                                           if (!self) return;
                                           switch (action) {
                                               case ShortcutAction::toggle:
                                                   return (*self)->toggle();
                                               case ShortcutAction::pause:
                                                   return (*self)->togglePause();
                                               case ShortcutAction::area:
                                                   return (*self)->record(CaptureMode::area);
                                           }
                                       });
}

// While recording

void ScreenRecorder::beginSession() {
    clock_.start(services_.executor.now());
    asleepBefore_ = services_.process.timeAsleep();
    elapsed = 0.0;
    state = State::recording;
    sleepActivity_ = services_.process.beginActivity(NSProcessInfo::activityUserInitiatedDisplayAwake,
                                                     localized("Screen recording in progress"));
    timerTask_ = RunningTask(services_.executor, updateElapsed());
    followWindow();
}

void ScreenRecorder::followWindow() {
    if (!followed_) return;
    WindowFollowing handlers;
    handlers.setSourceRect = [this](Rect rect) { return session_->setSourceRect(rect); };
    handlers.moved = [this](const Rect& before, const Rect& now) { chrome_.followWindow(before, now); };
    followTask_ = RunningTask(
        services_.executor,
        lumicrate::followWindow(services_.executor, services_.capture, *followed_, std::move(handlers)));
}

Task<void> ScreenRecorder::updateElapsed() {
    int ticks = 0;
    while (true) {
        // Nobody is woken for a time that nobody watches.
        const int step = elapsed.isObserved() ? 1 : ticksOfARound - ticks;
        co_await sleepFor(services_.executor, step * elapsedInterval);
        if (*state == State::recording) elapsed = elapsedNow();
        ticks += step;
        if (ticks < ticksOfARound) continue;
        ticks = 0;
        if (*state == State::recording) session_->keepUp();
        if (isActive() && !freeSpace().hasRoomToGoOn()) interrupt(localized("The disk is almost full."));
    }
}

/// Of the volume that the recording is written to, or would be.
FreeSpaceGuard ScreenRecorder::freeSpace() const {
    const std::filesystem::path url =
        output_ ? output_->file.url() : outputOverride_.value_or(services_.folder.folder());
    return FreeSpaceGuard(services_.movie.files.volumeCapacity(url));
}

void ScreenRecorder::togglePause() {
    const SessionClock::Instant now = services_.executor.now();
    if (*state == State::recording) {
        session_->pause();
        clock_.pause(now);
        elapsed = elapsedNow();
        state = State::paused;
    } else if (*state == State::paused) {
        session_->resume();
        clock_.resume(now);
        state = State::recording;
    }
}

void ScreenRecorder::toggleMicrophoneMute() {
    if (!isActive() || !*recordsMicrophone) return;
    microphoneMuted = !*microphoneMuted;
    session_->setMicrophoneMuted(*microphoneMuted);
}

void ScreenRecorder::microphoneLevelChanged(float level) {
    microphoneLevel = level;
    chrome_.setMicrophoneLevel(level);
}

void ScreenRecorder::streamStopped(const std::exception_ptr& error) {
    interrupt(userStoppedSharing(error) ? std::nullopt : std::optional(localizedDescription(error)));
}

/// What was captured is kept; where nothing was yet, the start leads nowhere. Only the first reason counts:
/// what follows from it, or comes when the recording is to end anyway, is no news.
void ScreenRecorder::interrupt(const std::optional<std::string>& reason) {
    const bool starts = *state == State::starting && !startGivenUp_;
    if (!isActive() && !starts) return;
    if (reason) errorMessage = localized("Recording stopped: ") + *reason;
    requestStop();
}

// Stopping

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
            beginStopping();
            return;
        case State::idle:
        case State::selectingArea:
        case State::stopping:
            return;
    }
}

Task<void> ScreenRecorder::stop() {
    requestStop();
    return untilIdle(services_.executor, state);
}

void ScreenRecorder::beginStopping() {
    // The movie ends here, however long it takes the stream to stop.
    session_->pause();
    noteSleep();
    elapsed = elapsedNow();
    state = State::stopping;
    stopping_ = RunningTask(services_.executor, finishRecording());
}

/// The host clock stands still while the computer sleeps, so that sound and picture go on as if nothing had
/// been: whoever looks at the clock on the recorded screen is told why it jumps.
void ScreenRecorder::noteSleep() {
    const auto slept = services_.process.timeAsleep() - asleepBefore_;
    if (slept < noticeableSleep) return;
    notice(localized("The computer slept for ") +
           formatElapsed(std::chrono::duration<double>(slept).count()) +
           localized(" during the recording; that time was left out."));
}

/// Told when the recording has ended; what happens again and again, once.
void ScreenRecorder::notice(const std::string& sentence) {
    if (std::find(noticed_.begin(), noticed_.end(), sentence) == noticed_.end()) noticed_.push_back(sentence);
}

Task<void> ScreenRecorder::finishRecording() {
    co_await session_->stop();
    hideChrome();
    timerTask_.cancel();
    sleepActivity_.reset();

    const std::filesystem::path url = output_->file.url();
    bool saved = false;
    try {
        Task<void> saving = saveRecording(url);
        co_await saving;
        output_.reset();
        lastRecording = url;
        saved = true;
    } catch (...) {
        errorMessage =
            localized("The recording couldn't be saved: ") + localizedDescription(std::current_exception());
    }
    if (saved) services_.notifications.post(recordingSavedNotification, url);
    comeToRest();
}

Task<void> ScreenRecorder::saveRecording(std::filesystem::path url) {
    std::exception_ptr failure;
    try {
        co_await session_->finish();
    } catch (...) {
        failure = std::current_exception();
    }
    refusedFramesBefore_ = session_->refusedFrames();
    session_.reset();
    if (failure) std::rethrow_exception(failure);
    const bool mixes = mixingOverride_.value_or(services_.defaults.boolForKey(preference::mixAudio));
    if (!services_.mixing || !mixes) co_return;
    try {
        Task<bool> mixing = services_.mixing->mixIfNeeded(url);
        co_await mixing;
    } catch (const NoRoomToMix& reason) {
        // A recording that a full disk has ended is saved all the same.
        notice(reason.what());
    }
}

void ScreenRecorder::hideChrome() {
    followTask_.cancel();
    followed_.reset();
    chrome_.hide();
}

/// Back to idle, with nothing left of a recording.
void ScreenRecorder::comeToRest() {
    session_.reset();
    output_.reset();
    optionsOverride_.reset();
    outputOverride_.reset();
    mixingOverride_.reset();
    notices = std::exchange(noticed_, {});
    recordsMicrophone = false;
    microphoneMuted = false;
    microphoneLevel = 0.0F;
    pickingMode = std::nullopt;
    // Also where the state never left idle: whoever asked for a recording waits for this announcement.
    state = State::idle;
}

}  // namespace lumicrate
