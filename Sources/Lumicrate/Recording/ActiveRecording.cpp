// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Recording/ActiveRecording.h"

#include "Lumicrate/Capture/StreamConfiguration.h"
#include "Lumicrate/Capture/WindowFollower.h"
#include "Lumicrate/Webcam/CameraStream.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace lumicrate {

using namespace std::chrono_literals;

namespace {

/// How often a movie with a constant frame rate is filled up on a still screen. Short enough that the
/// encoder's queue is nearly empty when the screen changes.
constexpr auto fillInterval = 100ms;
/// Shorter sleep is not reported.
constexpr auto noticeableSleep = 2s;

bool isSoundAlone(const ActiveRecording::Plan& plan) {
    return plan.kind == RecordingFolder::Kind::audio;
}

RecordingFolder::InProgress chooseFile(RecordingFolder& folder, const ActiveRecording::Plan& plan) {
    if (plan.output) return folder.markInProgress(*plan.output);
    const MovieFormat format = movieFormat(plan.options.format, isSoundAlone(plan));
    return folder.markInProgress(folder.newRecordingURL(plan.kind, format.fileExtension));
}

}  // namespace

void SessionClock::start(Instant now) {
    beforePause_ = {};
    runningSince_ = now;
}

void SessionClock::pause(Instant now) {
    if (!runningSince_) return;
    beforePause_ += now - *runningSince_;
    runningSince_.reset();
}

void SessionClock::resume(Instant now) {
    if (!runningSince_) runningSince_ = now;
}

double SessionClock::elapsed(Instant now) const {
    const auto running = runningSince_ ? now - *runningSince_ : 0ns;
    return std::chrono::duration<double>(beforePause_ + running).count();
}

ActiveRecording::ActiveRecording(const Services& services, const Plan& plan)
    : services_(services),
      plan_(plan),
      file_(chooseFile(services.folder, plan)),
      fileExistedBefore_(services.movie.files.fileExists(file_.url())) {}

std::unique_ptr<SCStream> ActiveRecording::makeStream(SCStreamDelegate& delegate) const {
    if (!plan_.camera)
        return services_.capture.makeStream(plan_.target.filter, plan_.configuration, delegate);
    auto sound = services_.capture.makeStream({}, soundOnly(plan_.configuration), delegate);
    return std::make_unique<CameraStream>(*plan_.camera, plan_.options.webcamMirror, plan_.configuration,
                                          std::move(sound));
}

Task<void> ActiveRecording::start(CaptureSession::Handlers handlers) {
    handlers_ = std::move(handlers);
    MovieWriter::Settings settings =
        makeWriterSettings(plan_.configuration, plan_.options, isSoundAlone(plan_));
    settings.url = url();
    settings.camera = plan_.camera != nullptr;
    settings.input = recordsInput();
    log(LogArea::recorder, "starting: video ", settings.video, ", ", settings.width, " × ", settings.height,
        " pixels at ", settings.fps, " fps and ", settings.bitRate, " bit/s, system audio ",
        settings.systemAudio, ", microphone ", settings.microphone);
    session_ = std::make_unique<CaptureSession>(
        settings, [this](SCStreamDelegate& delegate) { return makeStream(delegate); }, plan_.configuration,
        services_.movie, services_.executor, handlers_);
    // Before the first picture, so that the pointer's position is known from then on.
    recordInput();
    co_await session_->start();
}

void ActiveRecording::continueCapture(RunningCapture capture, CaptureSession::Handlers handlers) {
    handlers_ = std::move(handlers);
    secondsBefore_ = capture.buffer->contents().seconds;
    capture.buffer->continueInto(url());
    session_ = std::move(capture.session);
    session_->setHandlers(handlers_);
    recordInput();
    log(LogArea::recorder, "continuing a capture of ", secondsBefore_, " s");
}

bool ActiveRecording::recordsInput() const {
    return plan_.options.recordsInputData && services_.input.pointer && !plan_.camera && !isSoundAlone(plan_);
}

void ActiveRecording::recordInput() {
    if (!recordsInput()) return;
    input_.emplace(services_.input, services_.capture, services_.movie.clock, plan_.target,
                   plan_.configuration, [session = session_.get()](RecordedInput input, CMTime at) {
                       session->addInput(std::move(input), at);
                   });
}

void ActiveRecording::begin(RecordingChrome& chrome, std::function<void()> windowClosed) {
    const auto kept = std::chrono::duration<double>(secondsBefore_);
    clock_.start(services_.executor.now() - std::chrono::duration_cast<std::chrono::nanoseconds>(kept));
    asleepBefore_ = services_.process.timeAsleep();
    displayAwake_ = services_.process.beginActivity(NSProcessInfo::activityUserInitiatedDisplayAwake,
                                                    localized("Screen recording in progress"));
    // Where the control bar is hidden, a notification takes its place.
    if (plan_.options.holdNotifications && !chrome.hidesControlBar())
        quiet_ = services_.process.holdNotifications(localized("Screen recording in progress"));
    if (plan_.options.constantFrameRate) fillTask_ = RunningTask(services_.executor, fillUp());
    if (!plan_.target.windowDisplayID) return;
    const SCWindow& window = plan_.target.filter.windows.front();
    WindowFollowing following;
    following.setSourceRect = [this](Rect rect) { return session_->setSourceRect(rect); };
    following.moved = [&chrome](const Rect& before, const Rect& now) { chrome.followWindow(before, now); };
    following.closed = std::move(windowClosed);
    followTask_ = RunningTask(
        services_.executor,
        followWindow(services_.executor, services_.capture,
                     {window.windowID, *plan_.target.windowDisplayID, window.frame}, std::move(following)));
}

Task<void> ActiveRecording::fillUp() {
    while (true) {
        co_await sleepFor(services_.executor, fillInterval);
        session_->keepUp();
    }
}

void ActiveRecording::pause() {
    session_->pause();
    clock_.pause(services_.executor.now());
}

void ActiveRecording::resume() {
    session_->resume();
    clock_.resume(services_.executor.now());
}

void ActiveRecording::setCovers(std::vector<Rect> covers) {
    plan_.options.covers = covers;
    session_->setCovers(std::move(covers));
}

void ActiveRecording::setOverlays(const OverlayWindows& overlays) {
    if (!session_) return;
    lumicrate::setOverlays(plan_.target.filter, overlays);
    session_->setContentFilter(plan_.target.filter);
}

void ActiveRecording::end() {
    input_.reset();
    session_->pause();
    noteSleep();
}

/// The host clock stands still during sleep, so the recording continues without a gap. Someone who looks at a
/// clock on the recorded screen needs the explanation.
void ActiveRecording::noteSleep() const {
    const auto slept = services_.process.timeAsleep() - asleepBefore_;
    if (slept < noticeableSleep) return;
    handlers_.onNotice(localized("The computer slept for {} during the recording; that time was left out.",
                                 {formatElapsed(std::chrono::duration<double>(slept).count())}));
}

Task<void> ActiveRecording::stop() {
    co_await session_->stop();
    followTask_.cancel();
    fillTask_.cancel();
    displayAwake_.reset();
    quiet_.reset();
}

Task<void> ActiveRecording::save(SoundWishes wishes) {
    std::exception_ptr failure;
    try {
        co_await session_->finish();
    } catch (...) {
        failure = std::current_exception();
    }
    refusedFrames_ = session_->refusedFrames();
    log(LogArea::recorder, "movie finished: ", failure ? "failed" : "saved", ", ", refusedFrames_,
        " frames refused by a busy encoder");
    session_.reset();
    if (failure) std::rethrow_exception(failure);
    if (!services_.sound || wishes == SoundWishes()) co_return;
    Task<std::vector<std::string>> finishing = services_.sound->finish(url(), wishes);
    const std::vector<std::string> problems = co_await finishing;
    for (const std::string& each : problems)
        handlers_.onNotice(each);
}

void ActiveRecording::discard() {
    input_.reset();
    session_.reset();
    if (fileExistedBefore_ || !services_.movie.files.fileExists(url())) return;
    try {
        services_.movie.files.removeItem(url());
    } catch (const LocalizedError&) {
        // The user is told why there is no recording, not that an empty file remains.
    }
}

}  // namespace lumicrate
