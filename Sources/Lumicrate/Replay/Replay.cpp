// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Replay/Replay.h"

#include "Lumicrate/Capture/SourceLists.h"
#include "Lumicrate/Capture/StreamConfiguration.h"
#include "Lumicrate/Recording/SoundCheck.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace lumicrate {

using namespace std::chrono_literals;

namespace {

using State = ScreenRecorder::State;

/// How often the movie in memory is extended to the present.
constexpr auto keepUpInterval = 750ms;
constexpr auto retryInterval = 10s;

/// Of a still screen, in seconds. What is kept begins with a key frame, so it exceeds the limit by up to this
/// interval. A key frame takes as much processor time as ten seconds without one.
double keyFrameInterval(int limit) {
    return limit / 3.0;
}

/// From the start of a recording to its end, two captures would take the processor time of two.
bool isRecording(State state) {
    return state == State::starting || state == State::recording || state == State::paused ||
           state == State::stopping;
}

/// Of the preferences those that its capture depends on: it would begin anew with each change of another.
RecordingOptions captureOptions(const NSUserDefaults& defaults) {
    const RecordingOptions current = RecordingOptions::current(defaults);
    RecordingOptions options;
    options.captureSystemAudio = current.captureSystemAudio;
    options.captureMicrophone = current.captureMicrophone;
    options.microphoneID = current.microphoneID;
    options.quality = current.quality;
    options.fps = current.fps;
    options.format = current.format;
    options.showCursor = current.showCursor;
    options.hideSelf = current.hideSelf;
    options.encodingQuality = current.encodingQuality;
    options.constantFrameRate = current.constantFrameRate;
    options.neverRecorded = current.neverRecorded;
    options.recordsInputData = current.recordsInputData;
    return options;
}

}  // namespace

Replay::Replay(Services services) : services_(std::move(services)), chosen_(seconds()) {
    stateChanges_ = services_.recorder.state.observe([this](State coming) { update(coming); });
    defaultsChanges_ = services_.defaults.observe([this] { preferencesChanged(); });
    services_.recorder.onSaveReplay = [this] {
        if (*isOn) saveSoon();
    };
    update(*services_.recorder.state);
}

Replay::~Replay() {
    services_.recorder.onSaveReplay = nullptr;
}

int Replay::seconds() const {
    const auto stored = static_cast<int>(services_.defaults.integerForKey(preference::replaySeconds));
    return std::ranges::find(replayChoices, stored) == replayChoices.end() ? 0 : stored;
}

AVReplayBuffer::Contents Replay::contents() const {
    return buffer_ ? buffer_->contents() : AVReplayBuffer::Contents{};
}

void Replay::preferencesChanged() {
    const bool wasOff = chosen_ == 0;
    chosen_ = seconds();
    if (wasOff != (chosen_ == 0)) services_.recorder.registerHotKeys();
    update(*services_.recorder.state);
}

/// Begins, ends, or begins anew with other options.
void Replay::update(State state) {
    const bool isPossible = services_.desktop.capturesUnasked && !isRecording(state);
    const int wanted = isPossible ? seconds() : 0;
    const RecordingOptions options = captureOptions(services_.defaults);
    if (running_.isRunning() && wanted == limit_ && options == options_) return;
    stop();
    running_.cancel();
    limit_ = wanted;
    options_ = options;
    if (wanted > 0) running_ = RunningTask(services_.executor, run());
    if (seconds() == 0) errorMessage = std::nullopt;
}

void Replay::stop() {
    input_.reset();
    session_.reset();
    buffer_.reset();
    if (*isOn) isOn = false;
}

Task<void> Replay::run() {
    while (true) {
        try {
            Task<void> capturing = capture();
            co_await capturing;
        } catch (...) {
            errorMessage = localized("The last seconds can't be kept: ") +
                           localizedDescription(std::current_exception());
        }
        stop();
        co_await sleepFor(services_.executor, retryInterval);
    }
}

/// Until the stream ends.
Task<void> Replay::capture() {
    ended_ = nullptr;
    Task<void> preparing = prepare();
    co_await preparing;
    Task<void> starting = session_->start();
    co_await starting;
    log(LogArea::recorder, "keeping the last ", limit_, " s");
    errorMessage = std::nullopt;
    isOn = true;
    while (!ended_) {
        co_await sleepFor(services_.executor, keepUpInterval);
        session_->keepUp();
    }
    std::rethrow_exception(ended_);
}

Task<void> Replay::prepare() {
    RecordingOptions options = options_;
    if (!soundQueue_) soundQueue_ = services_.movie.makeQueue("Lumicrate.replay-sound-check");
    Task<SoundDevices> asking = fetchSoundDevices(services_.devices, services_.executor, *soundQueue_);
    const SoundDevices sound = co_await asking;
    leaveOutMissingSound(options, sound, {}, false);
    Task<SCShareableContent> listing = fetchShareableContent(services_.capture, services_.executor);
    const SCShareableContent content = co_await listing;

    FilterRequest request;
    request.hideSelf = options.hideSelf;
    request.neverRecorded = options.neverRecorded;
    request.processID = services_.process.processIdentifier();
    request.mainDisplayID = chooseMainDisplay(content.displays, services_.recorder.mainDisplayID());
    const CaptureSource source = CaptureSource::display(request.mainDisplayID);
    request.source = source;
    target_ = makeFilter(content, request);
    configuration_ = makeConfiguration(target_, source, options, sound.microphones);

    fileExtension_ = movieFormat(options.format, false).fileExtension;
    buffer_ = services_.makeBuffer({.seconds = static_cast<double>(limit_)});
    MovieWriter::Services movie = services_.movie;
    movie.makeAssetWriter = [buffer = buffer_](const std::filesystem::path&, AVFileType fileType) {
        return buffer->makeWriter(fileType);
    };
    MovieWriter::Settings settings = makeWriterSettings(configuration_, options, false);
    settings.input = options.recordsInputData && services_.pointer;
    settings.stillKeyFrameInterval = keyFrameInterval(limit_);
    const auto ended = [this](const std::exception_ptr& error) { ended_ = error; };
    session_ = std::make_unique<CaptureSession>(
        settings,
        [this](SCStreamDelegate& delegate) {
            return services_.capture.makeStream(target_.filter, configuration_, delegate);
        },
        configuration_, movie, services_.executor,
        CaptureSession::Handlers{.onStopped = ended,
                                 .onNotice = [](const std::string&) {},
                                 .onInterruption = ended,
                                 .onMicrophoneLevel = {}});
    if (!settings.input) co_return;
    input_.emplace(InputMonitors{services_.pointer}, services_.capture, services_.movie.clock, target_,
                   configuration_, [session = session_.get()](RecordedInput input, CMTime at) {
                       session->addInput(std::move(input), at);
                   });
}

void Replay::requireOn() const {
    if (!*isOn) throw LocalizedError(localized("The last seconds are not being kept."));
}

void Replay::record() {
    requireOn();
    if (*services_.recorder.state != State::idle)
        throw LocalizedError(localized("Another recording is in progress."));
    // From here on the capture belongs to the recorder, whose state ends this one's tasks.
    isOn = false;
    input_.reset();
    services_.recorder.start({std::move(session_), std::move(buffer_), options_, target_, configuration_});
}

Task<std::filesystem::path> Replay::save() {
    requireOn();
    const std::shared_ptr<AVReplayBuffer> buffer = buffer_;
    const RecordingFolder::InProgress file = services_.folder.markInProgress(
        services_.folder.newRecordingURL(RecordingFolder::Kind::replay, fileExtension_));
    Task<void> catchingUp = session_->catchUp();
    co_await catchingUp;
    const Completion<std::exception_ptr> written(services_.executor);
    buffer->save(file.url(), [written](std::exception_ptr error) { written.resolve(std::move(error)); });
    const std::exception_ptr error = co_await written;
    if (error) std::rethrow_exception(error);
    co_return file.url();
}

void Replay::saveSoon() {
    requireOn();
    errorMessage = std::nullopt;
    saving_.add(RunningTask(services_.executor, saveAndReport()));
}

Task<void> Replay::saveAndReport() {
    try {
        Task<std::filesystem::path> saving = save();
        const std::filesystem::path url = co_await saving;
        const SoundWishes wishes = SoundWishes::current(services_.defaults);
        if (services_.sound && wishes != SoundWishes()) {
            Task<std::vector<std::string>> finishing = services_.sound->finish(url, wishes);
            const std::vector<std::string> problems = co_await finishing;
            if (!problems.empty()) errorMessage = problems.front();
        }
        lastSaved = url;
        services_.notifications.post(recordingSavedNotification, url);
    } catch (...) {
        errorMessage = localized("The last seconds couldn't be saved: ") +
                       localizedDescription(std::current_exception());
    }
}

}  // namespace lumicrate
