// RecorderFixture: a recorder on a fake desktop, under a virtual clock.
#pragma once

#include "Lumicrate/Movie/AudioMixdown.h"
#include "Lumicrate/Overlays/AreaFrame.h"
#include "Lumicrate/Overlays/ClickHighlighter.h"
#include "Lumicrate/Overlays/ControlBarController.h"
#include "Lumicrate/Overlays/CountdownController.h"
#include "Lumicrate/Overlays/Selection/AreaSelector.h"
#include "Lumicrate/Overlays/Selection/ScreenChooser.h"
#include "Lumicrate/Recording/RecorderError.h"
#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Tests/Lumicrate/FakePlatform.h"
#include "Tests/Lumicrate/Movie/FakeAssetWriter.h"
#include "Tests/Lumicrate/Overlays/FakeOverlayContents.h"
#include "Tests/Lumicrate/Settings/SettingsFakes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::test {

using namespace std::chrono_literals;

/// The webcam bubble, which has no implementation yet.
struct FakeWebcam final : public WebcamBubbleShowing {
    void showPanel(RecordingOptions) override { shown = true; }
    void apply() override { shown = false; }
    std::optional<Point> moveInside(Rect area) override {
        inside = area;
        return std::exchange(center, Point{area.midX(), area.midY()});
    }
    void moveCenter(Point to) override { center = to; }
    void moveBy(double dx, double dy) override { center = {center.x + dx, center.y + dy}; }
    void setMicrophoneLevel(std::optional<float> heard) override { level = heard; }
    std::optional<std::uint32_t> windowNumber() const override {
        return shown ? std::optional(number) : std::nullopt;
    }
    void setOnError(std::function<void(const std::string&)> sink) override { onError = std::move(sink); }

    std::uint32_t number = 4;
    bool shown = false;
    Rect inside;
    Point center{5, 5};
    std::optional<float> level;
    std::function<void(const std::string&)> onError;
};

/// Mixing that waits until the test completes it with `result`.
struct FakeMixing final : public AudioMixing {
    explicit FakeMixing(Executor& executor) : executor_(executor) {}
    Task<bool> mixIfNeeded(std::filesystem::path url) override {
        mixed.push_back(url);
        if (noRoom) throw NoRoomToMix();
        const Completion<bool> done = result.emplace(executor_);
        const bool succeeded = co_await done;
        if (!succeeded) throw PlatformError("The tracks can't be read.");
        co_return true;
    }
    std::optional<Completion<bool>> result;
    bool noRoom = false;
    std::vector<std::filesystem::path> mixed;

 private:
    Executor& executor_;
};

struct NoScreenshots final : public SCScreenshotManager {
    std::optional<CGImage> captureImage(std::uint32_t, Size) override { return std::nullopt; }
    std::optional<CGImage> captureDisplay(std::uint32_t) override { return std::nullopt; }
};

class RecorderFixture : public testing::Test {
 protected:
    using State = ScreenRecorder::State;

    RecorderFixture() {
        RecordingOptions::registerDefaults(defaults);
        defaults.stored["countdown"] = false;
        capture.content.displays = {{1, {0, 0, 1920, 1080}, 1, "left"}, {2, {1920, 0, 800, 600}, 1, "right"}};
        SCWindow editor;
        editor.windowID = 7;
        editor.frame = {2000, 100, 300, 200};
        editor.title = "notes";
        editor.owningApplication = SCRunningApplication{9, "Editor"};
        capture.content.windows = {editor};
        const Rect left{0, 0, 1920, 1080};
        const Rect right{1920, 480, 800, 600};
        screens.all = {{1, left, left, 1, "left"}, {2, right, right, 1, "right"}};
    }

    /// The recorder is destroyed before the overlays that a derived fixture owns.
    void TearDown() override {
        controlBar.setRecorder(nullptr);
        recorder.reset();
    }

    ScreenRecorder& make() {
        const MovieWriter::Services writing{
            [this](const std::filesystem::path& url, AVFileType fileType) {
                return makeWriter(url, fileType);
            },
            executor, [this](const std::string&) { return std::make_unique<VirtualQueue>(executor); }, files};
        controlBar.setRecorder(nullptr);
        recorder.emplace(ScreenRecorder::Services{executor, defaults, process, screens, notifications,
                                                  capture, devices, hotKeys, folder, writing, mixing,
                                                  overlays});
        controlBar.setRecorder(&*recorder);
        states.clear();
        watching = recorder->state.observe([this](State coming) { states.push_back(coming); });
        return *recorder;
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

    void deliverMicrophone(float loudness) {
        capture.stream->deliver(sound<float>(executor.time(), AudioSampleFormat::float32, {loudness}),
                                SCStreamOutputType::microphone);
    }

    void record(CaptureSource source = CaptureSource::display(1)) {
        startWith(source);
        ASSERT_EQ(*recorder->state, State::recording);
        deliverFrame();
    }

    /// Confirms an area in the open selection: points of its screen, y down from the top left corner.
    void confirmArea(const Rect& area) {
        SelectionModel& view = contents.selectionModel->selection;
        view.preselect({area.x, view.screen().height - area.maxY(), area.width, area.height});
        view.confirm();
        executor.advance(100ms);
    }

    FakeMovie& movie() { return movies.back(); }

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

    /// Nothing remains of a recording.
    void expectNothingLeft() {
        EXPECT_TRUE(files.existing.empty());
        EXPECT_FALSE(!movies.empty() && folder.isInProgress(movie().url));
        EXPECT_FALSE(capture.stream && capture.stream->alive);
        EXPECT_EQ(process.running, 0);
        EXPECT_EQ(executor.pendingTimers(), 0U);
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
    RecordingFolder folder{files, calendar};
    FakeMixing* mixing = nullptr;

    // Overlays whose contents are fake. A test puts those that it needs into `overlays`.
    FakeOverlayContents contents;
    NoScreenshots noScreenshots;
    FakeMouse clickMonitoring;
    FakeKeyMonitoring keyMonitoring;
    AreaSelector areaSelector{{executor, capture, noScreenshots, process, screens, defaults, contents}};
    ScreenChooser screenChooser{executor, screens, noScreenshots, keyMonitoring, contents};
    CountdownController countdown{executor, screens, defaults, contents};
    ControlBarController controlBar{screens, defaults, contents};
    ClickHighlighter clickHighlighter{executor, screens, clickMonitoring, contents};
    AreaFrame areaFrame{contents};
    RecorderOverlays overlays;

    std::deque<FakeMovie> movies;
    std::exception_ptr writerRefusal;
    bool writerStarts = true;

    std::vector<State> states;
    Subscription watching;
    std::optional<ScreenRecorder> recorder;

 private:
    std::unique_ptr<AVAssetWriter> makeWriter(const std::filesystem::path& url, AVFileType fileType) {
        if (writerRefusal) std::rethrow_exception(writerRefusal);
        FakeMovie& next = movies.emplace_back();
        next.url = url;
        next.fileType = fileType;
        next.starts = writerStarts;
        if (!writerStarts) next.setError("The disk is full.");
        files.existing.insert(url);
        return std::make_unique<FakeAssetWriter>(next);
    }
};

}  // namespace lumicrate::test
