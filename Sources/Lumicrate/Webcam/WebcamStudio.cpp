// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Webcam/WebcamStudio.h"

#include "Lumicrate/Capture/DeviceMenu.h"
#include "Lumicrate/Capture/StreamConfiguration.h"
#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <algorithm>
#include <utility>

namespace lumicrate {

namespace {

constexpr Size contentSize{640, 360};
constexpr Size contentMinSize{512, 288};

using Phase = WebcamStudio::Phase;
using State = ScreenRecorder::State;

Phase phaseOf(State state) {
    switch (state) {
        case State::idle:
        case State::selectingArea:
            return Phase::framing;
        case State::countingDown:
        case State::starting:
            return Phase::countingDown;
        case State::recording:
        case State::paused:
        case State::stopping:
            break;
    }
    return Phase::recording;
}

const CaptureDevice* find(const std::vector<CaptureDevice>& devices, const std::string& id) {
    const auto found = std::ranges::find(devices, id, &CaptureDevice::id);
    return found == devices.end() ? nullptr : &*found;
}

/// A camera alone has no system audio and no overlays in its picture.
RecordingOptions cameraOptions(RecordingOptions options) {
    options.captureSystemAudio = false;
    options.webcamEnabled = false;
    options.highlightClicks = false;
    return options;
}

}  // namespace

std::string WebcamStudioError::description(Case which) {
    switch (which) {
        case noCamera:
            return localized(
                "No camera is available. Connect one or check System Settings › Privacy & Security › "
                "Camera.");
        case accessDenied:
            return localized(
                "Camera access is off. Allow Lumicrate in System Settings › Privacy & Security › Camera.");
        case couldNotBeRecorded:
            break;
    }
    return localized("The camera couldn't be recorded.");
}

std::string WebcamStudio::Content::cameraName() const {
    const CaptureDevice* const used = find(cameras, cameraID);
    return used ? used->name : localized("Camera");
}

std::string WebcamStudio::Content::microphoneName() const {
    return lumicrate::microphoneName(microphones, microphoneID);
}

WebcamStudio::WebcamStudio(ScreenRecorder& recorder, Services services)
    : recorder_(recorder),
      services_(std::move(services)),
      self_(std::make_shared<WebcamStudio*>(this)),
      session_(services_.makeSession ? services_.makeSession() : nullptr) {}

WebcamStudio::~WebcamStudio() {
    close();
}

Task<bool> WebcamStudio::prepare(RecordingOptions options) {
    options_ = cameraOptions(std::move(options));
    const Completion<Answer> ready(services_.executor);
    ready_ = ready;
    const AVAuthorizationStatus status = services_.devices.authorizationStatusForVideo();
    if (status == AVAuthorizationStatus::notDetermined) {
        services_.devices.requestAccessForVideo([weak = std::weak_ptr(self_)](bool granted) {
            if (const auto self = weak.lock()) (*self)->begin(granted);
        });
    } else {
        begin(status == AVAuthorizationStatus::authorized);
    }
    const Answer answer = co_await ready;
    ready_.reset();
    if (answer.error) std::rethrow_exception(answer.error);
    co_return answer.records;
}

void WebcamStudio::begin(bool mayUseCameras) {
    if (!ready_) return;
    if (!mayUseCameras) return fail(WebcamStudioError::accessDenied);
    recorder_.refreshDevices();
    if (!session_ || recorder_.cameras->empty()) return fail(WebcamStudioError::noCamera);
    follow();
    session_->setOnConnectionChange([this](bool isConnected) { connectionChanged(isConnected); });
    startCamera();
    if (services_.makeWindow) openWindow();
}

void WebcamStudio::fail(WebcamStudioError::Case reason) {
    ready_->resolve({false, std::make_exception_ptr(WebcamStudioError(reason))});
}

void WebcamStudio::openWindow() {
    window_ = services_.makeWindow(*this);
    // Posted, because the window is on the call stack when it reports that.
    window_->setOnClose([this] {
        services_.executor.post([weak = std::weak_ptr(self_)] {
            if (const auto self = weak.lock()) (*self)->recorder_.requestStop();
        });
    });
    window_->setContentMinSize(contentMinSize);
    window_->setContentSize(contentSize);
    window_->center();
    window_->makeKeyAndOrderFront();
}

void WebcamStudio::confirm() {
    if (ready_ && running_) ready_->resolve({true, nullptr});
}

void WebcamStudio::cancel() {
    if (ready_) ready_->resolve({});
    close();
}

void WebcamStudio::close() {
    window_.reset();
    subscriptions_.clear();
    running_ = false;
    if (session_) session_->stopRunning();
}

// Camera

void WebcamStudio::startCamera() {
    running_ = false;
    message_.clear();
    AVCaptureSession::Settings settings;
    settings.deviceID = options_.webcamID;
    settings.wantedSize = cameraSize(options_.quality);
    settings.wantedRate = options_.fps;
    log(LogArea::recorder, "starting the camera ", settings.deviceID);
    session_->startRunning(settings, [this](AVCaptureSession::Outcome outcome) { started(outcome); });
    rebuild();
}

/// In the window, the user can choose another camera or plug one in.
void WebcamStudio::started(AVCaptureSession::Outcome outcome) {
    using Outcome = AVCaptureSession::Outcome;
    running_ = outcome == Outcome::running;
    const auto reason =
        outcome == Outcome::noCamera ? WebcamStudioError::noCamera : WebcamStudioError::couldNotBeRecorded;
    if (!services_.makeWindow && ready_) running_ ? ready_->resolve({true, nullptr}) : fail(reason);
    if (outcome == Outcome::noCamera) message_ = WebcamStudioError(reason).what();
    if (outcome == Outcome::couldNotBeStarted) message_ = localized("The camera couldn't be started.");
    rebuild();
}

void WebcamStudio::connectionChanged(bool isConnected) {
    running_ = isConnected;
    message_ = isConnected ? std::string() : localized("The camera is disconnected.");
    rebuild();
    if (isConnected || (isFraming() && window_)) return;
    // Posted, because the session may be destroyed by what follows.
    services_.executor.post([weak = std::weak_ptr(self_)] {
        const auto self = weak.lock();
        if (!self) return;
        const auto error = std::make_exception_ptr(WebcamStudioError(WebcamStudioError::couldNotBeRecorded));
        if ((*self)->onUnexpectedStop) (*self)->onUnexpectedStop(error);
    });
}

// Choices of the user

void WebcamStudio::switchCamera(const std::string& id) {
    if (!isFraming() || !session_) return;
    options_.webcamID = id;
    session_->stopRunning();
    startCamera();
    store(preference::webcamID, id);
}

void WebcamStudio::addMicrophone(const std::string& id) {
    setMicrophone(true, id);
}

void WebcamStudio::setMicrophone(bool on, const std::string& id) {
    if (!isFraming()) return;
    options_.captureMicrophone = on;
    options_.microphoneID = id;
    rebuild();
    store(preference::captureMicrophone, on);
    store(preference::microphoneID, id);
}

/// A choice that cannot be stored applies to this recording all the same.
void WebcamStudio::store(std::string_view key, const DefaultsValue& value) {
    try {
        services_.defaults.set(key, value);
    } catch (const LocalizedError& error) {
        message_ = error.what();
        rebuild();
    }
}

std::vector<MenuItem> WebcamStudio::cameraMenu() {
    return deviceMenu(content->cameras, content->cameraID,
                      [this](const std::string& id) { switchCamera(id); });
}

std::vector<MenuItem> WebcamStudio::microphoneMenu() {
    return lumicrate::microphoneMenu(content->microphones, content->microphoneID,
                                     [this](const std::string& id) { addMicrophone(id); });
}

// Content

void WebcamStudio::follow() {
    next_.cameras = *recorder_.cameras;
    next_.microphones = *recorder_.microphones;
    next_.phase = phaseOf(*recorder_.state);
    const auto observe = [this](const auto& published, auto apply) {
        subscriptions_.push_back(published.observe([this, apply](const auto& coming) {
            apply(next_, coming);
            rebuild();
        }));
    };
    observe(recorder_.cameras, [](Content& next, const auto& coming) { next.cameras = coming; });
    observe(recorder_.microphones, [](Content& next, const auto& coming) { next.microphones = coming; });
    observe(recorder_.state, [](Content& next, State coming) { next.phase = phaseOf(coming); });
    observe(recorder_.countdownValue, [](Content& next, const auto& coming) { next.countdown = coming; });
}

void WebcamStudio::rebuild() {
    next_.cameraID = session_->deviceID();
    next_.microphoneOn = options_.captureMicrophone;
    // The default is what is recorded if the chosen one is not connected.
    next_.microphoneID = find(next_.microphones, options_.microphoneID) ? options_.microphoneID : "";
    next_.canRecord = running_ && next_.phase == Phase::framing;
    next_.message = message_;
    if (next_ != *content) content = next_;
}

}  // namespace lumicrate
