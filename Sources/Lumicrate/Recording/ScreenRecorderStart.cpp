// SPDX-License-Identifier: GPL-3.0-or-later
// The way from the record command to running capture.
#include "Lumicrate/Audio/AudioRecorderWindow.h"
#include "Lumicrate/Capture/StreamConfiguration.h"
#include "Lumicrate/Recording/RecorderError.h"
#include "Lumicrate/Recording/ScreenRecorder.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace lumicrate {

using namespace std::chrono_literals;

namespace {

constexpr int countdownSeconds = 3;
/// Time for choosers and countdown to vanish from the screen before it is captured.

/// What can be captured. Sound alone can be recorded even if no display server answers.
Task<SCShareableContent> fetchContent(const ScreenCaptureKit& capture, Executor& executor, bool soundAlone) {
    SCShareableContent content;
    try {
        content = co_await fetchShareableContent(capture, executor);
    } catch (...) {
        if (!soundAlone) throw;
    }
    co_return content;
}

}  // namespace

void ScreenRecorder::record(CaptureMode mode) {
    if (!isAtRest()) return;
    if (mode == CaptureMode::audio) {
        AudioRecorderWindow* const window = services_.overlays.audioRecorder;
        return window ? window->show(*this) : recordAudioNow();
    }
    if (mode == CaptureMode::webcam) return recordWebcam();
    pickingMode = mode;
    const auto underPointer = displayUnderPointer(services_.screens);
    begin(chooseAndStart(mode, underPointer.value_or(services_.capture.CGMainDisplayID())));
}

void ScreenRecorder::chooseWindow(std::uint32_t windowID) {
    const auto found = std::ranges::find(*windows, windowID, &SCWindow::windowID);
    chosenWindow_ = found == windows->end() ? std::nullopt : std::optional(*found);
}

std::optional<std::uint32_t> ScreenRecorder::chosenWindow(const std::vector<SCWindow>& listed) const {
    if (!chosenWindow_) return std::nullopt;
    // A window of the same number but of another program is a new window.
    const auto isSame = [this](const SCWindow& each) {
        return each.windowID == chosenWindow_->windowID &&
               each.owningApplication == chosenWindow_->owningApplication;
    };
    return std::ranges::any_of(listed, isSame) ? std::optional(chosenWindow_->windowID) : std::nullopt;
}

void ScreenRecorder::recordWindow() {
    const auto windowID = chosenWindow(*windows);
    if (!windowID) return record(CaptureMode::window);
    if (!isAtRest()) return;
    pickingMode = CaptureMode::window;
    source = CaptureSource::window(*windowID);
    begin(startSequence());
}

bool ScreenRecorder::remembersSharing(CaptureMode mode) const {
    const bool isWindow = mode == CaptureMode::window;
    return services_.picker && services_.picker->remembersChoice(isWindow ? SCSharingRequest::Kind::window
                                                                          : SCSharingRequest::Kind::display);
}

void ScreenRecorder::forgetSharing() {
    if (isAtRest() && services_.picker) services_.picker->forgetChoices();
}

void ScreenRecorder::recordAudioNow() {
    if (!isAtRest()) return;
    pickingMode = CaptureMode::audio;
    source = CaptureSource::audioOnly();
    begin(startSequence());
}

void ScreenRecorder::recordWebcam() {
    if (!isAtRest()) return;
    pickingMode = CaptureMode::webcam;
    begin(frameAndStart());
}

void ScreenRecorder::start(bool usingSavedArea) {
    if (!isAtRest()) return;
    if (!*source) {
        const bool hasArea = usingSavedArea && options().areaRect;
        source = hasArea ? CaptureSource::area(mainDisplayID()) : CaptureSource::display(mainDisplayID());
    }
    begin(startSequence());
}

void ScreenRecorder::start(RunningCapture capture) {
    if (!isAtRest()) return;
    clearMessages();
    pickingMode = CaptureMode::screen;
    source = CaptureSource::display(capture.target.filter.display.displayID);
    state = State::starting;
    try {
        freeSpace().requireRoomToStart();
        recordsMicrophone = capture.configuration.captureMicrophone;
        ActiveRecording::Plan plan;
        plan.options = capture.options;
        plan.target = capture.target;
        plan.configuration = capture.configuration;
        chrome_.show(plan.options, place(plan.options), services_.screens.screens());
        recording_.emplace(activeServices(), plan);
        recording_->continueCapture(std::move(capture), sessionHandlers());
        recording_->setOverlays(chrome_.windows());
    } catch (...) {
        errorMessage = localizedDescription(std::current_exception());
        return giveUpStart();
    }
    beginSession();
}

void ScreenRecorder::clearMessages() {
    errorMessage = std::nullopt;
    notices = std::vector<std::string>();
    pendingNotices_.clear();
}

void ScreenRecorder::begin(Task<void> steps) {
    clearMessages();
    startGivenUp_ = false;
    starting_ = RunningTask(services_.executor, std::move(steps));
}

// Choosing

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
        returnToIdle();
    }
}

/// Sets `source`; the state remains `selectingArea`. False if the user cancelled. Windows are picked on the
/// display `displayID`, areas on the display of the last recording.
Task<bool> ScreenRecorder::choose(CaptureMode mode, std::uint32_t displayID) {
    const auto lastDisplay = *source ? (*source)->displayID() : std::nullopt;
    if (mode == CaptureMode::area) displayID = lastDisplay.value_or(mainDisplayID());
    const RecordingOptions chosen = options();
    state = State::selectingArea;
    if (startGivenUp_) co_return false;
    Task<std::optional<SourceChooser::Choice>> choosing =
        chooser_.choose(mode, displayID, chosen.areaRect, chosen.showCursor);
    const std::optional<SourceChooser::Choice> choice = co_await choosing;
    if (!choice || startGivenUp_) co_return false;
    if (choice->area) {
        services_.defaults.set(preference::areaRect, stringFromRect(*choice->area));
        if (optionsOverride_) optionsOverride_->areaRect = choice->area;
    }
    drawnCovers_ = choice->covers;
    source = choice->source;
    co_return true;
}

// Framing a webcam

Task<void> ScreenRecorder::frameAndStart() {
    bool confirmed = false;
    try {
        // Before the framing: do not frame for an error.
        freeSpace().requireRoomToStart();
        const RecordingOptions chosen = options();
        openStudio();
        state = State::selectingArea;
        Task<bool> preparing = studio_->prepare(chosen);
        confirmed = co_await preparing;
    } catch (...) {
        errorMessage = localizedDescription(std::current_exception());
    }
    if (confirmed) {
        co_await startSequence();
    } else {
        returnToIdle();
    }
}

void ScreenRecorder::openStudio() {
    if (services_.overlays.webcam) services_.overlays.webcam->setSuspended(true);
    studio_ = std::make_unique<WebcamStudio>(
        *this, WebcamStudio::Services{services_.executor, services_.defaults, services_.devices,
                                      services_.makeCameraSession, services_.makeStudioWindow});
    studio_->onUnexpectedStop = [this](const std::exception_ptr& error) {
        interrupt(localizedDescription(error));
    };
}

void ScreenRecorder::closeStudio() {
    if (!studio_) return;
    studio_.reset();
    if (services_.overlays.webcam) services_.overlays.webcam->setSuspended(false);
}

// Starting

Task<void> ScreenRecorder::startSequence() {
    bool begun = false;
    try {
        begun = co_await runStartSequence();
    } catch (...) {
        errorMessage = localizedDescription(std::current_exception());
    }
    if (!begun) giveUpStart();
}

/// False if the user cancelled.
Task<bool> ScreenRecorder::runStartSequence() {
    RecordingOptions chosen = options();
    if (recordsScreen()) {
        hasScreenAccess = services_.capture.CGPreflightScreenCaptureAccess();
        if (!*hasScreenAccess) throw RecorderError(RecorderError::noScreenAccess);
        if (!chosen.neverRecorded.empty() && !services_.capture.canExcludeWindows())
            throw RecorderError(RecorderError::cannotExclude);
        Task<bool> sharing = shareSource(chosen.showCursor);
        const bool isShared = co_await sharing;
        if (!isShared) co_return false;
    }
    // Before the countdown: do not count down to an error.
    freeSpace().requireRoomToStart();
    Task<RecordingOptions> checking = withoutMissingSound(chosen);
    chosen = co_await checking;
    if (startGivenUp_) co_return false;
    if (chosen.countdown) {
        state = State::countingDown;
        Task<bool> counting = countDown(place(chosen).screen);
        const bool finished = co_await counting;
        if (!finished) co_return false;
    }
    state = State::starting;
    co_await sleepFor(services_.executor, settlingTime);
    if (startGivenUp_) co_return false;
    Task<void> beginning = beginCapture(chosen);
    co_await beginning;
    if (startGivenUp_) co_return false;
    beginSession();
    // An observer of the state requested the stop just before the recording began.
    if (startGivenUp_) requestStop();
    co_return true;
}

/// Where the user has to share what is recorded. False if the user declined.
Task<bool> ScreenRecorder::shareSource(bool showsCursor) {
    if (!services_.picker || !*source) co_return true;
    state = State::selectingArea;
    if (startGivenUp_) co_return false;
    Task<std::optional<CaptureSource>> sharing = chooser_.share(**source, showsCursor);
    const std::optional<CaptureSource> shared = co_await sharing;
    if (!shared || startGivenUp_) co_return false;
    const auto requested = (*source)->displayID();
    if (requested.value_or(0) != 0 && shared->displayID() != requested) {
        // The rectangles are meant for the other display.
        if (shared->is(CaptureSource::Kind::area) || !options().covers.empty())
            throw RecorderError(RecorderError::otherDisplay);
        notice(localized("The desktop shared another screen than the one that was asked for."));
    }
    source = shared;
    co_return true;
}

/// In the background: a server that hangs must not block the windows.
Task<RecordingOptions> ScreenRecorder::withoutMissingSound(RecordingOptions options) {
    if (!options.captureSystemAudio && !options.captureMicrophone) co_return options;
    if (!soundQueue_) soundQueue_ = services_.movie.makeQueue("Lumicrate.sound-check");
    Task<SoundDevices> asking = fetchSoundDevices(services_.devices, services_.executor, *soundQueue_);
    const SoundDevices devices = co_await asking;
    connectedMicrophones_ = devices.microphones;
    for (const std::string& reason : leaveOutMissingSound(options, devices, requiredSound_, soundAlone()))
        notice(reason);
    co_return options;
}

Task<bool> ScreenRecorder::countDown(std::optional<NSScreen> screen) {
    countdownHasPanel_ = services_.overlays.countdown != nullptr && recordsScreen();
    Task<bool> counting = countdownHasPanel_ ? services_.overlays.countdown->run(countdownSeconds, screen)
                                             : parts_->inWindowCountdown.run(countdownSeconds);
    co_return co_await counting;
}

void ScreenRecorder::cancelCountdown() {
    if (countdownHasPanel_) {
        services_.overlays.countdown->finish(false);
    } else {
        parts_->inWindowCountdown.finish(false);
    }
}

/// Where the overlays of the recording appear.
RecordingChrome::Place ScreenRecorder::place(const RecordingOptions& options) const {
    RecordingChrome::Place place;
    std::uint32_t shownOn = mainDisplayID();
    if (studio_) {
        place.screen =
            screenShowing(services_.screens, displayUnderPointer(services_.screens).value_or(shownOn));
        return place;
    }
    const auto displayID = *source ? (*source)->displayID() : std::nullopt;
    const auto windowID = *source ? (*source)->windowID() : std::nullopt;
    if (displayID) {
        place.chromeIsRecorded = !services_.capture.canExcludeWindows();
        shownOn = *displayID;
        if ((*source)->is(CaptureSource::Kind::area)) place.part = options.areaRect;
        place.framed = place.part.has_value();
    } else if (const auto known = windowID ? parts_->lists.placeOfWindow(*windowID) : std::nullopt) {
        shownOn = known->displayID;
        place.part = known->frame;
    }
    place.screen = screenShowing(services_.screens, shownOn);
    return place;
}

Task<void> ScreenRecorder::beginCapture(RecordingOptions options) {
    if (soundAlone() && !options.captureSystemAudio && !options.captureMicrophone)
        throw RecorderError(RecorderError::noAudioSource);
    recordsMicrophone = options.captureMicrophone;
    // Before the windows are listed, so that the filter finds the overlays among them.
    if (!soundAlone()) {
        const std::string reason = chrome_.show(options, place(options), services_.screens.screens());
        if (!reason.empty()) notice(reason);
    }

    Task<ActiveRecording::Plan> planning = makePlan(options);
    const ActiveRecording::Plan plan = co_await planning;
    recording_.emplace(activeServices(), plan);
    Task<void> starting = recording_->start(sessionHandlers());
    co_await starting;
}

ActiveRecording::Services ScreenRecorder::activeServices() const {
    return {services_.executor,
            services_.process,
            services_.capture,
            services_.folder,
            services_.movie,
            services_.sound,
            {services_.pointer, services_.overlays.keystrokes}};
}

Task<ActiveRecording::Plan> ScreenRecorder::makePlan(RecordingOptions options) {
    ActiveRecording::Plan plan;
    plan.options = options;
    plan.output = outputOverride_;
    if (studio_) {
        plan.kind = RecordingFolder::Kind::webcam;
        plan.camera = &studio_->session();
        plan.configuration =
            makeCameraConfiguration(plan.camera->pictureSize(), options, connectedMicrophones_);
        co_return plan;
    }
    const SCShareableContent content =
        co_await fetchContent(services_.capture, services_.executor, soundAlone());
    if (soundAlone()) plan.kind = RecordingFolder::Kind::audio;
    plan.target = findTarget(content, options);
    if (const auto reason = leaveOutUnknownApplication(plan.options, plan.target, *source, requiredSound_))
        notice(*reason);
    plan.configuration = makeConfiguration(plan.target, *source, plan.options, connectedMicrophones_);
    co_return plan;
}

CaptureTarget ScreenRecorder::findTarget(const SCShareableContent& content,
                                         const RecordingOptions& options) const {
    if (soundAlone() && content.displays.empty()) return {};
    // The filter would record the first display instead of one that has been disconnected.
    const auto chosen = *source ? (*source)->displayID() : std::nullopt;
    if (chosen &&
        std::ranges::find(content.displays, *chosen, &SCDisplay::displayID) == content.displays.end())
        throw RecorderError(RecorderError::noDisplay);
    FilterRequest request;
    request.source = *source;
    request.hideSelf = options.hideSelf;
    request.neverRecorded = options.neverRecorded;
    request.overlays = chrome_.windows();
    request.processID = services_.process.processIdentifier();
    request.mainDisplayID = mainDisplayID();
    return makeFilter(content, request);
}

/// Leaves no file behind, except one that existed before.
void ScreenRecorder::giveUpStart() {
    chrome_.hide();
    if (recording_) recording_->discard();
    returnToIdle();
}

}  // namespace lumicrate
