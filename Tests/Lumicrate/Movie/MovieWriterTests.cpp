#include "Lumicrate/Movie/MovieWriter.h"
#include "Support/DispatchQueue.h"
#include "Tests/Lumicrate/FakePlatform.h"
#include "Tests/Lumicrate/Movie/FakeAssetWriter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <future>
#include <thread>

namespace lumicrate::test {
namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class HandClock final : public CMClock {
 public:
    CMTime time() const override { return now; }
    CMTime now = ms(10'000);
};

class ManualQueue final : public DispatchQueue {
 public:
    explicit ManualQueue(std::deque<Work>& work) : work_(work) {}
    void async(Work work) override { work_.push_back(std::move(work)); }

 private:
    std::deque<Work>& work_;
};

class RemovedFiles final : public FakeFiles {
 public:
    void removeItem(const std::filesystem::path& url) override {
        removed.push_back(url);
        throw PlatformError("It is gone already.");
    }
    std::vector<std::filesystem::path> removed;
};

class MovieWriterTests : public testing::Test {
 protected:
    MovieWriterTests() {
        settings.url = "/movies/a.mp4";
        settings.systemAudio = true;
        settings.microphone = true;
        settings.bitRate = 5'000'000;
    }

    MovieWriter::Services services() {
        return {[this](const auto& url, AVFileType type) {
                    movie.url = url;
                    movie.fileType = type;
                    return std::make_unique<FakeAssetWriter>(movie);
                },
                clock, [this](const std::string&) { return std::make_unique<ManualQueue>(work); }, files};
    }
    void make() {
        writer =
            std::make_unique<MovieWriter>(settings, services(), [this](const std::exception_ptr& reason) {
                interruptions.push_back(localizedDescription(reason));
            });
    }
    void runQueue() {
        for (; !work.empty(); work.pop_front())
            work.front()();
    }
    void screen(const CMSampleBuffer& sample) {
        runQueue();
        writer->didOutputSampleBuffer(sample, SCStreamOutputType::screen);
    }
    void screen(CMTime pts) { screen(frame(pts)); }
    void audio(CMTime pts) {
        runQueue();
        writer->didOutputSampleBuffer(sound(pts), SCStreamOutputType::audio);
    }
    void microphone(const CMSampleBuffer& sample) {
        runQueue();
        writer->didOutputSampleBuffer(sample, SCStreamOutputType::microphone);
    }
    void finish() {
        writer->finish([this](const std::exception_ptr& error) {
            outcomes.push_back(error ? localizedDescription(error) : "saved");
        });
        runQueue();
    }
    void pauseAt(CMTime now) {
        clock.now = now;
        writer->pause();
    }
    void resumeAt(CMTime now) {
        clock.now = now;
        writer->resume();
    }
    void keepUpAt(CMTime now) {
        clock.now = now;
        writer->keepUp();
    }
    /// A new movie, and no results of the one before.
    void makeAnother() {
        movie = {};
        outcomes.clear();
        interruptions.clear();
        files.removed.clear();
        make();
    }
    std::vector<CMTime> times(std::size_t input) const { return movie.times(input); }

    MovieWriter::Settings settings;
    FakeMovie movie;
    HandClock clock;
    RemovedFiles files;
    std::deque<DispatchQueue::Work> work;
    std::vector<std::string> outcomes;
    std::vector<std::string> interruptions;
    std::unique_ptr<MovieWriter> writer;
};

TEST_F(MovieWriterTests, TracksAreSetUpInOrder) {
    for (const auto codec : {AVVideoCodecType::h264, AVVideoCodecType::hevc}) {
        movie = {};
        settings.codec = codec;
        settings.fileType = AVFileType::quickTimeMovie;
        settings.width = 1280;
        settings.height = 722;
        settings.fps = 24;
        make();
        EXPECT_EQ(movie.url, settings.url);
        EXPECT_EQ(movie.fileType, AVFileType::quickTimeMovie);
        EXPECT_THAT(movie.calls, ElementsAre("index in front", "add", "add", "add", "start"));
        const auto& video = std::get<AVVideoOutputSettings>(movie.inputs.at(0)->settings);
        EXPECT_EQ(video.codec, codec);
        EXPECT_EQ(video.width, 1280);
        EXPECT_EQ(video.height, 722);
        EXPECT_EQ(video.compression.averageBitRate, 5'000'000);
        EXPECT_EQ(video.compression.expectedSourceFrameRate, 24);
        EXPECT_EQ(video.compression.maxKeyFrameInterval, 48);
        EXPECT_EQ(video.compression.profileLevel.has_value(), codec == AVVideoCodecType::h264);
        for (const std::size_t input : {1U, 2U}) {
            const auto& sound = std::get<AVAudioOutputSettings>(movie.inputs.at(input)->settings);
            EXPECT_EQ(sound.formatID, kAudioFormatMPEG4AAC);
            EXPECT_EQ(sound.sampleRate, 48000);
            EXPECT_EQ(sound.numberOfChannels, input == 1 ? 2 : 1);
            EXPECT_EQ(sound.encoderBitRate, input == 1 ? 192000 : 128000);
        }
        for (const auto& input : movie.inputs)
            EXPECT_TRUE(input->realTime);
    }
}

TEST_F(MovieWriterTests, SetUpErrorsAreThrown) {
    struct Case {
        std::size_t acceptedInputs;
        bool starts;
        const char* error;
        const char* thrown;
    };
    for (const Case& each : {Case{0, true, "", "The movie file couldn't be set up for this format."},
                             {2, true, "no room", "The movie file couldn't be set up for this format."},
                             {3, false, "no room", "no room"},
                             {3, false, "", "The movie file couldn't be written."}}) {
        movie = {};
        movie.acceptedInputs = each.acceptedInputs;
        movie.starts = each.starts;
        movie.setError(each.error);
        try {
            make();
            ADD_FAILURE() << each.thrown;
        } catch (const LocalizedError& error) {
            EXPECT_STREQ(error.what(), each.thrown);
        }
    }
}

TEST_F(MovieWriterTests, TheFirstCompleteFrameStartsTheMovie) {
    make();
    audio(ms(10'000));
    microphone(sound(ms(10'001)));
    for (const auto status : {SCFrameStatus::idle, SCFrameStatus::blank, SCFrameStatus::suspended})
        screen(frame(ms(10'002), status));
    CMSampleBuffer unlabelled = frame(ms(10'003));
    unlabelled.frameInfo.reset();
    screen(unlabelled);
    screen(CMTime::invalid());
    EXPECT_FALSE(movie.sessionStart.isValid());

    screen(ms(10'010));
    audio(ms(10'005));
    microphone(sound(ms(10'020)));
    EXPECT_EQ(movie.sessionStart, ms(10'010));
    EXPECT_THAT(times(0), ElementsAre(ms(10'010)));
    EXPECT_THAT(times(1), ElementsAre(ms(10'005)));
    EXPECT_THAT(times(2), ElementsAre(ms(10'020)));
}

TEST_F(MovieWriterTests, WithoutPictureTheFirstSoundStartsTheMovie) {
    settings.video = false;
    settings.microphone = false;
    make();
    screen(ms(9'000));
    microphone(sound(ms(9'500)));
    EXPECT_FALSE(movie.sessionStart.isValid());
    audio(ms(10'000));
    EXPECT_EQ(movie.sessionStart, ms(10'000));
    finish();
    movie.complete(AVAssetWriterStatus::completed);
    EXPECT_THAT(outcomes, ElementsAre("saved"));
}

TEST_F(MovieWriterTests, PausesAreCutOutExactly) {
    make();
    screen(ms(10'000));
    const CMTime start(10'033'333'333, 1'000'000'000);
    const CMTime end(1'080'007, 90'000);
    // The queue runs later: the times are those of the calls.
    pauseAt(start);
    pauseAt(ms(11'000));
    resumeAt(end);
    resumeAt(ms(60'000));
    screen(start - CMTime(1, 1'000'000'000));
    screen(start);
    audio(CMTime(11 * 48000 + 1, 48000));
    CMSampleBuffer late = frame(end);
    late.timing.duration = ms(16);
    late.timing.decodeTimeStamp = ms(12'500);
    screen(late);
    audio(CMTime(13 * 48000 + 1, 48000));

    EXPECT_EQ(movie.sessionStart, ms(10'000));
    EXPECT_THAT(times(0), ElementsAre(ms(10'000), start - CMTime(1, 1'000'000'000), start));
    EXPECT_THAT(times(1), ElementsAre(CMTime(99'299'487'497, 9'000'000'000)));
    const CMSampleBuffer& shifted = movie.inputs[0]->appended.back();
    EXPECT_EQ(shifted.timing.decodeTimeStamp, CMTime(94'799'299'997, 9'000'000'000));
    EXPECT_EQ(shifted.timing.duration, ms(16));
    EXPECT_EQ(shifted.imageBuffer, late.imageBuffer);
    EXPECT_EQ(shifted.frameInfo->sequence, 7U);
    EXPECT_FALSE(movie.inputs[1]->appended.back().timing.decodeTimeStamp.isValid());
}

TEST_F(MovieWriterTests, APauseBeforeTheFirstFrameShiftsTheStart) {
    make();
    pauseAt(ms(10'000));
    screen(ms(10'500));
    resumeAt(ms(11'000));
    screen(ms(11'250));
    EXPECT_EQ(movie.sessionStart, ms(10'250));
    EXPECT_THAT(times(0), ElementsAre(ms(10'250)));
}

TEST(PauseTimelineTests, OffsetIsTheSumOfPausesThatHaveEnded) {
    PauseTimeline timeline;
    timeline.resume(ms(1));
    timeline.pause(ms(100));
    timeline.resume(ms(110));
    timeline.pause(CMTime(1, 7));
    timeline.pause(ms(160));
    timeline.resume(CMTime(1, 6));
    timeline.pause(ms(200));
    EXPECT_EQ(timeline.pausedAt(), ms(200));

    const CMTime both = ms(10) + CMTime(1, 42);
    const std::vector<std::pair<CMTime, std::optional<CMTime>>> cases = {
        {ms(0), CMTime::zero()},
        {CMTime(99'999'999, 1'000'000'000), CMTime::zero()},
        {ms(100), std::nullopt},
        {CMTime(109'999'999, 1'000'000'000), std::nullopt},
        {ms(110), ms(10)},
        {CMTime(142'857'142, 1'000'000'000), ms(10)},
        {CMTime(142'857'143, 1'000'000'000), std::nullopt},
        {CMTime(14'999, 90'000), std::nullopt},
        {CMTime(8'000, 48'000), both},
        {CMTime(199'999'999, 1'000'000'000), both},
        {ms(200), std::nullopt},
        {ms(10'000), std::nullopt}};
    for (const auto& [time, offset] : cases)
        EXPECT_EQ(timeline.offset(time), offset) << time.value() << "/" << time.timescale();
}

TEST_F(MovieWriterTests, LateAndRefusedSamplesAreDroppedPerTrack) {
    make();
    screen(ms(10'000));
    screen(CMTime(900'000, 90'000));
    screen(ms(9'999));
    audio(ms(9'990));
    audio(ms(9'990));
    movie.inputs[0]->ready = false;
    movie.inputs[1]->ready = false;
    screen(ms(10'010));
    screen(frame(ms(10'015), SCFrameStatus::idle));
    audio(ms(10'010));
    EXPECT_EQ(writer->refusedFrames(), 1U);
    movie.inputs[0]->ready = true;
    screen(ms(10'005));
    EXPECT_THAT(times(0), ElementsAre(ms(10'000), ms(10'005)));
    EXPECT_THAT(times(1), ElementsAre(ms(9'990)));
    EXPECT_EQ(writer->refusedFrames(), 1U);
}

TEST_F(MovieWriterTests, TheLastFrameThatABusyEncoderRefusedIsRetried) {
    make();
    screen(ms(10'000));
    movie.inputs[0]->ready = false;
    screen(ms(10'010));
    screen(ms(10'020));
    writer->keepUp();
    runQueue();
    EXPECT_EQ(writer->refusedFrames(), 2U);
    movie.inputs[0]->ready = true;
    writer->keepUp();
    writer->keepUp();
    runQueue();
    EXPECT_THAT(times(0), ElementsAre(ms(10'000), ms(10'020)));
    EXPECT_EQ(writer->refusedFrames(), 1U);
}

TEST_F(MovieWriterTests, TheLastFrameIsShownUntilTheEnd) {
    struct Case {
        const char* what;
        CMTime now;
        std::optional<CMTime> held;
        CMTime end;  ///< of the movie
        std::vector<std::pair<CMTime, std::optional<CMTime>>> pauses;
    };
    // The last frame is at 10 s.
    const std::vector<Case> cases = {
        {"still for long", ms(15'000), ms(14'999), ms(15'000), {}},
        {"just over a frame",
         ms(10'000) + CMTime(1, 30) + CMTime(1'000'001, 1'000'000'000),
         ms(10'000) + CMTime(1, 30) + CMTime(1, 1'000'000'000),
         ms(10'000) + CMTime(1, 30) + CMTime(1'000'001, 1'000'000'000),
         {}},
        {"just a frame", ms(10'001) + CMTime(1, 30), std::nullopt, ms(10'001) + CMTime(1, 30), {}},
        {"paused", ms(60'000), ms(11'999), ms(12'000), {{ms(12'000), std::nullopt}}},
        {"paused at once", ms(60'000), std::nullopt, ms(10'020), {{ms(10'020), std::nullopt}}},
        {"after a pause", ms(21'000), ms(12'999), ms(13'000), {{ms(12'000), ms(20'000)}}},
        {"right after a pause",
         CMTime(20'000'500, 1'000'000),
         std::nullopt,
         CMTime(12'000'500, 1'000'000),
         {{ms(12'000), ms(20'000)}}}};
    for (const Case& each : cases) {
        SCOPED_TRACE(each.what);
        movie = {};
        make();
        screen(ms(10'000));
        for (const auto& [start, end] : each.pauses) {
            pauseAt(start);
            if (end) resumeAt(*end);
        }
        clock.now = each.now;
        finish();
        ASSERT_EQ(movie.inputs[0]->appended.size(), each.held ? 2U : 1U);
        EXPECT_EQ(times(0).back(), each.held.value_or(ms(10'000)));
        EXPECT_EQ(movie.sessionEnd, each.end);
        EXPECT_EQ(movie.inputs[0]->appended.back().frameInfo->sequence, 7U);
        for (const auto& input : movie.inputs)
            EXPECT_TRUE(input->finished);
        EXPECT_EQ(movie.calls.back(), "finish");
    }
}

TEST_F(MovieWriterTests, ARefusedLastFrameIsShownUntilTheEnd) {
    make();
    screen(ms(10'000));
    const CMSampleBuffer refused = frame(ms(10'016));
    movie.inputs[0]->ready = false;
    screen(refused);
    movie.inputs[0]->ready = true;
    clock.now = ms(10'100);
    finish();
    EXPECT_THAT(times(0), ElementsAre(ms(10'000), ms(10'099)));
    EXPECT_EQ(movie.inputs[0]->appended.back().imageBuffer, refused.imageBuffer);
}

TEST_F(MovieWriterTests, TheFirstFailureIsKeptAndLeavesNoFile) {
    struct Case {
        bool appendFails;  ///< or else the status of the writer changes
        const char* error;
        const char* outcome;
    };
    for (const Case& each : {Case{true, "disk full", "disk full"},
                             {true, "", "The movie file couldn't be written."},
                             {false, "disk full", "disk full"},
                             {false, "", "The movie file couldn't be written."}}) {
        makeAnother();
        screen(ms(10'000));
        movie.setError(each.error);
        movie.inputs[1]->accepts = !each.appendFails;
        if (!each.appendFails) movie.status = AVAssetWriterStatus::failed;
        audio(ms(10'010));
        movie.setError("something later");
        screen(ms(10'020));
        EXPECT_THAT(interruptions, ElementsAre(each.outcome)) << "at once, not only when it is finished";
        finish();
        EXPECT_THAT(times(0), ElementsAre(ms(10'000)));
        EXPECT_EQ(movie.calls.back(), each.appendFails ? "cancel" : "session");
        EXPECT_THAT(files.removed, ElementsAre(settings.url));
        EXPECT_THAT(outcomes, ElementsAre(each.outcome));
    }
}

TEST_F(MovieWriterTests, AnInterruptedMovieIsFinishedWithWhatItHas) {
    make();
    screen(ms(10'000));
    movie.interrupt(std::make_exception_ptr(PlatformError("disk full")));
    movie.interrupt(std::make_exception_ptr(PlatformError("file gone")));
    EXPECT_THAT(interruptions, ElementsAre("disk full"));
    movie.inputs[0]->ready = false;
    screen(ms(10'020));
    keepUpAt(ms(10'030));
    runQueue();
    EXPECT_EQ(writer->refusedFrames(), 0U) << "the encoder is not to blame";
    EXPECT_THAT(movie.extensions, IsEmpty());
    finish();
    movie.complete(AVAssetWriterStatus::completed);
    EXPECT_THAT(times(0), ElementsAre(ms(10'000)));
    EXPECT_THAT(outcomes, ElementsAre("saved"));
    EXPECT_THAT(files.removed, IsEmpty());
}

TEST_F(MovieWriterTests, AFailureIsDetectedWhileTheScreenIsStill) {
    make();
    screen(ms(10'000));
    movie.setError("disk full");
    movie.status = AVAssetWriterStatus::failed;
    for (int i = 0; i < 2; ++i) {
        writer->keepUp();
        runQueue();
    }
    EXPECT_THAT(interruptions, ElementsAre("disk full"));
    EXPECT_THAT(movie.extensions, IsEmpty());
}

TEST_F(MovieWriterTests, AStillFrameIsRepeatedEveryHour) {
    make();
    screen(ms(0));
    for (const CMTime& now : {CMTime(3600, 1), CMTime(3601, 1), CMTime(7200, 1), CMTime(7202, 1)})
        keepUpAt(now);
    runQueue();
    EXPECT_THAT(times(0), ElementsAre(ms(0), CMTime(3601, 1), CMTime(7202, 1)));
}

TEST_F(MovieWriterTests, KeepsUpWithTimeExceptDuringPauses) {
    make();
    keepUpAt(ms(9'000));
    screen(ms(10'000));
    keepUpAt(ms(10'250));
    keepUpAt(ms(10'500));
    pauseAt(ms(10'600));
    keepUpAt(ms(10'750));
    resumeAt(ms(12'600));
    // The queue runs later: the times are those of the calls.
    keepUpAt(ms(12'850));
    clock.now = ms(20'000);
    runQueue();
    EXPECT_THAT(movie.extensions, ElementsAre(ms(10'250), ms(10'500), ms(10'850)));
}

TEST_F(MovieWriterTests, FinishReportsTheOutcome) {
    struct Case {
        bool anyFrame;
        AVAssetWriterStatus before;
        AVAssetWriterStatus after;
        const char* error;
        const char* outcome;
    };
    using enum AVAssetWriterStatus;
    for (const Case& each : {Case{true, writing, completed, "", "saved"},
                             {true, writing, failed, "disk full", "disk full"},
                             {true, writing, failed, "", "The movie file couldn't be written."},
                             {true, failed, failed, "disk full", "disk full"},
                             {true, cancelled, cancelled, "", "The movie file couldn't be written."},
                             {false, writing, writing, "", "No video frames were captured."},
                             {false, failed, failed, "disk full", "disk full"}}) {
        makeAnother();
        if (each.anyFrame) screen(ms(10'000));
        movie.status = each.before;
        movie.setError(each.error);
        finish();
        movie.complete(each.after);
        EXPECT_THAT(outcomes, ElementsAre(each.outcome));
        const bool kept = each.anyFrame && each.before == writing;
        EXPECT_EQ(files.removed.size(), kept ? 0U : 1U);
        EXPECT_EQ(std::ranges::count(movie.calls, "cancel"), !each.anyFrame && each.before == writing);
    }
}

TEST_F(MovieWriterTests, FinishCompletesOnceAlsoWhenTheWriterGoesAway) {
    make();
    screen(ms(10'000));
    finish();
    EXPECT_THAT(outcomes, IsEmpty());
    writer.reset();
    EXPECT_THAT(outcomes, ElementsAre("The movie file couldn't be written."));
    movie.complete(AVAssetWriterStatus::completed);
    EXPECT_EQ(outcomes.size(), 1U);
}

TEST_F(MovieWriterTests, WorksOnItsOwnThreadAndDrainsItsQueue) {
    MovieWriter::Services threaded = services();
    threaded.makeQueue = [](const std::string& label) {
        EXPECT_EQ(label, "Lumicrate.movie-writer");
        return std::make_unique<SerialQueue>(label);
    };
    std::promise<std::string> outcome;
    {
        MovieWriter own(settings, threaded);
        std::thread user([&own] {
            for (int i = 0; i < 100; ++i) {
                own.pause();
                own.setMicrophoneMuted(i % 2 == 0);
                own.resume();
            }
        });
        for (int i = 0; i < 100; ++i) {
            own.queue().async(
                [&own, i] { own.didOutputSampleBuffer(frame(ms(9'000 + i)), SCStreamOutputType::screen); });
        }
        user.join();
        own.finish(
            [&outcome](const std::exception_ptr& error) { outcome.set_value(localizedDescription(error)); });
    }
    EXPECT_EQ(movie.inputs[0]->appended.size(), 101U);
    EXPECT_EQ(times(0).back(), ms(9'999));
    EXPECT_EQ(movie.calls.back(), "finish");
    EXPECT_EQ(outcome.get_future().get(), "The movie file couldn't be written.");
}

TEST_F(MovieWriterTests, AMutedMicrophoneIsSilentAndKeepsItsTime) {
    make();
    std::vector<float> levels;
    writer->setOnMicrophoneLevel([&levels](float level) { levels.push_back(level); });
    screen(ms(10'000));
    writer->setMicrophoneMuted(true);
    microphone(sound(ms(10'001)));
    writer->setMicrophoneMuted(false);
    microphone(sound(ms(10'200)));
    CMSampleBuffer unknown = sound(ms(10'400));
    unknown.audio->description.reset();
    writer->setMicrophoneMuted(true);
    microphone(unknown);
    writer->didOutputSampleBuffer(sound(ms(10'600)), SCStreamOutputType::audio);

    EXPECT_EQ(levels.size(), 2U);
    EXPECT_EQ(levels.front(), 0);
    EXPECT_THAT(times(2), ElementsAre(ms(10'001), ms(10'200), ms(10'400)));
    const auto bytes = [this](std::size_t input, std::size_t index) {
        return movie.inputs[input]->appended.at(index).audio->buffers.at(0);
    };
    const auto loud = sound(ms(0)).audio->buffers[0];
    EXPECT_THAT(bytes(2, 0), AllOf(SizeIs(8), Each(std::byte{0})));
    EXPECT_EQ(bytes(2, 1), loud);
    EXPECT_EQ(bytes(2, 2), loud);
    EXPECT_EQ(bytes(1, 0), loud);
}

}  // namespace
}  // namespace lumicrate::test
