// The course of a recording: start, pause, stop, and what becomes of the file.
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

namespace lumicrate::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const std::exception_ptr userStopped =
    std::make_exception_ptr(SCStreamError("Sharing was stopped.", SCStreamErrorUserStopped));
const std::exception_ptr diskFull = std::make_exception_ptr(PlatformError("The disk is full."));
const std::exception_ptr displayLost = std::make_exception_ptr(SCStreamError("The display is gone.", -3815));

class ScreenRecorderTests : public RecorderFixture {
 protected:
    const std::filesystem::path file = "/home/me/Movies/Lumicrate/Recording-Screen_2024-05-01_14.03.22.mp4";
    FakeMixing mixer{executor};
};

TEST_F(ScreenRecorderTests, RecordsFromTheCommandToTheFile) {
    defaults.stored["countdown"] = true;
    defaults.stored["captureMicrophone"] = true;
    make();
    std::vector<std::string> announced;
    const auto saved = notifications.observe(recordingSavedNotification, [&](const auto& url) {
        announced.push_back(url->string());
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

    EXPECT_EQ(movie().fileType, AVFileType::mpeg4);
    ASSERT_THAT(movie().inputs, SizeIs(3));
    const auto& video = std::get<AVVideoOutputSettings>(movie().inputs[0]->settings);
    EXPECT_EQ(video.width, 1920);
    EXPECT_EQ(video.compression.averageBitRate, 7'464'960);
    EXPECT_EQ(video.compression.expectedSourceFrameRate, 30);
    EXPECT_THAT(capture.stream->outputs, SizeIs(3));

    deliverFrame();
    executor.advance(2s);
    stopAndComplete();
    EXPECT_THAT(states, ElementsAre(State::countingDown, State::starting, State::recording, State::stopping,
                                    State::idle));
    EXPECT_THAT(announced, ElementsAre(file));
    EXPECT_EQ(message(), "");
    EXPECT_EQ(recorder->outputURL(), std::nullopt);
    EXPECT_EQ(*recorder->elapsed, 2);
    EXPECT_FALSE(*recorder->recordsMicrophone);
    files.existing.clear();
    expectNothingLeft();
}

TEST_F(ScreenRecorderTests, ElapsedTimeExcludesPauses) {
    make();
    std::vector<double> shown;
    const Subscription looking = recorder->elapsed.observe([&](double coming) { shown.push_back(coming); });
    record();
    executor.advance(9s + 900ms);
    EXPECT_EQ(*recorder->elapsed, 9.75);
    EXPECT_THAT(shown, testing::SizeIs(40));
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
    capture.stream->started(nullptr);
    executor.drain();
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
    EXPECT_EQ(std::count(movie().calls.begin(), movie().calls.end(), "finish"), 1);
}

TEST_F(ScreenRecorderTests, StopCanBeAwaited) {
    record();
    bool stopped = false;
    const auto waitForIt = [](ScreenRecorder& which, bool& done) -> Task<void> {
        co_await which.stop();
        done = true;
    };
    const RunningTask waiting(executor, waitForIt(*recorder, stopped));
    executor.drain();
    EXPECT_EQ(*recorder->state, State::stopping);
    EXPECT_FALSE(stopped);
    complete();
    EXPECT_TRUE(stopped);
    EXPECT_EQ(*recorder->state, State::idle);
}

TEST_F(ScreenRecorderTests, ARecordingIsSavedWhenTheStreamStops) {
    const std::pair<std::exception_ptr, std::string> cases[] = {
        {userStopped, ""},
        {displayLost, "Recording stopped: The display is gone."},
        {std::make_exception_ptr(PlatformError("Out of memory.", SCStreamErrorUserStopped)),
         "Recording stopped: Out of memory."},
    };
    for (const auto& [error, sentence] : cases) {
        SCOPED_TRACE(sentence);
        make();
        record();
        capture.stream->delegate->didStopWithError(error);
        executor.drain();
        EXPECT_EQ(*recorder->state, State::stopping);
        complete();
        EXPECT_EQ(*recorder->state, State::idle);
        EXPECT_EQ(message(), sentence);
        EXPECT_EQ(*recorder->lastRecording, movie().url);
    }
}

TEST_F(ScreenRecorderTests, AnInterruptionDuringTheStartLeavesNothing) {
    const struct {
        std::exception_ptr writerError, startError;
        const char* sentence;
    } cases[] = {{nullptr, nullptr, "Recording stopped: The display is gone."},
                 {nullptr, displayLost, "The display is gone."},
                 {diskFull, nullptr, "Recording stopped: The disk is full."}};
    for (const auto& each : cases) {
        capture.completesAtOnce = false;
        startWith(CaptureSource::display(1));
        if (each.writerError) movie().interrupt(each.writerError);
        capture.stream->delegate->didStopWithError(displayLost);
        executor.drain();
        EXPECT_EQ(*recorder->state, State::starting);
        capture.stream->started(each.startError);
        executor.drain();
        EXPECT_EQ(*recorder->state, State::idle);
        EXPECT_EQ(message(), each.sentence);
        EXPECT_EQ(*recorder->lastRecording, std::nullopt);
        expectNothingLeft();
    }
}

TEST_F(ScreenRecorderTests, AFailedMovieIsNotAnnounced) {
    record();
    const auto saved = notifications.observe(recordingSavedNotification, [](const auto&) { FAIL(); });
    recorder->requestStop();
    executor.drain();
    movie().setError("The disk is full.");
    complete(AVAssetWriterStatus::failed);
    EXPECT_EQ(message(), "The recording couldn't be saved: The disk is full.");
    EXPECT_EQ(*recorder->state, State::idle);
    EXPECT_EQ(*recorder->lastRecording, std::nullopt);
    EXPECT_FALSE(folder.isInProgress(file));

    // Without a single frame; and the next attempt clears the message.
    recorder->setOutputOverride("/tmp/other.mp4");
    recorder->start(false);
    EXPECT_EQ(message(), "");
    executor.advance(100ms);
    recorder->requestStop();
    executor.drain();
    EXPECT_EQ(message(), "The recording couldn't be saved: No video frames were captured.");
    EXPECT_FALSE(files.existing.contains("/tmp/other.mp4"));
}

TEST_F(ScreenRecorderTests, TracksAreMixedIfRequested) {
    enum class Mixing { done, fails, off };
    mixing = &mixer;
    for (const Mixing outcome : {Mixing::done, Mixing::fails, Mixing::off}) {
        defaults.stored["mixAudio"] = outcome != Mixing::off;
        mixer.mixed.clear();
        make();
        record();
        const std::filesystem::path url = movie().url;
        stopAndComplete();
        if (outcome == Mixing::off) {
            EXPECT_THAT(mixer.mixed, IsEmpty());
        } else {
            EXPECT_THAT(mixer.mixed, ElementsAre(url));
            EXPECT_EQ(*recorder->state, State::stopping);
            EXPECT_TRUE(folder.isInProgress(url));
            EXPECT_FALSE(capture.stream->alive) << "the file is closed before it is mixed";
            mixer.result->resolve(outcome == Mixing::done);
            executor.drain();
        }
        EXPECT_EQ(*recorder->state, State::idle);
        EXPECT_FALSE(folder.isInProgress(url));
        EXPECT_TRUE(files.existing.contains(url));
        const bool failed = outcome == Mixing::fails;
        EXPECT_EQ(message(), failed ? "The recording couldn't be saved: The tracks can't be read." : "");
        EXPECT_EQ(recorder->lastRecording->has_value(), !failed);
    }
}

TEST_F(ScreenRecorderTests, WithoutRoomToMixTheTracksStaySeparate) {
    mixing = &mixer;
    mixer.noRoom = true;
    make();
    record();
    const std::filesystem::path url = movie().url;
    stopAndComplete();
    EXPECT_EQ(*recorder->state, State::idle);
    EXPECT_EQ(*recorder->lastRecording, url);
    EXPECT_EQ(message(), "");
    EXPECT_THAT(*recorder->notices, ElementsAre(NoRoomToMix().what()));
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
    EXPECT_EQ(*recorder->lastRecording, "/tmp/talk.mov");
    EXPECT_FALSE(folder.isInProgress("/tmp/talk.mov"));
    record();
    EXPECT_EQ(movie().url, file);
    EXPECT_EQ(movie().fileType, AVFileType::mpeg4);
}

TEST_F(ScreenRecorderTests, TheMicrophoneIsMutedAndItsLevelShown) {
    defaults.stored["captureMicrophone"] = true;
    record();
    deliverMicrophone(1.0F);
    EXPECT_EQ(*recorder->microphoneLevel, 0) << "only on the main thread";
    executor.drain();
    EXPECT_EQ(*recorder->microphoneLevel, 1);
    recorder->toggleMicrophoneMute();
    EXPECT_TRUE(*recorder->microphoneMuted);
    executor.advance(1s);
    deliverMicrophone(1.0F);
    executor.drain();
    EXPECT_EQ(*recorder->microphoneLevel, 0);
    recorder->toggleMicrophoneMute();
    executor.advance(1s);
    deliverMicrophone(1.0F);
    executor.drain();
    EXPECT_EQ(*recorder->microphoneLevel, 1);
    stopAndComplete();
    EXPECT_EQ(*recorder->microphoneLevel, 0);
    EXPECT_FALSE(*recorder->microphoneMuted);

    defaults.stored["webcamMicLevel"] = false;
    record();
    deliverMicrophone(1.0F);
    executor.drain();
    EXPECT_EQ(*recorder->microphoneLevel, 0);
}

TEST_F(ScreenRecorderTests, MutingNeedsAMicrophone) {
    record();
    recorder->toggleMicrophoneMute();
    EXPECT_FALSE(*recorder->microphoneMuted);
}

TEST_F(ScreenRecorderTests, RefusedFramesAreCounted) {
    record();
    movie().inputs[0]->ready = false;
    for (int i = 0; i < 3; ++i) {
        executor.advance(100ms);
        deliverFrame();
    }
    EXPECT_EQ(recorder->refusedFrames(), 3U);
    stopAndComplete();
    EXPECT_EQ(recorder->refusedFrames(), 3U);
    record();
    EXPECT_EQ(recorder->refusedFrames(), 0U);
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

class DestroyedRecorderTests : public ScreenRecorderTests, public testing::WithParamInterface<Moment> {};

TEST_P(DestroyedRecorderTests, IgnoresLateCompletions) {
    const Moment moment = GetParam();
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
    if (moment == Moment::stopping) capture.stream->started(nullptr);
    executor.drain();
    if (moment >= Moment::recording) deliverFrame();
    if (moment == Moment::paused) recorder->togglePause();
    if (moment >= Moment::stopping) recorder->requestStop();
    executor.drain();
    if (moment == Moment::mixing) complete();
    const std::map<Moment, State> expected = {
        {Moment::choosing, State::selectingArea}, {Moment::countingDown, State::countingDown},
        {Moment::settling, State::starting},      {Moment::listing, State::starting},
        {Moment::starting, State::starting},      {Moment::recording, State::recording},
        {Moment::paused, State::paused},          {Moment::stopping, State::stopping},
        {Moment::finishing, State::stopping},     {Moment::mixing, State::stopping}};
    ASSERT_EQ(*recorder->state, expected.at(moment));

    // Events that are already posted …
    if (capture.stream && capture.stream->alive) {
        deliverMicrophone(1.0F);
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

INSTANTIATE_TEST_SUITE_P(Moments, DestroyedRecorderTests,
                         testing::Values(Moment::choosing, Moment::countingDown, Moment::settling,
                                         Moment::listing, Moment::starting, Moment::recording, Moment::paused,
                                         Moment::stopping, Moment::finishing, Moment::mixing));

}  // namespace
}  // namespace lumicrate::test
