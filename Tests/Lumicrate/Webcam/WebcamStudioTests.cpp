// SPDX-License-Identifier: GPL-3.0-or-later
// A webcam recording: framing in the studio's window, the camera's frames, and unexpected ends.
#include "Tests/Lumicrate/FakeCamera.h"
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

namespace lumicrate::test {
namespace {

using Outcome = AVCaptureSession::Outcome;
using Phase = WebcamStudio::Phase;

const std::string noCamera =
    "No camera is available. Connect one or check System Settings › Privacy & Security › Camera.";
const std::string notRecorded = "The camera couldn't be recorded.";

struct StudioWindowRecord {
    WebcamStudio* studio = nullptr;  ///< while the window exists
    std::vector<Size> sizes;
    bool isInFront = false;
    std::function<void()> closed;
};

class FakeStudioWindow final : public NSWindow {
 public:
    FakeStudioWindow(StudioWindowRecord& record, WebcamStudio& studio) : record_(record) {
        record_ = {};
        record_.studio = &studio;
    }
    ~FakeStudioWindow() override { record_.studio = nullptr; }
    void setContentMinSize(Size size) override { record_.sizes.push_back(size); }
    void setContentSize(Size size) override { record_.sizes.push_back(size); }
    Size visibleFrameSize() const override { return {1920, 1080}; }
    void center() override {}
    void makeKeyAndOrderFront() override { record_.isInFront = true; }
    void setOnClose(std::function<void()> closed) override { record_.closed = std::move(closed); }

 private:
    StudioWindowRecord& record_;
};

class WebcamStudioTests : public RecorderFixture {
 protected:
    WebcamStudioTests() {
        devices.seen = {{"builtin", "Built-in"}, {"usb", "USB"}};
        devices.heard = {{"desk", "Desk"}};
        defaults.stored["captureSystemAudio"] = true;
        overlays.webcam = &bubble;
        overlays.controlBar = &controlBar;
        makeCameraSession = cameras.factory();
        makeStudioWindow = [this](WebcamStudio& studio) {
            return std::make_unique<FakeStudioWindow>(window, studio);
        };
    }

    /// Opens the studio; the camera has not answered yet.
    void open() {
        if (!recorder) make();
        recorder->record(CaptureMode::webcam);
        executor.drain();
    }
    void cameraAnswers(Outcome outcome) {
        cameras.last().started(outcome);
        executor.drain();
    }
    void frame(PixelSize size = {1280, 720}) {
        open();
        cameras.last().show(plainPicture(size, 0));
        cameraAnswers(Outcome::running);
    }
    void startRecording() {
        frame();
        recorder->toggle();
        executor.advance(100ms);
        ASSERT_EQ(*recorder->state, State::recording);
        deliver();
    }
    void deliver() {
        cameras.last().deliver(executor.time());
        executor.drain();
    }
    void closeWindow() {
        window.closed();
        executor.drain();
    }
    const WebcamStudio::Content& shown() const { return *window.studio->content; }
    void expectClosed() {
        EXPECT_EQ(window.studio, nullptr);
        EXPECT_EQ(cameras.open(), 0U);
        EXPECT_FALSE(bubble.suspended);
    }
    void expectCancelled(const std::string& sentence = "") {
        expectIdle(sentence);
        expectClosed();
        expectNothingLeft();
        EXPECT_EQ(*recorder->pickingMode, std::nullopt);
    }

    FakeWebcam bubble;
    FakeCameras cameras;
    StudioWindowRecord window;
};

TEST_F(WebcamStudioTests, FramesThenRecordsTheCameraAlone) {
    defaults.stored["captureMode"] = std::string("webcam");
    defaults.stored["captureMicrophone"] = true;
    defaults.stored["webcamEnabled"] = true;
    defaults.stored["countdown"] = true;
    make().toggle();
    executor.drain();
    EXPECT_EQ(*recorder->state, State::selectingArea);
    EXPECT_TRUE(window.isInFront);
    EXPECT_THAT(window.sizes, ElementsAre(Size{512, 288}, Size{640, 360}));
    EXPECT_TRUE(bubble.suspended);
    EXPECT_FALSE(shown().canRecord);
    recorder->toggle();
    executor.drain();
    EXPECT_EQ(*recorder->state, State::selectingArea) << "there is no picture yet";

    cameras.last().show(plainPicture({1280, 720}, 0));
    cameraAnswers(Outcome::running);
    EXPECT_TRUE(shown().canRecord);
    recorder->toggle();
    executor.drain();
    EXPECT_EQ(shown().countdown, 3);
    EXPECT_EQ(shown().phase, Phase::countingDown);
    executor.advance(3100ms);
    EXPECT_EQ(shown().phase, Phase::recording);
    EXPECT_TRUE(*recorder->recordsMicrophone);
    EXPECT_TRUE(cameras.last().mirrored);
    deliver();
    deliverMicrophone();
    executor.advance(2s);
    recorder->requestStop();
    executor.drain();
    EXPECT_EQ(window.studio, nullptr) << "while the movie is saved";
    EXPECT_EQ(cameras.open(), 0U);
    complete();
    expectClosed();

    EXPECT_EQ(movie().url.filename(), "Recording-Webcam_2024-05-01_14.03.22.mp4");
    ASSERT_THAT(movie().inputs, SizeIs(2)) << "there is no system audio";
    const auto video = std::get<AVVideoOutputSettings>(movie().inputs[0]->settings);
    EXPECT_EQ(video.width, 1280);
    EXPECT_EQ(video.codec, AVVideoCodecType::h264);
    EXPECT_EQ(capture.stream->configuration.width, 2) << "the other stream has sound only";
    EXPECT_FALSE(capture.stream->configuration.capturesAudio);
    EXPECT_FALSE(bubble.shown);
    expectSaved();
}

TEST_F(WebcamStudioTests, TheFormatIsWrittenDirectly) {
    defaults.stored["format"] = std::string("movHEVC");
    startRecording();
    EXPECT_EQ(movie().url.extension(), ".mov");
    EXPECT_EQ(movie().fileType, AVFileType::quickTimeMovie);
    const auto& settings = std::get<AVVideoOutputSettings>(movie().inputs[0]->settings);
    EXPECT_EQ(settings.codec, AVVideoCodecType::hevc);
    EXPECT_TRUE(settings.compression.isNaturalVideo);
}

TEST_F(WebcamStudioTests, FramesHaveOneSizeTheRateOfTheOptionsAndNoGaps) {
    startRecording();
    // 60 frames a second with jitter, while 30 are recorded.
    for (int i = 0; i < 60; ++i) {
        executor.advance(i % 2 == 0 ? 19'000us : 14'333us);
        deliver();
    }
    const auto& frames = movie().inputs[0]->appended;
    EXPECT_NEAR(static_cast<double>(frames.size()), 31, 1);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        EXPECT_EQ(frames[i].frameInfo->sequence, i + 1);
        EXPECT_THAT(frames[i].frameInfo->dirtyRects, ElementsAre(PixelRect{0, 0, 1280, 720}));
    }
    const std::size_t before = frames.size();
    cameras.last().show(plainPicture({640, 480}, 0));
    executor.advance(100ms);
    deliver();
    EXPECT_EQ(frames.size(), before);
}

TEST_F(WebcamStudioTests, FramesWaitingForTheMovieAreLimited) {
    startRecording();
    for (int i = 0; i < 20; ++i)
        cameras.last().deliver(executor.time() + CMTime(i + 1, 30));
    executor.drain();
    EXPECT_THAT(movie().inputs[0]->appended, SizeIs(7));
}

TEST_F(WebcamStudioTests, PausesAreCutOut) {
    startRecording();
    executor.advance(1s);
    recorder->togglePause();
    executor.advance(5s);
    deliver();
    recorder->togglePause();
    executor.advance(1s);
    deliver();
    EXPECT_EQ(*recorder->elapsed, 2);
    EXPECT_EQ(movie().times(0).back(), movie().times(0).front() + CMTime(2, 1));
    stopAndComplete();
    expectSaved();
}

TEST_F(WebcamStudioTests, ClosingTheWindowCancelsOrStops) {
    defaults.stored["countdown"] = true;
    open();
    closeWindow();
    expectCancelled();
    frame();
    closeWindow();
    expectCancelled();
    frame();
    recorder->toggle();
    executor.advance(1s);
    closeWindow();
    expectCancelled();
    defaults.stored["countdown"] = false;
    frame();
    recorder->toggle();
    executor.advance(50ms);
    closeWindow();
    executor.advance(100ms);
    expectCancelled();
    startRecording();
    closeWindow();
    EXPECT_EQ(*recorder->state, State::stopping);
    complete();
    expectSaved();
}

TEST_F(WebcamStudioTests, WithoutACameraNothingIsFramed) {
    using enum AVAuthorizationStatus;
    devices.cameraAccess = denied;
    open();
    expectCancelled(
        "Camera access is off. Allow Lumicrate in System Settings › Privacy & Security › Camera.");
    devices.cameraAccess = notDetermined;
    open();
    EXPECT_EQ(*recorder->state, State::selectingArea);
    recorder->requestStop();
    executor.drain();
    expectCancelled();
    devices.cameraRequests.back()(true);
    open();
    devices.cameraRequests.back()(true);
    executor.drain();
    EXPECT_NE(window.studio, nullptr);
    closeWindow();
    devices.cameraAccess = authorized;
    devices.seen.clear();
    open();
    expectCancelled(noCamera);
    devices.seen = {{"usb", "USB"}};
    makeCameraSession = nullptr;
    make();
    open();
    expectCancelled(noCamera);
}

TEST_F(WebcamStudioTests, WithoutAWindowTheCameraIsRecordedAtOnce) {
    makeStudioWindow = nullptr;
    for (const auto& [outcome, sentence] :
         {std::pair{Outcome::noCamera, noCamera}, {Outcome::couldNotBeStarted, notRecorded}}) {
        open();
        cameraAnswers(outcome);
        expectCancelled(sentence);
    }
    open();
    recorder->requestStop();
    executor.drain();
    expectCancelled();
    frame();
    executor.advance(100ms);
    EXPECT_EQ(*recorder->state, State::recording);
}

TEST_F(WebcamStudioTests, AnotherCameraAndMicrophoneCanBeChosenWhileFraming) {
    defaults.stored["webcamID"] = std::string("gone");
    open();
    EXPECT_EQ(cameras.last().settings.deviceID, "gone") << "the session falls back to the default camera";
    EXPECT_EQ(cameras.last().settings.wantedRate, 30);
    cameraAnswers(Outcome::couldNotBeStarted);
    EXPECT_EQ(shown().message, "The camera couldn't be started.");
    EXPECT_FALSE(shown().canRecord);
    for (const MenuItem& each : window.studio->cameraMenu())
        if (each.title == "USB") each.action();
    EXPECT_EQ(shown().cameraName(), "USB");
    EXPECT_EQ(shown().message, "");
    EXPECT_EQ(defaults.stringForKey("webcamID"), "usb");
    cameras.last().show(plainPicture({640, 480}, 0));
    cameraAnswers(Outcome::running);

    EXPECT_EQ(shown().microphoneName(), "Default Microphone");
    window.studio->microphoneMenu().back().action();
    EXPECT_TRUE(shown().microphoneOn);
    EXPECT_EQ(shown().microphoneName(), "Desk");
    EXPECT_TRUE(window.studio->microphoneMenu().back().checked.value());
    window.studio->confirm();
    executor.advance(100ms);
    ASSERT_EQ(*recorder->state, State::recording);
    EXPECT_EQ(capture.stream->configuration.microphoneCaptureDeviceID, "desk");
    window.studio->switchCamera("builtin");
    window.studio->setMicrophone(false, "");
    EXPECT_EQ(shown().cameraID, "usb") << "not during a recording";
    EXPECT_TRUE(shown().microphoneOn);
    EXPECT_EQ(defaults.stringForKey("webcamID"), "usb");
}

TEST_F(WebcamStudioTests, AChoiceThatCannotBeStoredAppliesAllTheSame) {
    frame();
    defaults.readOnly = true;
    window.studio->addMicrophone("");
    EXPECT_EQ(shown().message, "The preferences can't be written.");
    window.studio->confirm();
    executor.advance(100ms);
    EXPECT_TRUE(*recorder->recordsMicrophone);
}

TEST_F(WebcamStudioTests, AnUnpluggedCameraEndsTheRecordingAndSavesIt) {
    const auto unplug = [this] {
        cameras.last().connectionChanged(false);
        executor.drain();
    };
    frame();
    unplug();
    EXPECT_EQ(shown().message, "The camera is disconnected.");
    EXPECT_FALSE(shown().canRecord);
    cameras.last().connectionChanged(true);
    EXPECT_TRUE(shown().canRecord);
    closeWindow();

    defaults.stored["countdown"] = true;
    frame();
    recorder->toggle();
    executor.drain();
    unplug();
    expectCancelled("Recording stopped: " + notRecorded);

    defaults.stored["countdown"] = false;
    for (const bool paused : {false, true}) {
        startRecording();
        executor.advance(1s);
        if (paused) recorder->togglePause();
        unplug();
        complete();
        expectSaved("Recording stopped: " + notRecorded);
        expectClosed();
    }
}

TEST_F(WebcamStudioTests, AFullDiskEndsTheRecordingAndSavesIt) {
    startRecording();
    movie().interrupt(diskFull);
    executor.drain();
    complete();
    expectSaved("Recording stopped: The disk is full.");
    expectClosed();
}

}  // namespace
}  // namespace lumicrate::test
