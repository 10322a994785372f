// Recordings that are interrupted, and recordings on a computer that slept.
#include "Lumicrate/Recording/FreeSpaceGuard.h"
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

namespace lumicrate::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::uintmax_t MiB = 1024 * 1024;
constexpr std::uintmax_t GiB = 1024 * MiB;

const std::exception_ptr diskFull = std::make_exception_ptr(PlatformError("The disk is full."));
const std::exception_ptr displayLost = std::make_exception_ptr(SCStreamError("The display is gone.", -3815));

class RecorderEndingTests : public RecorderFixture {
 protected:
    /// The recording ends with that sentence and is saved.
    void expectSavedBecause(const std::string& sentence) {
        EXPECT_EQ(*recorder->state, State::stopping);
        complete();
        EXPECT_EQ(*recorder->state, State::idle);
        EXPECT_EQ(message(), sentence);
        EXPECT_EQ(*recorder->lastRecording, movie().url);
        EXPECT_THAT(announced, ElementsAre(movie().url));
        files.existing.clear();
        expectNothingLeft();
    }

    std::vector<std::filesystem::path> announced;
    Subscription saved = notifications.observe(recordingSavedNotification,
                                               [this](const auto& url) { announced.push_back(*url); });
};

TEST_F(RecorderEndingTests, AnInterruptedMovieIsSaved) {
    for (const bool paused : {false, true}) {
        announced.clear();
        record();
        if (paused) recorder->togglePause();
        movie().interrupt(diskFull);
        EXPECT_TRUE(recorder->isActive()) << "only on the main thread";
        executor.drain();
        // A consequence, which is not reported.
        capture.stream->delegate->didStopWithError(displayLost);
        executor.drain();
        expectSavedBecause("Recording stopped: The disk is full.");
    }
}

TEST_F(RecorderEndingTests, AFailedWriterEndsTheRecordingAtOnce) {
    record();
    movie().setError("The encoder broke.");
    movie().status = AVAssetWriterStatus::failed;
    deliverFrame();
    executor.drain();
    EXPECT_EQ(*recorder->state, State::idle);
    EXPECT_EQ(message(), "The recording couldn't be saved: The encoder broke.");
    EXPECT_THAT(announced, IsEmpty());
    expectNothingLeft();
}

TEST_F(RecorderEndingTests, AnInterruptionAfterTheStopRequestIsIgnored) {
    record();
    recorder->requestStop();
    movie().interrupt(diskFull);
    expectSavedBecause("");
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
    EXPECT_THAT(movie().extensions, SizeIs(4));
    EXPECT_LE(movie().extensions.back(), start + CMTime(3, 1)) << "a pause adds nothing";
    recorder->requestStop();
    executor.advance(10s);
    EXPECT_THAT(movie().extensions, SizeIs(4));
    complete();
}

struct Room {
    std::optional<NSVolumeCapacity> volume;
    bool toStart;
    bool toGoOn;
};

TEST(FreeSpaceGuardTests, ReservesAHundredthOfTheVolumeWithinBounds) {
    for (const Room& each : {Room{std::nullopt, true, true},
                             {NSVolumeCapacity{0, 24 * MiB}, false, false},
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
                             {NSVolumeCapacity{512 * MiB, 4096 * GiB}, true, true}}) {
        SCOPED_TRACE(each.volume ? each.volume->available : 0);
        const FreeSpaceGuard guard(each.volume);
        EXPECT_EQ(guard.hasRoomToGoOn(), each.toGoOn);
        bool starts = true;
        try {
            guard.requireRoomToStart();
        } catch (const RecorderError& error) {
            EXPECT_EQ(error.which(), RecorderError::tooLittleFreeSpace);
            starts = false;
        }
        EXPECT_EQ(starts, each.toStart);
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

TEST_F(RecorderEndingTests, AFullDiskEndsTheRecordingInTime) {
    for (const bool paused : {false, true}) {
        announced.clear();
        files.capacity = NSVolumeCapacity{20 * GiB, 100 * GiB};
        record();
        if (paused) recorder->togglePause();
        executor.advance(5s);
        files.asked.clear();
        executor.advance(1s);
        EXPECT_THAT(files.asked, ElementsAre(movie().url));
        EXPECT_TRUE(recorder->isActive());
        files.capacity->available = 200 * MiB;
        executor.advance(1s);
        expectSavedBecause("Recording stopped: The disk is almost full.");
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
