// SPDX-License-Identifier: GPL-3.0-or-later
// The course of a recording: pause, stop, interruption, sleep, and what becomes of the file.
#include "Lumicrate/Recording/FreeSpaceGuard.h"
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

namespace lumicrate::test {
namespace {

constexpr std::uintmax_t MiB = 1024 * 1024;
constexpr std::uintmax_t GiB = 1024 * MiB;

/// Waits until the test completes it with `result`.
struct FakeFinishing final : public SoundFinishing {
    explicit FakeFinishing(Executor& executor) : executor_(executor) {}
    Task<std::vector<std::string>> finish(std::filesystem::path url, SoundWishes wishes) override {
        finished.emplace_back(url, wishes);
        const Completion<bool> done = result.emplace(executor_);
        const bool succeeded = co_await done;
        if (!succeeded) throw PlatformError("The tracks can't be read.");
        co_return problems;
    }
    std::optional<Completion<bool>> result;
    std::vector<std::string> problems;
    std::vector<std::pair<std::filesystem::path, SoundWishes>> finished;

 private:
    Executor& executor_;
};

class ScreenRecorderTests : public RecorderFixture {
 protected:
    const std::filesystem::path file = "/home/me/Movies/Lumicrate/Recording-Screen_2024-05-01_14.03.22.mp4";
    FakeFinishing finisher{executor};
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
    ASSERT_THAT(times, SizeIs(3)) << "one is repeated after a second";
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

TEST_F(ScreenRecorderTests, SoundIsFinishedAsRequestedBeforeTheRecordingIsAnnounced) {
    soundFinishing = &finisher;
    const struct {
        std::vector<std::string> stored;  ///< preferences that are on
        SoundChoices choices;
        SoundWishes wishes;
        bool succeeds = true;
        std::vector<std::string> problems = {};
    } cases[] = {{{}, {}, {}},
                 {{"normalizeVoice"}, {}, {}},
                 {{"mixAudio"}, {}, {.mixes = true}},
                 {{"mixAudio"}, {}, {.mixes = true}, false},
                 {{"cleanVoice", "normalizeVoice"}, {}, {true, true, false}, true, {"The disk is full."}},
                 {{"cleanVoice", "mixAudio"}, {false, true, false}, {}},
                 {{}, {true, true, true}, {true, true, true}}};
    for (const auto& [stored, choices, wishes, succeeds, problems] : cases) {
        for (const char* key : {"cleanVoice", "normalizeVoice", "mixAudio"})
            defaults.stored[key] = std::ranges::find(stored, key) != stored.end();
        finisher.finished.clear();
        finisher.problems = problems;
        make();
        recorder->setSoundOverride(choices);
        record();
        const std::filesystem::path url = movie().url;
        stopAndComplete();
        ASSERT_THAT(finisher.finished, SizeIs(wishes == SoundWishes() ? 0 : 1));
        if (!finisher.finished.empty()) {
            EXPECT_EQ(finisher.finished[0], std::pair(url, wishes));
            EXPECT_EQ(*recorder->state, State::stopping);
            EXPECT_TRUE(folder.isInProgress(url));
            EXPECT_FALSE(capture.stream->alive) << "the file is closed before";
            finisher.result->resolve(bool(succeeds));
            executor.drain();
        }
        expectIdle(succeeds ? "" : "The recording couldn't be saved: The tracks can't be read.");
        EXPECT_EQ(recorder->lastRecording->has_value(), succeeds);
        EXPECT_EQ(*recorder->notices, problems);
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

TEST_F(ScreenRecorderTests, AnInterruptedRecordingIsSaved) {
    const struct {
        const char* sentence;
        std::function<void()> interrupt;
    } cases[] = {
        {"",
         [this] {
             const SCStreamError userStopped("Sharing was stopped.", SCStreamErrorUserStopped);
             interruptStream(std::make_exception_ptr(userStopped));
         }},
        {"Recording stopped: The display is gone.", [this] { interruptStream(displayLost); }},
        {"Recording stopped: Out of memory.",
         [this] {
             const PlatformError sameCode("Out of memory.", SCStreamErrorUserStopped);
             interruptStream(std::make_exception_ptr(sameCode));
         }},
        {"Recording stopped: The disk is full.",
         [this] {
             movie().interrupt(diskFull);
             EXPECT_TRUE(recorder->isActive()) << "only on the main thread";
             executor.drain();
             interruptStream(displayLost);  // a consequence, which is not reported
         }},
        {"Recording stopped: The disk is almost full.",
         [this] {
             files.capacity->available = 200 * MiB;
             executor.advance(1s);
             EXPECT_THAT(files.asked, ElementsAre(movie().url));
         }},
    };
    for (const auto& each : cases) {
        for (const bool paused : {false, true}) {
            SCOPED_TRACE(each.sentence);
            files.capacity = NSVolumeCapacity{20 * GiB, 100 * GiB};
            record();
            if (paused) recorder->togglePause();
            executor.advance(5s);
            EXPECT_TRUE(recorder->isActive());
            files.asked.clear();
            each.interrupt();
            EXPECT_EQ(*recorder->state, State::stopping);
            complete();
            expectSaved(each.sentence);
        }
    }
}

TEST_F(ScreenRecorderTests, AFailedMovieIsNotAnnounced) {
    const struct {
        const char* reason;
        bool kept;  ///< the file
        std::function<void()> fail;
    } cases[] = {
        {"The encoder broke.", false,
         [this] {
             deliverFrame();
             movie().setError("The encoder broke.");
             movie().status = AVAssetWriterStatus::failed;
             deliverFrame();
             executor.drain();
         }},
        {"The disk is full.", true,
         [this] {
             deliverFrame();
             recorder->requestStop();
             executor.drain();
             movie().setError("The disk is full.");
             complete(AVAssetWriterStatus::failed);
         }},
    };
    make();
    for (const auto& each : cases) {
        SCOPED_TRACE(each.reason);
        recorder->start(false);
        EXPECT_EQ(message(), "") << "of the attempt before";
        executor.advance(100ms);
        each.fail();
        expectIdle("The recording couldn't be saved: " + std::string(each.reason));
        EXPECT_EQ(*recorder->lastRecording, std::nullopt);
        EXPECT_THAT(announced, IsEmpty());
        expectNothingLeft(each.kept ? std::set{movie().url} : std::set<std::filesystem::path>());
    }
}

TEST_F(ScreenRecorderTests, AnInterruptionAfterTheStopRequestIsIgnored) {
    record();
    recorder->requestStop();
    movie().interrupt(diskFull);
    complete();
    expectSaved();
}

TEST_F(ScreenRecorderTests, AConstantFrameRateIsKeptOnAStillScreen) {
    defaults.set("constantFrameRate", true);
    record();
    deliverFrame();
    executor.advance(10s);
    EXPECT_THAT(movie().times(0), SizeIs(testing::AllOf(testing::Ge(290U), testing::Le(293U))));
    recorder->requestStop();
    complete();
    EXPECT_THAT(movie().times(0), SizeIs(300));
}

TEST_F(ScreenRecorderTests, TheMovieOfAStillScreenIsExtended) {
    record();
    const CMTime start = executor.time();
    executor.advance(1800ms);
    EXPECT_THAT(movie().extensions, ElementsAre(start + CMTime(3, 4), start + CMTime(3, 2)));
    recorder->togglePause();
    executor.advance(10s);
    EXPECT_THAT(movie().extensions, SizeIs(2));
    recorder->togglePause();
    executor.advance(1200ms);
    recorder->requestStop();
    executor.advance(10s);
    EXPECT_THAT(movie().extensions, SizeIs(4));
    complete();
}

TEST(FreeSpaceGuardTests, ReservesAHundredthOfTheVolumeWithinBounds) {
    const struct {
        std::optional<NSVolumeCapacity> volume;
        bool toStart, toGoOn;
    } cases[] = {{std::nullopt, true, true},
                 // At least 8 MiB,
                 {NSVolumeCapacity{8 * MiB - 1, 24 * MiB}, false, false},
                 {NSVolumeCapacity{8 * MiB, 24 * MiB}, false, true},
                 {NSVolumeCapacity{16 * MiB - 1, 800 * MiB}, false, true},
                 {NSVolumeCapacity{16 * MiB, 800 * MiB}, true, true},
                 // a hundredth,
                 {NSVolumeCapacity{100 * MiB - 1, 10'000 * MiB}, false, false},
                 {NSVolumeCapacity{100 * MiB, 10'000 * MiB}, false, true},
                 {NSVolumeCapacity{200 * MiB, 10'000 * MiB}, true, true},
                 // at most 256 MiB.
                 {NSVolumeCapacity{256 * MiB - 1, 4096 * GiB}, false, false},
                 {NSVolumeCapacity{256 * MiB, 4096 * GiB}, false, true},
                 {NSVolumeCapacity{512 * MiB, 4096 * GiB}, true, true}};
    for (const auto& each : cases) {
        SCOPED_TRACE(each.volume ? each.volume->available : 0);
        const FreeSpaceGuard guard(each.volume);
        EXPECT_EQ(guard.hasRoomToGoOn(), each.toGoOn);
        if (each.toStart)
            EXPECT_NO_THROW(guard.requireRoomToStart());
        else
            EXPECT_THROW(guard.requireRoomToStart(), RecorderError);
    }
}

TEST_F(ScreenRecorderTests, WithTooLittleSpaceNoRecordingStarts) {
    defaults.stored["countdown"] = true;
    files.capacity = NSVolumeCapacity{12'900'000, 20 * GiB};
    for (const bool named : {false, true}) {
        files.asked.clear();
        make();
        if (named) recorder->setOutputOverride("/media/stick/talk.mp4");
        startWith(CaptureSource::display(1));
        EXPECT_THAT(states, ElementsAre(State::idle)) << "no countdown";
        EXPECT_EQ(message(), "There is too little free space on the disk to record: 12 MB.");
        EXPECT_THAT(files.asked, ElementsAre(named ? "/media/stick/talk.mp4" : "/home/me/Movies/Lumicrate"));
        EXPECT_THAT(movies, IsEmpty());
        expectNothingLeft();
    }
}

TEST_F(ScreenRecorderTests, SleepIsReported) {
    record();
    process.asleep += 2h + 13min + 5s;
    recorder->requestStop();
    process.asleep += 1h;
    complete();
    EXPECT_EQ(message(), "");
    EXPECT_THAT(*recorder->notices,
                ElementsAre("The computer slept for 2:13:05 during the recording; that time was left out."));
    EXPECT_EQ(*recorder->elapsed, 0);

    // Sleep between two recordings and short sleep are not reported.
    recorder->start(false);
    EXPECT_THAT(*recorder->notices, IsEmpty());
    executor.advance(100ms);
    deliverFrame();
    process.asleep += 1999ms;
    stopAndComplete();
    EXPECT_THAT(*recorder->notices, IsEmpty());
}

TEST_F(ScreenRecorderTests, NoticesAreReportedOnceAtTheEnd) {
    record();
    for (const char* each : {"The microphone was away.", "The sound was away.", "The microphone was away."})
        capture.stream->delegate->didNotice(each);
    executor.drain();
    EXPECT_EQ(*recorder->state, State::recording);
    EXPECT_THAT(*recorder->notices, IsEmpty());
    recorder->requestStop();
    capture.stream->delegate->didNotice("Too late for the picture.");
    complete();
    EXPECT_THAT(*recorder->notices,
                ElementsAre("The microphone was away.", "The sound was away.", "Too late for the picture."));
    EXPECT_EQ(message(), "");
}

/// The state of a recording when the recorder is destroyed, and what it is waiting for.
using Moment = std::pair<ScreenRecorder::State, std::string_view>;

class DestroyedRecorderTests : public ScreenRecorderTests, public testing::WithParamInterface<Moment> {};

TEST_P(DestroyedRecorderTests, IgnoresLateCompletions) {
    const auto& [state, detail] = GetParam();
    overlays.areaSelector = &areaSelector;
    soundFinishing = &finisher;
    defaults.stored["captureMicrophone"] = true;
    defaults.stored["countdown"] = state == State::countingDown;
    capture.contentWaits = detail == "windows";
    capture.completesAtOnce = state >= State::recording && detail != "stream";
    make();
    recorder->setSource(CaptureSource::display(1));
    state == State::selectingArea ? recorder->record(CaptureMode::area) : recorder->start(false);
    executor.advance(detail == "overlays" ? 50ms : 100ms);
    if (state == State::stopping && detail == "stream") completeStart();
    if (state >= State::recording) deliverFrame();
    if (state == State::paused) recorder->togglePause();
    if (state == State::stopping) recorder->requestStop();
    executor.drain();
    if (detail == "sound") complete();
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
    if (finisher.result) finisher.result->resolve(true);
    keys.press(15);
    executor.advance(10s);
    files.existing.clear();
    expectNothingLeft();
}

using State = ScreenRecorder::State;
INSTANTIATE_TEST_SUITE_P(
    Moments, DestroyedRecorderTests,
    testing::Values(Moment(State::selectingArea, "user"), Moment(State::countingDown, "time"),
                    Moment(State::starting, "overlays"), Moment(State::starting, "windows"),
                    Moment(State::starting, "stream"), Moment(State::recording, ""),
                    Moment(State::paused, ""), Moment(State::stopping, "stream"),
                    Moment(State::stopping, "writer"), Moment(State::stopping, "sound")));

}  // namespace
}  // namespace lumicrate::test
