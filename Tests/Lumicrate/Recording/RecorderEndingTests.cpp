// SPDX-License-Identifier: GPL-3.0-or-later
// Recordings that are interrupted, and recordings on a computer that slept.
#include "Lumicrate/Recording/FreeSpaceGuard.h"
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

namespace lumicrate::test {
namespace {

constexpr std::uintmax_t MiB = 1024 * 1024;
constexpr std::uintmax_t GiB = 1024 * MiB;

class RecorderEndingTests : public RecorderFixture {};

TEST_F(RecorderEndingTests, AnInterruptedRecordingIsSaved) {
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

TEST_F(RecorderEndingTests, AFailedMovieIsNotAnnounced) {
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
        {"No video frames were captured.", false,
         [this] {
             recorder->requestStop();
             executor.drain();
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

TEST_F(RecorderEndingTests, AnInterruptionAfterTheStopRequestIsIgnored) {
    record();
    recorder->requestStop();
    movie().interrupt(diskFull);
    complete();
    expectSaved();
}

TEST_F(RecorderEndingTests, TheMovieOfAStillScreenIsExtended) {
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

TEST_F(RecorderEndingTests, WithTooLittleSpaceNoRecordingStarts) {
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

TEST_F(RecorderEndingTests, SleepIsReported) {
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

TEST_F(RecorderEndingTests, NoticesAreReportedOnceAtTheEnd) {
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

}  // namespace
}  // namespace lumicrate::test
