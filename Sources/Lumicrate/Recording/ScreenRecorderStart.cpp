// The way from a chosen source to running capture.
#include "Lumicrate/Capture/ScreenLookup.h"
#include "Lumicrate/Capture/StreamConfiguration.h"
#include "Lumicrate/Overlays/CountdownController.h"
#include "Lumicrate/Recording/RecorderError.h"
#include "Lumicrate/Recording/ScreenRecorder.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>

namespace lumicrate {

using namespace std::chrono_literals;

namespace {

constexpr int countdownSeconds = 3;
/// Lets choosers and countdown vanish from the screen before it is captured.
constexpr auto settlingTime = 100ms;

}  // namespace

Task<void> ScreenRecorder::startSequence() {
    bool begun = false;
    try {
        begun = co_await runStartSequence();
    } catch (...) {
        errorMessage = localizedDescription(std::current_exception());
    }
    if (!begun) giveUpStart();
}

/// False when the user gave up.
Task<bool> ScreenRecorder::runStartSequence() {
    const RecordingOptions chosen = options();
    if (!soundAlone()) {
        hasScreenAccess = services_.capture.CGPreflightScreenCaptureAccess();
        if (!*hasScreenAccess) throw RecorderError(RecorderError::noScreenAccess);
    }
    // Before the countdown: nobody is to wait for a recording that will not come.
    freeSpace().requireRoomToStart();
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
    // Asked for by somebody who was just being told that it begins.
    if (startGivenUp_) requestStop();
    co_return true;
}

Task<bool> ScreenRecorder::countDown(std::optional<NSScreen> screen) {
    countdownHasPanel_ = services_.overlays.countdown != nullptr && !soundAlone();
    Task<bool> counting = countdownHasPanel_ ? services_.overlays.countdown->run(countdownSeconds, screen)
                                             : inWindowCountdown_.run(countdownSeconds);
    co_return co_await counting;
}

void ScreenRecorder::cancelCountdown() {
    if (countdownHasPanel_) {
        services_.overlays.countdown->finish(false);
    } else {
        inWindowCountdown_.cancel();
    }
}

Task<void> ScreenRecorder::beginCapture(RecordingOptions options) {
    if (soundAlone() && !options.captureSystemAudio && !options.captureMicrophone) {
        throw RecorderError(RecorderError::noAudioSource);
    }
    if (options.captureMicrophone) refreshDevices();
    recordsMicrophone = options.captureMicrophone;
    // Before the windows are listed, so that the filter finds the overlays among them.
    if (!soundAlone()) chrome_.show(options, place(options));
    Task<CaptureTarget> making = makeTarget(options);
    const CaptureTarget target = co_await making;
    session_ = makeSession(options, target);
    if (target.windowDisplayID) {
        const SCWindow& window = target.filter.windows.front();
        followed_ = FollowedWindow{window.windowID, *target.windowDisplayID, window.frame};
    }
    co_await session_->start();
}

Task<CaptureTarget> ScreenRecorder::makeTarget(RecordingOptions options) {
    SCShareableContent content;
    try {
        content = co_await fetchShareableContent(services_.capture, services_.executor);
    } catch (...) {
        if (!soundAlone()) throw;
    }
    // Sound can be recorded where there is nothing to see.
    if (soundAlone() && content.displays.empty()) co_return CaptureTarget{};
    FilterRequest request;
    request.source = *source;
    request.hideSelf = options.hideSelf;
    request.overlays = chrome_.windows();
    request.processID = services_.process.processIdentifier();
    request.mainDisplayID = mainDisplayID();
    co_return makeFilter(content, request);
}

std::unique_ptr<CaptureSession> ScreenRecorder::makeSession(const RecordingOptions& options,
                                                            const CaptureTarget& target) {
    const SCStreamConfiguration configuration = makeConfiguration(target, *source, options, *microphones);
    const MovieFormat format = movieFormat(options.format, soundAlone());
    chooseOutput(format.fileExtension);

    MovieWriter::Settings settings;
    settings.url = output_->file.url();
    settings.fileType = format.fileType;
    settings.codec = format.codec;
    settings.width = configuration.width;
    settings.height = configuration.height;
    settings.fps = options.fps;
    settings.bitRate = static_cast<int>(std::min<std::int64_t>(
        bitRate(configuration.width, configuration.height, options), std::numeric_limits<int>::max()));
    settings.systemAudio = options.captureSystemAudio;
    settings.microphone = options.captureMicrophone;
    settings.video = !soundAlone();

    CaptureSession::Handlers handlers;
    handlers.onStopped = [this](const std::exception_ptr& error) { streamStopped(error); };
    handlers.onInterruption = [this](const std::exception_ptr& reason) {
        interrupt(localizedDescription(reason));
    };
    handlers.onNotice = [this](const std::string& sentence) { notice(sentence); };
    if (services_.defaults.boolForKey(preference::webcamMicLevel)) {
        handlers.onMicrophoneLevel = [this](float level) { microphoneLevelChanged(level); };
    }
    return std::make_unique<CaptureSession>(settings, target.filter, configuration, services_.movie,
                                            services_.capture, services_.executor, std::move(handlers));
}

void ScreenRecorder::chooseOutput(const std::string& fileExtension) {
    const auto kind = soundAlone() ? RecordingFolder::Kind::audio : RecordingFolder::Kind::screen;
    const std::filesystem::path url =
        outputOverride_ ? *outputOverride_ : services_.folder.newRecordingURL(kind, fileExtension);
    output_ = Output{services_.folder.markInProgress(url), services_.movie.files.fileExists(url)};
}

RecordingChrome::Place ScreenRecorder::place(const RecordingOptions& options) const {
    RecordingChrome::Place place;
    std::uint32_t shownOn = mainDisplayID();
    const auto displayID = *source ? (*source)->displayID() : std::nullopt;
    const auto windowID = *source ? (*source)->windowID() : std::nullopt;
    if (displayID) {
        shownOn = *displayID;
        if ((*source)->is(CaptureSource::Kind::area)) place.part = options.areaRect;
        place.framed = place.part.has_value();
    } else if (const auto known = windowID ? lists_.placeOfWindow(*windowID) : std::nullopt) {
        shownOn = known->displayID;
        place.part = known->frame;
    }
    place.screen = screenShowing(services_.screens, shownOn);
    return place;
}

/// Leaves no file behind, but for one that was there before.
void ScreenRecorder::giveUpStart() {
    hideChrome();
    session_.reset();
    if (output_ && !output_->existedBefore && services_.movie.files.fileExists(output_->file.url())) {
        try {
            services_.movie.files.removeItem(output_->file.url());
        } catch (const LocalizedError&) {
            // Why there is no recording is what the user is told.
        }
    }
    comeToRest();
}

}  // namespace lumicrate
