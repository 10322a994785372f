// SPDX-License-Identifier: GPL-3.0-or-later
// RecorderFixture: a recorder on a fake desktop, under a virtual clock.
#pragma once

#include "Lumicrate/Overlays/AreaFrame.h"
#include "Lumicrate/Overlays/ClickHighlighter.h"
#include "Lumicrate/Overlays/ControlBarController.h"
#include "Lumicrate/Overlays/CountdownController.h"
#include "Lumicrate/Overlays/KeystrokeDisplay.h"
#include "Lumicrate/Overlays/Selection/AreaSelector.h"
#include "Lumicrate/Overlays/Selection/ScreenChooser.h"
#include "Lumicrate/Recording/RecorderError.h"
#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Lumicrate/Replay/Replay.h"
#include "Tests/Lumicrate/Movie/FakeAssetWriter.h"
#include "Tests/Lumicrate/Overlays/FakeOverlayContents.h"
#include "Tests/Lumicrate/Replay/FakeReplayBuffer.h"

#include <deque>

namespace lumicrate::test {

using namespace std::chrono_literals;

inline const std::exception_ptr broken = failure("It is broken.");
inline const std::exception_ptr diskFull = failure("The disk is full.");
inline const std::exception_ptr displayLost =
    std::make_exception_ptr(SCStreamError("The display is gone.", -3815));

/// A webcam bubble without camera and panel.
struct FakeWebcam final : public WebcamBubbleShowing {
    void showPanel(RecordingOptions) override { shown = true; }
    void apply() override { shown = false; }
    void setSuspended(bool now) override { suspended = now; }
    std::optional<Point> moveInside(Rect area) override {
        inside = area;
        return std::exchange(center, Point{area.midX(), area.midY()});
    }
    void moveCenter(Point to) override { center = to; }
    void moveBy(double dx, double dy) override { center = {center.x + dx, center.y + dy}; }
    void setMicrophoneLevel(std::optional<float> heard) override { level = heard; }
    std::optional<std::uint32_t> windowNumber() const override {
        return shown ? std::optional(4U) : std::nullopt;
    }
    void setOnWindowChange(std::function<void()> changed) override { onWindowChange = std::move(changed); }
    void setOnError(std::function<void(const std::string&)> sink) override { onError = std::move(sink); }

    bool shown = false;
    bool suspended = false;
    Rect inside;
    Point center{5, 5};
    std::optional<float> level;
    std::function<void(const std::string&)> onError;
    std::function<void()> onWindowChange;
};

class RecorderFixture : public testing::Test {
 protected:
    using State = ScreenRecorder::State;

    RecorderFixture() {
        RecordingOptions::registerDefaults(defaults);
        defaults.stored["countdown"] = false;
        capture.content.displays = {{1, {0, 0, 1920, 1080}, 1, "left"}, {2, {1920, 0, 800, 600}, 1, "right"}};
        capture.content.windows = {{7, {2000, 100, 300, 200}, "notes", 0, SCRunningApplication{9, "Editor"}}};
        const Rect left{0, 0, 1920, 1080};
        const Rect right{1920, 480, 800, 600};
        screens.all = {{1, left, left, 1, "left"}, {2, right, right, 1, "right"}};
    }

    /// The recorder is destroyed before the overlays that a derived fixture owns.
    void TearDown() override {
        controlBar.setRecorder(nullptr);
        replay.reset();
        recorder.reset();
    }

    ScreenRecorder& make() {
        const MovieWriter::Services writing = writingServices();
        controlBar.setRecorder(nullptr);
        replay.reset();
        recorder.emplace(ScreenRecorder::Services{
            executor, defaults, process, screens, notifications, capture, devices, hotKeys, folder, writing,
            soundFinishing, overlays, makeCameraSession, makeStudioWindow, sharingPicker, pointer});
        controlBar.setRecorder(&*recorder);
        states.clear();
        announced.clear();
        watching = recorder->state.observe([this](State coming) { states.push_back(coming); });
        return *recorder;
    }

    Replay& makeReplay() {
        if (!recorder) make();
        const auto makeBuffer = [this](const AVReplayBuffer::Limits& limits) {
            FakeReplay& next = replays.emplace_back();
            next.limits = limits;
            return std::make_unique<FakeReplayBuffer>(next);
        };
        replay.emplace(Replay::Services{executor,
                                        defaults,
                                        process,
                                        notifications,
                                        capture,
                                        devices,
                                        folder,
                                        writingServices(),
                                        soundFinishing,
                                        makeBuffer,
                                        *recorder,
                                        {},
                                        pointer});
        return *replay;
    }

    /// Up to the call that starts capture.
    void startWith(CaptureSource source) {
        if (!recorder) make();
        recorder->setSource(source);
        recorder->start(false);
        executor.advance(100ms);
    }

    void deliverFrame() {
        capture.stream->deliver(frame(executor.time()), SCStreamOutputType::screen);
        executor.drain();
    }

    void deliverMicrophone(float loudness = 1) {
        capture.stream->deliver(sound<float>(executor.time(), AudioSampleFormat::float32, {loudness}),
                                SCStreamOutputType::microphone);
    }

    void record(CaptureSource source = CaptureSource::display(1)) {
        startWith(source);
        ASSERT_EQ(*recorder->state, State::recording);
        deliverFrame();
    }

    /// Opens the selection of an area or a window.
    void select(CaptureMode mode = CaptureMode::area) {
        recorder->record(mode);
        executor.drain();
    }

    /// Confirms an area in the open selection: points of its screen, y down from the top left corner.
    void confirmArea(const Rect& area) {
        SelectionModel& view = contents.selectionModel->selection;
        view.preselect({area.x, view.screen().height - area.maxY(), area.width, area.height});
        view.confirm();
        executor.advance(100ms);
    }

    FakeMovie& movie() { return movies.back(); }

    /// Reports the outcome of starting the stream.
    void completeStart(const std::exception_ptr& error = nullptr) {
        capture.stream->started(error);
        executor.drain();
    }
    void interruptStream(const std::exception_ptr& error) {
        capture.stream->delegate->didStopWithError(error);
        executor.drain();
    }
    /// Reports the outcome of writing the file.
    void complete(AVAssetWriterStatus outcome = AVAssetWriterStatus::completed) {
        executor.drain();
        movie().complete(outcome);
        executor.drain();
    }

    void stopAndComplete() {
        recorder->requestStop();
        complete();
    }

    std::string message() const { return recorder->errorMessage->value_or(""); }

    void expectIdle(const std::string& sentence = "") {
        EXPECT_EQ(*recorder->state, State::idle);
        EXPECT_EQ(message(), sentence);
    }

    /// Nothing remains of a recording, except a saved file.
    void expectNothingLeft(const std::set<std::filesystem::path>& saved = {}) {
        EXPECT_EQ(std::exchange(files.existing, {}), saved);
        EXPECT_FALSE(!movies.empty() && folder.isInProgress(movie().url));
        EXPECT_FALSE(capture.stream && capture.stream->alive);
        EXPECT_EQ(process.running, 0);
        EXPECT_EQ(executor.pendingTimers(), 0U);
    }

    /// The file of the last recording is complete and announced.
    void expectSaved(const std::string& sentence = "") {
        expectIdle(sentence);
        EXPECT_EQ(*recorder->lastRecording, movie().url);
        EXPECT_THAT(std::exchange(announced, {}), ElementsAre(movie().url));
        expectNothingLeft({movie().url});
    }

    VirtualExecutor executor;
    FakeDefaults defaults;
    FakeProcess process;
    FakeScreens screens;
    NotificationCenter notifications;
    FakeCapture capture;
    FakeDevices devices;
    FakeHotKeys keys;
    HotKeyCenter hotKeys{keys};
    FakeFiles files;
    FakeCalendar calendar;
    RecordingFolder folder{files, calendar, defaults};
    SoundFinishing* soundFinishing = nullptr;
    SCContentSharingPicker* sharingPicker = nullptr;
    NSPointerMonitoring* pointer = nullptr;

    // Overlays whose contents are fake. A test puts those that it needs into `overlays`.
    FakeOverlayContents contents;
    FakeDisplayPictures pictures{contents};
    FakeMouse clickMonitoring;
    FakeKeyMonitoring keyMonitoring;
    AreaSelector areaSelector{{executor, capture, pictures, process, screens, defaults, contents}};
    ScreenChooser screenChooser{executor, screens, pictures, keyMonitoring, contents};
    CountdownController countdown{executor, screens, defaults, contents};
    ControlBarController controlBar{screens, defaults, contents};
    ClickHighlighter clickHighlighter{executor, screens, clickMonitoring, contents};
    FakePresses presses;
    KeystrokeDisplay keystrokeDisplay{executor, defaults, presses, contents};
    AreaFrame areaFrame{contents};
    RecorderOverlays overlays;
    AVCaptureSessionFactory makeCameraSession;
    WebcamStudio::WindowFactory makeStudioWindow;

    std::deque<FakeMovie> movies;
    std::exception_ptr writerRefusal;
    bool writerStarts = true;

    std::vector<State> states;
    std::vector<std::filesystem::path> announced;
    Subscription announcing = notifications.observe(recordingSavedNotification,
                                                    [this](const auto& url) { announced.push_back(*url); });
    Subscription watching;
    std::optional<ScreenRecorder> recorder;
    std::deque<FakeReplay> replays;
    std::optional<Replay> replay;

 private:
    MovieWriter::Services writingServices() {
        return {[this](const auto& url, AVFileType fileType) { return makeWriter(url, fileType); }, executor,
                [this](const std::string&) { return std::make_unique<VirtualQueue>(executor); }, files};
    }

    std::unique_ptr<AVAssetWriter> makeWriter(const std::filesystem::path& url, AVFileType fileType) {
        if (writerRefusal) std::rethrow_exception(writerRefusal);
        FakeMovie& next = movies.emplace_back();
        next.url = url;
        next.fileType = fileType;
        next.starts = writerStarts;
        if (!writerStarts) next.error = diskFull;
        files.existing.insert(url);
        return std::make_unique<FakeAssetWriter>(next);
    }
};

}  // namespace lumicrate::test
