// SPDX-License-Identifier: GPL-3.0-or-later
// The course of a recording: start, pause, stop, and what becomes of the file.
#include "Lumicrate/Movie/AudioMixdown.h"
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

namespace lumicrate::test {
namespace {

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

class ScreenRecorderTests : public RecorderFixture {
 protected:
    const std::filesystem::path file = "/home/me/Movies/Lumicrate/Recording-Screen_2024-05-01_14.03.22.mp4";
    FakeMixing mixer{executor};
};

TEST_F(ScreenRecorderTests, RecordsFromTheCommandToTheFile) {
    defaults.stored["countdown"] = true;
    defaults.stored["captureMicrophone"] = true;
    make();
    const auto watch = notifications.observe(recordingSavedNotification, [&](const auto& url) {
        EXPECT_FALSE(folder.isInProgress(*url));
        EXPECT_EQ(*recorder->lastRecording, *url);
        EXPECT_EQ(*recorder->state, State::stopping);
    });
    recorder->setSource(CaptureSource::display(1));
    recorder->start(true);
    executor.advance(3s);
    EXPECT_EQ(*recorder->state, State::starting);
    EXPECT_EQ(capture.streams, 0);
    executor.advance(100ms);
    ASSERT_EQ(*recorder->state, State::recording);
    EXPECT_EQ(recorder->outputURL(), file);
    EXPECT_TRUE(folder.isInProgress(file));
    EXPECT_TRUE(*recorder->recordsMicrophone);
    EXPECT_EQ(process.running, 1);
    EXPECT_EQ(process.lastOptions, 0x10000FFFFFFU);
    EXPECT_EQ(process.lastReason, "Screen recording in progress");
    ASSERT_THAT(movie().inputs, SizeIs(3));
    const auto& video = std::get<AVVideoOutputSettings>(movie().inputs[0]->settings);
    EXPECT_EQ(video.width, 1920);
    EXPECT_EQ(video.compression.averageBitRate, 7'464'960);
    EXPECT_EQ(video.compression.expectedSourceFrameRate, 30);
    EXPECT_THAT(capture.stream->outputs, SizeIs(3));

    deliverFrame();
    executor.advance(1s);
    movie().inputs[0]->ready = false;
    deliverFrame();
    EXPECT_EQ(recorder->refusedFrames(), 1U);
    executor.advance(1s);
    stopAndComplete();
    EXPECT_EQ(recorder->refusedFrames(), 1U);
    EXPECT_THAT(states, ElementsAre(State::countingDown, State::starting, State::recording, State::stopping,
                                    State::idle));
    EXPECT_EQ(recorder->outputURL(), std::nullopt);
    EXPECT_EQ(*recorder->elapsed, 2);
    EXPECT_FALSE(*recorder->recordsMicrophone);
    expectSaved();
}

TEST_F(ScreenRecorderTests, ElapsedTimeExcludesPauses) {
    make();
    int shown = 0;
    const Subscription looking = recorder->elapsed.observe([&](double) { ++shown; });
    record();
    executor.advance(9s + 900ms);
    EXPECT_EQ(*recorder->elapsed, 9.75);
    EXPECT_EQ(shown, 40);
    executor.advance(100ms);
    recorder->togglePause();
    EXPECT_EQ(*recorder->elapsed, 10);
    EXPECT_EQ(*recorder->state, State::paused);
    executor.advance(5s);
    EXPECT_EQ(*recorder->elapsed, 10);
    recorder->togglePause();
    executor.advance(3s);
    EXPECT_EQ(*recorder->elapsed, 13);
    EXPECT_EQ(recorder->elapsedNow(), 13);
    recorder->togglePause();
    executor.advance(1s);
    stopAndComplete();
    EXPECT_EQ(*recorder->elapsed, 13);
}

TEST_F(ScreenRecorderTests, TheMovieEndsAtTheStopRequest) {
    capture.completesAtOnce = false;
    startWith(CaptureSource::display(1));
    completeStart();
    deliverFrame();
    executor.advance(2s);
    const CMTime end = executor.time();
    recorder->requestStop();
    executor.advance(5s);
    EXPECT_EQ(*recorder->elapsed, 2);
    deliverFrame();
    capture.stream->stopped(displayLost);
    executor.advance(1s);
    complete();
    EXPECT_EQ(*recorder->lastRecording, file) << "the stream's error is ignored";
    const auto times = movie().times(0);
    ASSERT_THAT(times, SizeIs(2));
    EXPECT_EQ(times.back(), end - CMTime(1, 1000));
}

TEST_F(ScreenRecorderTests, TogglingTwiceStartsAndStopsOnce) {
    defaults.stored["captureMode"] = std::string("screen");
    screens.all.resize(1);
    make();
    recorder->toggle();
    recorder->toggle();
    recorder->start(false);
    recorder->record(CaptureMode::area);
    executor.advance(50ms);
    ASSERT_EQ(*recorder->state, State::starting);
    recorder->toggle();
    recorder->recordAudioNow();
    executor.advance(50ms);
    ASSERT_EQ(*recorder->state, State::recording);
    EXPECT_EQ(capture.streams, 1);
    deliverFrame();
    recorder->toggle();
    EXPECT_EQ(*recorder->state, State::stopping);
    recorder->toggle();
    recorder->requestStop();
    recorder->togglePause();
    complete();
    EXPECT_EQ(*recorder->state, State::idle);
    EXPECT_EQ(capture.streams, 1);
    EXPECT_EQ(std::ranges::count(movie().calls, "finish"), 1);
}

TEST_F(ScreenRecorderTests, TracksAreMixedIfRequestedAndThereIsRoom) {
    enum class Mixing { done, fails, noRoom, off };
    mixing = &mixer;
    for (const Mixing outcome : {Mixing::done, Mixing::fails, Mixing::noRoom, Mixing::off}) {
        SCOPED_TRACE(static_cast<int>(outcome));
        defaults.stored["mixAudio"] = outcome != Mixing::off;
        mixer.noRoom = outcome == Mixing::noRoom;
        mixer.mixed.clear();
        make();
        record();
        const std::filesystem::path url = movie().url;
        stopAndComplete();
        EXPECT_THAT(mixer.mixed, SizeIs(outcome == Mixing::off ? 0 : 1));
        if (outcome == Mixing::done || outcome == Mixing::fails) {
            EXPECT_EQ(mixer.mixed[0], url);
            EXPECT_EQ(*recorder->state, State::stopping);
            EXPECT_TRUE(folder.isInProgress(url));
            EXPECT_FALSE(capture.stream->alive) << "the file is closed before it is mixed";
            mixer.result->resolve(outcome == Mixing::done);
            executor.drain();
        }
        const bool failed = outcome == Mixing::fails;
        expectIdle(failed ? "The recording couldn't be saved: The tracks can't be read." : "");
        EXPECT_EQ(recorder->lastRecording->has_value(), !failed);
        using Notices = std::vector<std::string>;
        EXPECT_EQ(*recorder->notices, mixer.noRoom ? Notices{NoRoomToMix().what()} : Notices());
        expectNothingLeft({url});
    }
}

TEST_F(ScreenRecorderTests, OverridesApplyToOneRecording) {
    RecordingOptions own;
    own.countdown = false;
    own.format = OutputFormat::movHEVC;
    make().setOptionsOverride(own);
    recorder->setOutputOverride("/tmp/talk.mov");
    record();
    EXPECT_EQ(movie().url, "/tmp/talk.mov");
    EXPECT_EQ(movie().fileType, AVFileType::quickTimeMovie);
    EXPECT_TRUE(folder.isInProgress("/tmp/talk.mov"));
    stopAndComplete();
    expectSaved();
    record();
    EXPECT_EQ(movie().url, file);
    EXPECT_EQ(movie().fileType, AVFileType::mpeg4);
}

TEST_F(ScreenRecorderTests, TheMicrophoneIsMutedAndItsLevelShown) {
    const auto level = [this] {
        executor.advance(1s);
        deliverMicrophone();
        const float before = *recorder->microphoneLevel;
        executor.drain();
        return std::pair(before, *recorder->microphoneLevel);
    };
    defaults.stored["captureMicrophone"] = true;
    record();
    EXPECT_EQ(level(), std::pair(0.0F, 1.0F)) << "only on the main thread";
    for (const bool muted : {true, false, true}) {
        recorder->toggleMicrophoneMute();
        EXPECT_EQ(*recorder->microphoneMuted, muted);
        EXPECT_EQ(level().second, muted ? 0 : 1);
    }
    stopAndComplete();
    EXPECT_EQ(*recorder->microphoneLevel, 0);
    EXPECT_FALSE(*recorder->microphoneMuted);

    defaults.stored["webcamMicLevel"] = false;
    record();
    EXPECT_EQ(level().second, 0);
    stopAndComplete();
    defaults.stored["captureMicrophone"] = false;
    record();
    recorder->toggleMicrophoneMute();
    EXPECT_FALSE(*recorder->microphoneMuted);
}

/// The progress of a recording when the recorder is destroyed.
enum class Moment {
    choosing,
    countingDown,
    settling,
    listing,
    starting,
    recording,
    paused,
    stopping,
    finishing,
    mixing
};

class DestroyedRecorderTests : public ScreenRecorderTests,
                               public testing::WithParamInterface<std::pair<Moment, ScreenRecorder::State>> {
};

TEST_P(DestroyedRecorderTests, IgnoresLateCompletions) {
    const auto [moment, state] = GetParam();
    overlays.areaSelector = &areaSelector;
    mixing = &mixer;
    defaults.stored["captureMicrophone"] = true;
    defaults.stored["countdown"] = moment == Moment::countingDown;
    capture.contentWaits = moment == Moment::listing;
    capture.completesAtOnce = moment >= Moment::recording && moment != Moment::stopping;
    make();
    recorder->setSource(CaptureSource::display(1));
    moment == Moment::choosing ? recorder->record(CaptureMode::area) : recorder->start(false);
    executor.advance(moment == Moment::settling ? 50ms : 100ms);
    if (moment == Moment::stopping) completeStart();
    if (moment >= Moment::recording) deliverFrame();
    if (moment == Moment::paused) recorder->togglePause();
    if (moment >= Moment::stopping) recorder->requestStop();
    executor.drain();
    if (moment == Moment::mixing) complete();
    ASSERT_EQ(*recorder->state, state);

    // Events that are already posted …
    if (capture.stream && capture.stream->alive) {
        deliverMicrophone();
        capture.stream->delegate->didStopWithError(displayLost);
        movie().interrupt(displayLost);
    }
    recorder.reset();
    // … and completions that arrive later.
    EXPECT_EQ(contents.shownPanels(), 0U);
    if (capture.waiting) capture.waiting(capture.content, nullptr);
    if (capture.stream && capture.stream->started) capture.stream->started(nullptr);
    if (capture.stream && capture.stream->stopped) capture.stream->stopped(nullptr);
    if (mixer.result) mixer.result->resolve(true);
    keys.press(15);
    executor.advance(10s);
    files.existing.clear();
    expectNothingLeft();
}

using State = ScreenRecorder::State;
INSTANTIATE_TEST_SUITE_P(Moments, DestroyedRecorderTests,
                         testing::Values(std::pair(Moment::choosing, State::selectingArea),
                                         std::pair(Moment::countingDown, State::countingDown),
                                         std::pair(Moment::settling, State::starting),
                                         std::pair(Moment::listing, State::starting),
                                         std::pair(Moment::starting, State::starting),
                                         std::pair(Moment::recording, State::recording),
                                         std::pair(Moment::paused, State::paused),
                                         std::pair(Moment::stopping, State::stopping),
                                         std::pair(Moment::finishing, State::stopping),
                                         std::pair(Moment::mixing, State::stopping)));

}  // namespace
}  // namespace lumicrate::test
