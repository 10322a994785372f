// SPDX-License-Identifier: GPL-3.0-or-later
// The command "record".
#include "App/Application.h"
#include "App/CaptureBackend.h"
#include "App/CommandLine/CommandLine.h"
#include "App/CommandLine/Printing.h"
#include "App/CommandLine/RecordArguments.h"
#include "App/CommandLine/StatusLine.h"
#include "App/DesktopSession.h"
#include "App/RecorderServices.h"
#include "App/Signals.h"
#include "Linux/Desktop/DesktopServices.h"
#include "Lumicrate/Shell/AfterSave.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/Task.h"
#include "Support/Text.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <sys/prctl.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <memory>
#include <string_view>
#include <system_error>

namespace lumicrate::app {

namespace {

constexpr std::string_view cancelledEarly = translatable("Cancelled before the recording began.");

void say(const std::string& sentence) {
    fmt::print(stderr, "lumicrate: {}\n", sentence);
}

/// A microphone named on the command line must be connected; a stored one falls back to the default.
void requireNamedMicrophone(const RecordArguments& request, const AVCaptureDevices& devices) {
    const std::string& id = request.options.microphoneID;
    if (!request.microphoneRequired || id.empty()) return;
    const std::vector<CaptureDevice> connected = devices.microphones();
    if (connected.empty()) return;  // The recorder gives the reason.
    const auto isNamed = [&](const CaptureDevice& device) { return device.id == id; };
    if (std::any_of(connected.begin(), connected.end(), isNamed)) return;
    throw LocalizedError(
        localized("There is no microphone “{}”. “lumicrate sources” lists the microphones.", {id}));
}

void checkCamera(RecordArguments& request, const std::vector<CaptureDevice>& connected) {
    if (request.camera) request.options.webcamID = findCamera(connected, *request.camera);
    if (request.options.webcamEnabled && connected.empty())
        throw LocalizedError(localized("No camera is available."));
}

void requireScreenAccess(const SystemServices& system) {
    if (system.capture.CGPreflightScreenCaptureAccess()) return;
    throw LocalizedError(system.portalCapture
                             ? localized("This desktop has no portal that shares the screen. Install the "
                                         "xdg-desktop-portal package of your desktop.")
                             : localized("No display server can be reached to record the screen."));
}

/// Through the portal, the user chooses the window in the desktop's dialog.
CaptureSource windowSource(std::uint32_t windowID, const SystemServices& system) {
    const bool isNamed = windowID != 0;
    if (system.portalCapture && isNamed)
        throw LocalizedError(
            localized("On this desktop windows have no numbers: give --window alone, and "
                      "choose the window in the desktop's dialog."));
    if (!system.portalCapture && !isNamed) throw UsageError(localized("The option --window needs a value."));
    if (isNamed) requireWindow(system.capture.windows(), windowID);
    return CaptureSource::window(windowID);
}

CaptureSource displaySource(RecordArguments& request, const SystemServices& system) {
    const capture::CaptureKit& capture = system.capture;
    const auto displays = capture.displays();
    if (request.mode == RecordArguments::Mode::area) {
        const PlacedArea placed = placeArea(displays, request.area);
        request.options.areaRect = placed.area;
        placeCovers(displays, placed.displayID, request.options.covers);
        return CaptureSource::area(placed.displayID);
    }
    // Any screen: the user chooses one in the desktop's dialog. Covers belong to a known one.
    if (system.portalCapture && displays.empty() && !request.screen && request.options.covers.empty())
        return CaptureSource::display(0);
    const std::uint32_t displayID =
        findDisplay(displays, request.screen, capture.CGMainDisplayID()).displayID;
    placeCovers(displays, displayID, request.options.covers);
    return CaptureSource::display(displayID);
}

/// None for a webcam.
std::optional<CaptureSource> captureSource(RecordArguments& request, const SystemServices& system) {
    if (request.mode == RecordArguments::Mode::webcam) return std::nullopt;
    if (request.mode == RecordArguments::Mode::audio) return CaptureSource::audioOnly();
    requireScreenAccess(system);
    if (request.mode == RecordArguments::Mode::window) return windowSource(request.window, system);
    return displaySource(request, system);
}

/// Runs one recording from its start to its file, following the recorder's published state.
class Recording {
 public:
    Recording(Executor& executor, RecorderServices& services, const RecordArguments& request, bool printsJson,
              Signals& signals)
        : recorder_(services.recorder),
          executor_(executor),
          request_(request),
          printsJson_(printsJson),
          signals_(signals),
          states_(recorder_.state.observe([this](ScreenRecorder::State coming) { onState(coming); })),
          errors_(recorder_.errorMessage.observe([this](const auto& coming) {
              // Posted, because an error usually ends the recording at once.
              if (coming) executor_.post([this] { sayErrorWhileRecording(); });
          })),
          finishing_(services.sound.progress().observe([this](std::optional<double> part) {
              if (part) line_.show({Phase::saving, 0, 0, 0, std::nullopt, part});
          })) {
        signals_.handle([this](int signal) { onSignal(signal); });
    }
    ~Recording() { signals_.handle(nullptr); }
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    /// Returns the exit status.
    int run(const std::optional<CaptureSource>& source) {
        recorder_.setOptionsOverride(request_.options);
        recorder_.setOutputOverride(request_.output);
        recorder_.setSoundOverride(request_.sound);
        recorder_.setRequiredSound({request_.systemAudioRequired, request_.microphoneRequired});
        if (source) {
            recorder_.setSource(*source);
            recorder_.start(true);
        } else {
            recorder_.recordWebcam();
        }
        showStatus();
        QCoreApplication::exec();
        return conclude();
    }

 private:
    using State = ScreenRecorder::State;
    using Phase = RecordingStatus::Phase;

    void onSignal(int signal) {
        if (signal == SIGUSR1) {
            recorder_.togglePause();
        } else {
            stoppedByUser_ = true;
            recorder_.requestStop();
        }
    }

    void onState(State coming) {
        const State before = *recorder_.state;
        if (coming == State::recording && before == State::starting) {
            begun_ = true;
            // A busy machine must not cost a recording.
            signals_.setDeadline({std::chrono::seconds(10),
                                  localized("The recorder doesn't respond. “lumicrate recordings” finishes "
                                            "the recording.")});
            if (request_.duration) executor_.post([this] { watchDuration(); });
        } else if (coming == State::stopping) {
            line_.show({Phase::saving, 0, 0, 0, std::nullopt});
        } else if (coming == State::idle) {
            // Posted, so that the recorder has finished its transition when the loop ends.
            executor_.post([] { QCoreApplication::quit(); });
        }
    }

    /// Pauses do not count, so the remaining time is computed again whenever it should be over.
    void watchDuration() {
        const double left = *request_.duration - recorder_.elapsedNow();
        if (left <= 0) return recorder_.requestStop();
        constexpr double minWait = 0.1;
        const double wait = *recorder_.state == State::paused ? std::max(left, minWait) : left;
        executor_.after(std::chrono::nanoseconds(std::llround(wait * 1e9)), [this] { watchDuration(); });
    }

    void showStatus() {
        if (!line_.isVisible()) return;
        if (const auto status = currentStatus()) line_.show(*status);
        executor_.after(std::chrono::milliseconds(250), [this] { showStatus(); });
    }

    std::optional<RecordingStatus> currentStatus() const {
        RecordingStatus status;
        switch (*recorder_.state) {
            case State::countingDown:
                status.phase = Phase::countingDown;
                status.countdown = recorder_.countdownValue->value_or(0);
                return status;
            case State::recording:
            case State::paused:
                status.phase = *recorder_.state == State::paused ? Phase::paused : Phase::recording;
                status.elapsed = *recorder_.elapsed;
                if (const auto file = recorder_.outputURL()) {
                    std::error_code unknown;
                    const auto size = std::filesystem::file_size(*file, unknown);
                    if (!unknown) status.bytes = size;
                }
                if (*recorder_.recordsMicrophone && request_.metersMicrophone)
                    status.microphoneLevel = *recorder_.microphoneLevel;
                return status;
            default:
                return std::nullopt;
        }
    }

    void sayErrorWhileRecording() {
        if (!recorder_.isActive() || !*recorder_.errorMessage) return;
        line_.clear();
        say(**recorder_.errorMessage);
    }

    int conclude() {
        line_.clear();
        if (recorder_.refusedFrames() > 0) {
            constexpr std::uint64_t most = std::numeric_limits<int>::max();
            say(localizedPlural("{} picture is missing because the computer or its disk couldn't keep up.",
                                "{} pictures are missing because the computer or its disk couldn't keep up.",
                                static_cast<int>(std::min(recorder_.refusedFrames(), most))));
        }
        for (const std::string& notice : *recorder_.notices)
            say(notice);
        if (*recorder_.errorMessage) say(**recorder_.errorMessage);
        if (!begun_ && stoppedByUser_) say(localized(cancelledEarly));
        if (!begun_ && !stoppedByUser_ && !*recorder_.errorMessage) say(localized("Nothing was chosen."));
        if (printsJson_) {
            printResult();
        } else if (*recorder_.lastRecording) {
            fmt::print("{}\n", (*recorder_.lastRecording)->string());
        }
        return *recorder_.lastRecording && !*recorder_.errorMessage ? exitDone : exitFailed;
    }

    void printResult() const {
        nlohmann::ordered_json result{{"path", nullptr},
                                      {"duration", recorder_.elapsedNow()},
                                      {"missingPictures", recorder_.refusedFrames()},
                                      {"notices", *recorder_.notices},
                                      {"error", nullptr}};
        if (*recorder_.lastRecording) result["path"] = (*recorder_.lastRecording)->string();
        if (*recorder_.errorMessage) result["error"] = **recorder_.errorMessage;
        printJson(result);
    }

    ScreenRecorder& recorder_;
    Executor& executor_;
    RecordArguments request_;
    bool printsJson_;
    Signals& signals_;
    StatusLine line_;
    bool begun_ = false;
    bool stoppedByUser_ = false;
    Subscription states_;
    Subscription errors_;
    Subscription finishing_;
};

/// Encoder buffers would be placed on huge pages, which the kernel clears as a whole although a mostly still
/// screen touches only parts of them. That is up to a third of the CPU time of such a recording.
void preferSmallPages() {
    prctl(PR_SET_THP_DISABLE, 1, 0, 0, 0);
}

/// By another process, which reports a failure when this one has long ended.
void startAfterSave(const std::string& command, const std::filesystem::path& file) {
    if (command.empty()) return;
    try {
        desktop::TaskLauncher().launch({QCoreApplication::applicationFilePath().toStdString(),
                                        std::string(afterSaveCommand.name), command, file.string()},
                                       {});
    } catch (const PlatformError& error) {
        say(error.what());
    }
}

Task<void> listWindows(ScreenRecorder& recorder) {
    try {
        Task<void> refreshing = recorder.refreshSources();
        co_await refreshing;
    } catch (const PlatformError&) {
        // The recording will give the reason.
    }
}

/// So that the recorder knows where a recorded window is, and places the panels inside of it.
void awaitWindows(Executor& executor, ScreenRecorder& recorder) {
    const RunningTask listing(executor, listWindows(recorder));
    while (listing.isRunning())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

RecordArguments readArguments(const ParsedOptions& parsed) {
    desktop::UserDefaults defaults;
    RecordingOptions::registerDefaults(defaults);
    const std::string mode = defaults.stringForKey(preference::captureMode).value_or("");
    RecordArguments request =
        readRecordArguments(parsed, RecordingOptions::current(defaults), fromRawValue<CaptureMode>(mode));
    request.metersMicrophone = defaults.boolForKey(preference::webcamMicLevel);
    return request;
}

int runRecord(const ParsedOptions& parsed) {
    preferSmallPages();
    // Before any thread is started, so that all of them inherit the blocked signals.
    Signals::block({SIGINT, SIGTERM, SIGHUP, SIGUSR1});
    Signals signals({SIGINT, SIGTERM, SIGHUP, SIGUSR1},
                    Signals::Deadline{endTimeout, localized(cancelledEarly)});
    RecordArguments given = readArguments(parsed);
    useBackend(parsed);
    if (given.options.highlightClicks && !desktopAbilities().seesClicks) {
        given.options.highlightClicks = false;
        if (parsed.isOn("clicks") == true) say(DesktopAbilities::clicksNote());
    }
    if (given.options.showKeys && !desktopAbilities().seesKeys) {
        given.options.showKeys = false;
        if (parsed.isOn("keys") == true) say(DesktopAbilities::keysNote());
    }
    if (parsed.isOn("input-data") == true && !desktopAbilities().seesClicks)
        say(DesktopAbilities::inputDataNote());
    const bool hasPanels =
        given.options.webcamEnabled || given.options.highlightClicks || given.options.showKeys;
    const std::unique_ptr<QCoreApplication> application =
        hasPanels ? std::unique_ptr<QCoreApplication>(makeDesktopApplication()) : makeConsoleApplication();
    SystemServices system;
    HeadlessDesktop headless;
    std::optional<DesktopSession> desktop;
    if (hasPanels) desktop.emplace(system);
    RecorderServices services(system, desktop
                                          ? headless.services(desktop->screens, desktop->pictureOverlays())
                                          : headless.services());
    RecordArguments request = given;
    if (request.output) checkOutput(*request.output);
    checkCamera(request, system.devices.cameras());
    if (request.portalToken && system.portalCapture) system.portalCapture->setToken(*request.portalToken);
    const std::optional<CaptureSource> source = captureSource(request, system);
    requireNamedMicrophone(request, system.devices);
    if (hasPanels && source && source->windowID()) awaitWindows(system.executor, services.recorder);
    const int status = Recording(system.executor, services, request, parsed.has("json"), signals).run(source);
    if (const auto saved = *services.recorder.lastRecording)
        startAfterSave(
            request.afterSave.value_or(system.defaults.stringForKey(preference::afterSave).value_or("")),
            *saved);
    if (request.portalToken && system.portalCapture && !system.portalCapture->latestToken().empty())
        say(localized("The next portal token is {}", {system.portalCapture->latestToken()}));
    return status;
}

/// Runs the command with the file, waits for its end, and says if it fails.
int runAfterSaveCommand(const ParsedOptions& parsed) {
    const auto& words = parsed.positional();
    if (words.size() != 2) throw UsageError(localized("Give a command and a file."));
    desktop::TaskLauncher tasks;
    int status = exitDone;
    bool hasEnded = false;
    runAfterSave(
        tasks, words[0], words[1],
        [&status](const std::string& sentence) {
            say(sentence);
            status = exitFailed;
        },
        [&hasEnded] {
            hasEnded = true;
            QCoreApplication::quit();
        });
    if (!hasEnded) QCoreApplication::exec();
    return status;
}

}  // namespace

constinit const Command afterSaveCommand{
    "after-save",       translatable("Run a command with a saved recording."), "COMMAND FILE", "", {},
    runAfterSaveCommand};

const Command recordCommand{
    "record",
    translatable("Record a screen, a window, an area, a camera or sound."),
    "[OPTIONS]",
    translatable(
        "What is not given is taken from the stored preferences (“lumicrate settings”); without a\n"
        "source, the main screen is recorded. SIGINT, SIGTERM and SIGHUP stop and save, SIGUSR1 pauses\n"
        "and resumes. The last line of standard output is the file's path. A program given with "
        "--after-save\n"
        "is not waited for; if it fails, that is said on standard error and changes nothing else."),
    recordOptionSpecs(),
    runRecord};

}  // namespace lumicrate::app
