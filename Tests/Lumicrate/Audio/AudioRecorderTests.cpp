// SPDX-License-Identifier: GPL-3.0-or-later
// The audio recorder window: its clock, buttons and toggles by the recorder's state, and how its meter moves.
#include "Lumicrate/Audio/AudioRecorderWindow.h"
#include "Lumicrate/Audio/MeterBallistics.h"
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

namespace lumicrate::test {
namespace {

class FakeAudioWindow final : public NSWindow {
 public:
    explicit FakeAudioWindow(std::vector<std::string>& calls) : calls_(calls) { calls.emplace_back("made"); }
    void setContentMinSize(Size) override {}
    void setContentSize(Size size) override { EXPECT_EQ(size, (Size{400, 160})); }
    Size visibleFrameSize() const override { return {}; }
    void center() override { calls_.emplace_back("centered"); }
    void makeKeyAndOrderFront() override { calls_.emplace_back("shown"); }
    void setOnClose(std::function<void()>) override {}

 private:
    std::vector<std::string>& calls_;
};

class AudioRecorderTests : public RecorderFixture {
 protected:
    AudioRecorderTests() {
        overlays.audioRecorder = &window;
        defaults.stored["captureMode"] = std::string("audio");
        defaults.stored["captureMicrophone"] = true;
        devices.heard = {{"desk", "Desk"}};
    }
    void TearDown() override {
        window.remove();
        RecorderFixture::TearDown();
    }

    void open() {
        if (!recorder) make().followDevices();
        recorder->toggle();
        window.setVisible(true);
        executor.drain();
    }
    void startSound() {
        model().press();
        executor.advance(100ms);
        ASSERT_EQ(*recorder->state, State::recording);
    }
    void hear(float loudness) {
        executor.advance(100ms);
        deliverMicrophone(loudness);
        executor.drain();
    }
    AudioRecorderModel& model() { return window.model(); }
    const AudioRecorderModel::Content& shown() { return *model().content; }

    std::vector<std::string> calls;
    int beeps = 0;
    AudioRecorderWindow window{
        {executor, defaults, controlBar,
         [this](AudioRecorderWindow&) { return std::make_unique<FakeAudioWindow>(calls); },
         [this] { ++beeps; }}};
};

TEST_F(AudioRecorderTests, TheWindowIsReusedAndStaysOpenWhileRecording) {
    defaults.stored["countdown"] = true;
    open();
    open();
    EXPECT_THAT(calls, ElementsAre("made", "centered", "shown", "shown"));
    EXPECT_EQ(*recorder->state, State::idle) << "the window starts the recording";
    EXPECT_TRUE(window.windowShouldClose());
    model().press();
    for (const char* const text : {"in 3…", "in 2…", "in 1…"}) {
        executor.drain();
        EXPECT_EQ(shown().timerText, text);
        EXPECT_FALSE(window.windowShouldClose());
        executor.advance(1s);
    }
    executor.advance(100ms);
    EXPECT_FALSE(window.windowShouldClose());
    EXPECT_EQ(beeps, 4);
    deliverMicrophone();
    executor.advance(3725s + 900ms);
    EXPECT_EQ(shown().timerText, "01:02:05");
    model().press();
    EXPECT_EQ(shown().timerText, "01:02:05") << "while it is saved";
    complete();
    EXPECT_EQ(shown().timerText, "00:00:00");
    EXPECT_TRUE(window.windowShouldClose());
    EXPECT_EQ(movie().url.extension(), ".m4a");
    expectSaved();
}

TEST_F(AudioRecorderTests, WithoutASourceNothingIsRecorded) {
    open();
    EXPECT_EQ(shown().microphone.help, "Microphone: on. Click to turn off.");
    model().toggleMicrophone();
    model().toggleSystemAudio();
    EXPECT_EQ(shown().microphone.help, "Microphone: off. Click to turn on.");
    EXPECT_EQ(shown().mainHelp, "Turn on the microphone or system sound first");
    EXPECT_EQ(shown().message, shown().mainHelp);
    model().press();
    expectIdle();
    model().toggleSystemAudio();
    EXPECT_EQ(shown().message, "");
    startSound();
    EXPECT_FALSE(shown().microphone.enabled);
    model().toggleSystemAudio();
    model().toggleMicrophone();
    EXPECT_TRUE(shown().systemAudio.on) << "not of the running recording";
    EXPECT_EQ(*model().meterLevel, 0);
    recorder->requestStop();
    complete();
    writerRefusal = diskFull;
    model().press();
    executor.advance(100ms);
    EXPECT_EQ(shown().message, "The disk is full.");
}

TEST_F(AudioRecorderTests, TheMicrophoneIsChosenMeteredAndMuted) {
    open();
    EXPECT_EQ(shown().microphoneName, "Default Microphone");
    model().microphoneMenu()[1].action();
    EXPECT_EQ(shown().microphoneName, "Desk");
    devices.heard.clear();
    devices.changed();
    executor.drain();
    EXPECT_EQ(shown().microphoneName, "Default Microphone") << "unplugged";
    startSound();
    hear(1);
    EXPECT_EQ(*model().meterLevel, 1);
    model().toggleMicrophone();
    EXPECT_EQ(*model().meterLevel, 0);
    EXPECT_TRUE(*recorder->microphoneMuted);
    EXPECT_EQ(shown().microphone.help, "Unmute microphone (M)");
    model().toggleMicrophone();
    hear(1);
    model().togglePause();
    EXPECT_EQ(*model().meterLevel, 0);
    EXPECT_FALSE(contents.visible("bar"));
    for (const bool visible : {false, true, false}) {
        window.setVisible(visible);
        executor.drain();
        EXPECT_EQ(contents.visible("bar") != nullptr, !visible);
    }
    stopAndComplete();
    EXPECT_FALSE(contents.visible("bar"));
}

TEST(MeterBallisticsTests, RisesFastFallsSlowlyAndHoldsThePeak) {
    MeterBallistics meter;
    const auto expect = [&meter](std::chrono::milliseconds now, float level, float peak,
                                 std::optional<std::chrono::milliseconds> rest) {
        EXPECT_NEAR(meter.at(now).level, level, 1e-4) << now.count();
        EXPECT_NEAR(meter.at(now).peak, peak, 1e-4) << now.count();
        EXPECT_EQ(meter.restsFor(now), rest) << now.count();
    };
    expect(0ms, 0, 0, std::nullopt);
    meter.setLevel(0.8F, 1000ms);
    expect(1025ms, 0.4F, 0.8F, 0ms);
    expect(1050ms, 0.8F, 0.8F, std::nullopt);
    // Steady for ten seconds: the peak is held from its end.
    meter.setLevel(0.6F, 11'000ms);
    expect(11'170ms, 0.7F, 0.8F, 0ms);
    expect(11'500ms, 0.6F, 0.8F, 1000ms);
    expect(12'670ms, 0.6F, 0.7F, 0ms);
    expect(13'000ms, 0.6F, 0.6F, std::nullopt);
    meter.reset();
    expect(13'000ms, 0, 0, std::nullopt);
}

}  // namespace
}  // namespace lumicrate::test
