// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Movie/MicrophoneMeter.h"
#include "Lumicrate/Movie/MovieWriter.h"
#include "Tests/Lumicrate/FakePlatform.h"
#include "Tests/Lumicrate/Movie/FakeAssetWriter.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <numbers>
#include <sstream>
#include <thread>

namespace lumicrate::test {
namespace {

using testing::AllOf;
using testing::Each;

class HandClock final : public CMClock {
 public:
    CMTime time() const override { return now; }
    CMTime now = ms(10'000);
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
                clock, [this](const std::string&) { return std::make_unique<VirtualQueue>(executor); },
                files};
    }
    /// A new movie, and no results of the one before.
    void make(FakeMovie next = {}) {
        writer.reset();
        movie = std::move(next);
        log.clear();
        files.existing = {settings.url};
        writer = std::make_unique<MovieWriter>(settings, services(), [this](const auto& reason) {
            log.push_back("interrupted: " + localizedDescription(reason));
        });
    }
    void deliver(const CMSampleBuffer& sample, SCStreamOutputType type) {
        executor.drain();
        writer->didOutputSampleBuffer(sample, type);
    }
    void screen(const CMSampleBuffer& sample) { deliver(sample, SCStreamOutputType::screen); }
    void screen(CMTime pts) { screen(frame(pts)); }
    void audio(CMTime pts) { deliver(sound(pts), SCStreamOutputType::audio); }
    void microphone(const CMSampleBuffer& sample) { deliver(sample, SCStreamOutputType::microphone); }
    /// Its position tells its time.
    void input(RecordedInput::Kind kind, CMTime at) const {
        writer->addInput({kind, {}, {at.seconds(), 0}, 0, ""}, at);
    }
    void pauseAt(CMTime now) {
        clock.now = now;
        writer->pause();
    }
    void resumeAt(CMTime now) {
        clock.now = now;
        writer->resume();
    }
    void finish() {
        log.emplace_back("finishing");
        writer->finish([this](const std::exception_ptr& error) {
            log.push_back(error ? localizedDescription(error) : "saved");
        });
        executor.drain();
    }
    void setReady(bool ready) {
        for (const auto& input : movie.inputs)
            input->ready = ready;
    }

    /// Performs steps such as "screen 10000 busy screen 10010 keepUp 10020": the time in ms is that of the
    /// sample, or of the clock when the function is called.
    void perform(const std::string& steps) {
        CMTime at;
        const auto show = [&](SCFrameStatus status, std::uint64_t revision = 0) {
            CMSampleBuffer sample = frame(at, status);
            sample.frameInfo->revision = revision;
            sample.frameInfo->sequence = static_cast<std::uint64_t>(at.converted(1000));
            screen(sample);
        };
        const std::map<std::string, std::function<void()>> actions = {
            {"screen", [&] { show(SCFrameStatus::complete); }},
            {"covered", [&] { show(SCFrameStatus::complete, 2); }},
            {"idle", [&] { show(SCFrameStatus::idle); }},
            {"blank", [&] { show(SCFrameStatus::blank); }},
            {"suspended", [&] { show(SCFrameStatus::suspended); }},
            {"timeless", [&] { screen(CMTime::invalid()); }},
            {"unlabelled",
             [&] {
                 CMSampleBuffer sample = frame(at);
                 sample.frameInfo.reset();
                 screen(sample);
             }},
            {"audio", [&] { audio(at); }},
            {"microphone", [&] { microphone(sound(at)); }},
            {"pointer", [&] { input(RecordedInput::Kind::pointer, at); }},
            {"press", [&] { input(RecordedInput::Kind::press, at); }},
            {"busy", [&] { setReady(false); }},
            {"ready", [&] { setReady(true); }},
            {"pause", [&] { pauseAt(at); }},
            {"resume", [&] { resumeAt(at); }},
            {"resumeCovered",
             [&] {
                 clock.now = at;
                 writer->resume(2);
             }},
            {"keepUp", [&] { writer->keepUp(); }},
            {"finish", [&] { finish(); }},
            {"diskFull", [&] { movie.setError("disk full"); }},
            {"fileGone", [&] { movie.setError("file gone"); }},
            {"refusing", [&] { movie.inputs[1]->accepts = false; }},
            {"failed", [&] { movie.status = AVAssetWriterStatus::failed; }},
            {"cancelled", [&] { movie.status = AVAssetWriterStatus::cancelled; }},
            {"interrupted", [&] { movie.interrupt(failure("disk full")); }},
            {"interruptedAgain", [&] { movie.interrupt(failure("file gone")); }},
            {"succeeds", [&] { movie.complete(AVAssetWriterStatus::completed); }},
            {"breaks", [&] { movie.complete(AVAssetWriterStatus::failed); }},
            {"destroy", [&] { writer.reset(); }},
            {"deleted", [&] { files.existing.clear(); }},
        };
        std::istringstream words(steps);
        for (std::string step; words >> step;) {
            if (double ms = 0; std::isdigit((words >> std::ws).peek()) != 0 && words >> ms)
                clock.now = at = CMTime(std::llround(ms * 1e6), 1'000'000'000);
            actions.at(step)();
        }
        clock.now = CMTime(1'000'000, 1);  // The queue runs later: the times are those of the calls.
        executor.drain();
    }

    /// The movie as text, in ms. A picture that is shown at another time than its own: "shown=own".
    std::string written() const {
        std::ostringstream text;
        text << std::setprecision(14);
        const auto add = [&text](const char* what, CMTime time) {
            if (time.isValid()) text << what << time.seconds() * 1000;
        };
        add("from ", movie.sessionStart);
        for (std::size_t i = 0; i < movie.inputs.size(); ++i) {
            const auto& samples = movie.inputs[i]->appended;
            if (!samples.empty()) text << (i == 0 ? ", picture" : i == 1 ? ", sound" : ", microphone");
            for (const CMSampleBuffer& each : samples) {
                add(" ", each.presentationTimeStamp());
                const CMTime own =
                    ms(each.frameInfo ? static_cast<std::int64_t>(each.frameInfo->sequence) : 0);
                if (each.frameInfo && own != each.presentationTimeStamp()) add("=", own);
            }
        }
        for (const CMTime& each : movie.extensions)
            add(", extended to ", each);
        add(", end ", movie.sessionEnd.value_or(CMTime()));
        if (writer && writer->refusedFrames() > 0) text << ", refused " << writer->refusedFrames();
        return text.str();
    }
    /// What was reported, what became of the platform's writer, and of the file.
    std::string ending() const {
        std::string text;
        for (const std::string& each : log)
            text += (text.empty() ? "" : ", ") + each;
        const bool closed = std::ranges::count(movie.calls, "finish") == 1;
        EXPECT_EQ(std::ranges::all_of(movie.inputs, [](const auto& each) { return each->finished; }), closed);
        text += std::ranges::count(movie.calls, "cancel") == 1 ? "; cancelled" : closed ? "; closed" : ";";
        return text + (text.back() == ';' ? "" : ",") + (files.existing.empty() ? " no file" : " file kept");
    }

    MovieWriter::Settings settings;
    FakeMovie movie;
    HandClock clock;
    FakeFiles files;
    VirtualExecutor executor;
    std::vector<std::string> log;  ///< interruptions and the outcome of finish()
    std::unique_ptr<MovieWriter> writer;
};

TEST_F(MovieWriterTests, TracksAreSetUpInOrder) {
    for (const auto codec : {AVVideoCodecType::h264, AVVideoCodecType::hevc}) {
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

TEST_F(MovieWriterTests, InputIsPlacedOnTheTimeline) {
    settings.input = true;
    settings.microphone = false;
    make();
    perform(
        "pointer 9000 pointer 9800 press 9900 screen 10000 pointer 10500 press 10400 pause 11000 "
        "press 11200 pointer 11300 pointer 11400 resume 12000 press 12500 finish 13000");
    std::ostringstream found;
    for (const CMSampleBuffer& each : movie.inputs.at(2)->appended) {
        found << (each.input->kind == RecordedInput::Kind::press ? " press " : " pointer ")
              << each.presentationTimeStamp().seconds() << "=" << each.input->position.x;
    }
    EXPECT_EQ(found.str(),
              " pointer 10=9.8 pointer 10.5=10.5 press 10.5=10.4 pointer 11=11.4 press 11.5=12.5");
    EXPECT_TRUE(std::holds_alternative<AVMetadataOutputSettings>(movie.inputs[2]->settings));
    EXPECT_TRUE(movie.inputs[2]->finished);
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
        FakeMovie refusing;
        refusing.acceptedInputs = each.acceptedInputs;
        refusing.starts = each.starts;
        refusing.setError(each.error);
        try {
            make(std::move(refusing));
            ADD_FAILURE() << each.thrown;
        } catch (const LocalizedError& error) {
            EXPECT_STREQ(error.what(), each.thrown);
        }
    }
}

TEST_F(MovieWriterTests, SamplesAreWrittenAtTheirTimes) {
    const struct {
        const char *what, *steps, *written;
    } cases[] = {
        {"the first complete frame starts the movie",
         "audio 10000 microphone 10001 idle 10002 blank 10002 suspended 10002 screen 10010 audio 10005 "
         "microphone 10020",
         "from 10010, picture 10010, sound 10005, microphone 10020"},
        {"frames without time or status are dropped", "unlabelled 10003 timeless", ""},
        {"a pause before the first frame", "pause 10000 screen 10500 resume 11000 screen 11250",
         "from 10250, picture 10250=11250"},
        {"two pauses",
         "resume 9000 screen 10000 pause 10100 pause 10105 resume 10110 resume 10120 pause 10200 resume "
         "10300 "
         "audio 10050 audio 10100 audio 10109 audio 10110 audio 10200 audio 10300",
         "from 10000, picture 10000, sound 10050 10100 10190"},
        {"late samples are dropped per track",
         "screen 10000 screen 10000 screen 9999 audio 9990 audio 9990 screen 10005 audio 9991",
         "from 10000, picture 10000 10005, sound 9990 9991"},
        {"refused samples are dropped, and frames counted",
         "screen 10000 busy screen 10010 idle 10015 audio 10010 ready screen 10005",
         "from 10000, picture 10000 10005, refused 1"},
        {"a busy encoder gets the last refused frame",
         "screen 10000 busy screen 10010 screen 10020 ready keepUp keepUp",
         "from 10000, picture 10000 10020, extended to 10020, extended to 10020, refused 1"},
        {"a busy encoder stays busy", "screen 10000 busy screen 10010 screen 10020 keepUp",
         "from 10000, picture 10000, extended to 10020, refused 2"},
        {"a refused last frame is shown until the end", "screen 10000 busy screen 10016 ready finish 10100",
         "from 10000, picture 10000 10099=10016, end 10100, refused 1"},
        {"the last frame is shown until the end", "screen 10000 finish 15000",
         "from 10000, picture 10000 11000=10000 12000=10000 13000=10000 14000=10000 14999=10000, end "
         "15000"},
        {"just over a frame", "screen 10000 finish 10034.333334",
         "from 10000, picture 10000 10033.333334=10000, end 10034.333334"},
        {"paused at the end", "screen 10000 pause 12000 finish 60000",
         "from 10000, picture 10000 11000=10000 11999=10000, end 12000"},
        {"paused at once", "screen 10000 pause 10020 finish 60000", "from 10000, picture 10000, end 10020"},
        {"after a pause", "screen 10000 pause 12000 resume 20000 finish 21000",
         "from 10000, picture 10000 11000=10000 12000=10000 12999=10000, end 13000"},
        {"right after a pause", "screen 10000 pause 12000 resume 20000 finish 20000.5",
         "from 10000, picture 10000, end 12000.5"},
        {"keeps up with time, except during pauses",
         "keepUp 9000 screen 10000 keepUp 10250 keepUp 10500 pause 10600 keepUp 10750 resume 12600 "
         "keepUp 12850",
         "from 10000, picture 10000, extended to 10250, extended to 10500, extended to 10850"},
        {"a still frame is repeated every second, except during pauses",
         "screen 10000 keepUp 11240 keepUp 11250 pause 12100 keepUp 15000 resume 16100 keepUp 16250 screen "
         "16300 finish 16310",
         "from 10000, picture 10000 11000=10000 12000=10000 12300=16300, extended to 11240, extended to "
         "11250, extended to 12250, end 12310"},
        {"repeats that are late", "screen 10000 keepUp 12600 screen 12700",
         "from 10000, picture 10000 11000=10000 12000=10000 12700, extended to 12600"},
        {"a pause lasts until there is a frame with the new covers",
         "screen 10000 pause 11000 resumeCovered 20000 screen 20010 audio 20020 keepUp 20300 covered 20330 "
         "audio "
         "20340 finish 20350",
         "from 10000, picture 10000 11000=20330, sound 11010, end 11020"},
        {"no such frame before the end",
         "screen 10000 pause 10500 resumeCovered 12000 screen 12010 finish 13000",
         "from 10000, picture 10000 10499=10000, end 10500"},
        {"another pause before such a frame",
         "screen 10000 pause 10500 resumeCovered 12000 pause 12050 covered 12060 resumeCovered 13000 covered "
         "13000",
         "from 10000, picture 10000 10500=13000"},
        {"a refused frame is written before it is repeated",
         "screen 10000 busy screen 10010 keepUp 12000 ready keepUp 12001",
         "from 10000, picture 10000 10010 11010=10010, extended to 12000, extended to 12001"},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        make();
        perform(each.steps);
        EXPECT_EQ(written(), each.written);
    }
}

TEST_F(MovieWriterTests, AConstantFrameRateHasAPictureAtEachTime) {
    const struct {
        const char *what, *steps, *written;
    } cases[] = {
        {"the latest frame by each time", "screen 10000 screen 10120 screen 10180 screen 10300 finish 10310",
         "from 10000, picture 10000 10100=10000 10200=10180 10300, end 10400"},
        {"a still screen", "screen 10000 keepUp 10349 keepUp 10450 finish 10400",
         "from 10000, picture 10000 10100=10000 10200=10000 10300=10000, extended to 10349, extended to "
         "10450, end 10400"},
        {"a late frame", "screen 10000 keepUp 10450 screen 10190 screen 10180 finish 10310",
         "from 10000, picture 10000 10100=10000 10200=10000 10300=10190, extended to 10450, end 10400"},
        {"a busy encoder",
         "screen 10000 busy screen 10100 screen 10210 screen 10300 ready keepUp 10600 finish 10601",
         "from 10000, picture 10000 10100 10200=10100 10300 10400=10300 10500=10300 10600=10300, extended "
         "to 10600, end 10700, refused 1"},
        {"busy to the end", "screen 10000 busy finish 10250", "from 10000, picture 10000, end 10250"},
        {"a pause", "screen 10000 pause 10150 resume 20150 screen 20190 finish 20210",
         "from 10000, picture 10000 10100=10000 10200=20190, end 10300"},
        {"paused at the end", "screen 10000 pause 10250 finish 60000",
         "from 10000, picture 10000 10100=10000 10200=10000, end 10300"},
        {"right after a pause", "screen 10000 pause 10250 resume 20000 finish 20000.5",
         "from 10000, picture 10000 10100=10000 10200=10000, end 10300"},
    };
    settings.constantFrameRate = true;
    settings.fps = 10;
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        make();
        perform(each.steps);
        EXPECT_EQ(written(), each.written);
        for (const CMSampleBuffer& picture : movie.inputs[0]->appended)
            EXPECT_EQ(picture.timing.duration, CMTime(1, 10));
    }
}

TEST_F(MovieWriterTests, AThirtiethOfASecondIsNotHeld) {
    make();
    screen(ms(10'000));
    clock.now = ms(10'001) + CMTime(1, 30);
    finish();
    EXPECT_THAT(movie.times(0), ElementsAre(ms(10'000)));
    EXPECT_EQ(movie.sessionEnd, clock.now);
}

TEST_F(MovieWriterTests, WithoutPictureTheFirstSoundStartsTheMovie) {
    settings.video = false;
    settings.microphone = false;
    make();
    screen(ms(9'000));
    microphone(sound(ms(9'500)));
    audio(ms(10'000));
    EXPECT_EQ(written(), "from 10000, picture 10000");
    finish();
    movie.complete(AVAssetWriterStatus::completed);
    EXPECT_EQ(log.back(), "saved");
}

TEST_F(MovieWriterTests, PausesAreCutOutExactly) {
    make();
    screen(ms(10'000));
    const CMTime start(10'033'333'333, 1'000'000'000);
    const CMTime end(1'080'007, 90'000);
    pauseAt(start);
    resumeAt(end);
    clock.now = ms(60'000);  // The queue runs later: the times are those of the calls.
    screen(start - CMTime(1, 1'000'000'000));
    screen(start);
    audio(CMTime(11 * 48000 + 1, 48000));
    CMSampleBuffer late = frame(end);
    late.timing.duration = ms(16);
    late.timing.decodeTimeStamp = ms(12'500);
    screen(late);
    audio(CMTime(13 * 48000 + 1, 48000));

    EXPECT_EQ(movie.sessionStart, ms(10'000));
    EXPECT_THAT(movie.times(0), ElementsAre(ms(10'000), start - CMTime(1, 1'000'000'000), start));
    EXPECT_THAT(movie.times(1), ElementsAre(CMTime(99'299'487'497, 9'000'000'000)));
    const CMSampleBuffer& shifted = movie.inputs[0]->appended.back();
    EXPECT_EQ(shifted.timing.decodeTimeStamp, CMTime(94'799'299'997, 9'000'000'000));
    EXPECT_EQ(shifted.timing.duration, ms(16));
    EXPECT_EQ(shifted.imageBuffer, late.imageBuffer);
    EXPECT_EQ(shifted.frameInfo->sequence, 7U);
    EXPECT_FALSE(movie.inputs[1]->appended.back().timing.decodeTimeStamp.isValid());
}

TEST_F(MovieWriterTests, TheFirstReasonEndsTheMovie) {
    const struct {
        const char *what, *steps, *written, *ending;
    } cases[] = {
        {"saved", "screen 10000 finish 10010 succeeds", "from 10000, picture 10000, end 10010",
         "finishing, saved; closed, file kept"},
        {"not saved", "screen 10000 finish 10010 diskFull breaks", "from 10000, picture 10000, end 10010",
         "finishing, disk full; closed, file kept"},
        {"not saved for no reason", "screen 10000 finish 10010 breaks",
         "from 10000, picture 10000, end 10010",
         "finishing, The movie file couldn't be written.; closed, file kept"},
        {"the movie writer goes away first", "screen 10000 finish 10010 destroy succeeds",
         "from 10000, picture 10000, end 10010",
         "finishing, The movie file couldn't be written.; closed, file kept"},
        {"cancelled by others", "screen 10000 cancelled finish", "from 10000, picture 10000",
         "finishing, The movie file couldn't be written.; no file"},
        {"without frames", "finish", "", "finishing, No video frames were captured.; cancelled, no file"},
        {"failed without frames", "diskFull failed finish", "", "finishing, disk full; no file"},
        {"append fails", "screen 10000 diskFull refusing audio 10010 fileGone screen 10020 finish",
         "from 10000, picture 10000", "interrupted: disk full, finishing, disk full; cancelled, no file"},
        {"append fails for no reason", "screen 10000 refusing audio 10010 fileGone screen 10020 finish",
         "from 10000, picture 10000",
         "interrupted: The movie file couldn't be written., finishing, The movie file couldn't be written.; "
         "cancelled, no file"},
        {"the writer fails", "screen 10000 diskFull failed audio 10010 fileGone screen 10020 finish",
         "from 10000, picture 10000", "interrupted: disk full, finishing, disk full; no file"},
        {"the writer fails while the screen is still",
         "screen 10000 diskFull failed keepUp 10100 keepUp 10200 idle 10300 deleted finish",
         "from 10000, picture 10000", "interrupted: disk full, finishing, disk full; no file"},
        {"interrupted: finished with what it has",
         "screen 10000 interrupted interruptedAgain busy screen 10020 keepUp 10020 finish 10030 succeeds",
         "from 10000, picture 10000, end 10030",
         "interrupted: disk full, finishing, saved; closed, file kept"},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        make();
        perform(each.steps);
        EXPECT_EQ(written(), each.written);
        EXPECT_EQ(ending(), each.ending);
    }
}

TEST_F(MovieWriterTests, WorksOnItsOwnThreadAndDrainsItsQueue) {
    MovieWriter::Services threaded = services();
    threaded.makeQueue = [](const std::string& label) { return std::make_unique<SerialQueue>(label); };
    std::string outcome;
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
        own.finish([&outcome](const std::exception_ptr& error) { outcome = localizedDescription(error); });
    }
    EXPECT_EQ(movie.times(0).size(), 101U);
    EXPECT_EQ(movie.times(0).back(), ms(9'999));
    EXPECT_EQ(outcome, "The movie file couldn't be written.");
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
    EXPECT_THAT(movie.times(2), ElementsAre(ms(10'001), ms(10'200), ms(10'400)));
    const auto bytes = [this](std::size_t input, std::size_t index) {
        return movie.inputs[input]->appended.at(index).audio->buffers.at(0);
    };
    const auto loud = sound(ms(0)).audio->buffers[0];
    EXPECT_THAT(bytes(2, 0), AllOf(SizeIs(8), Each(std::byte{0})));
    EXPECT_EQ(bytes(2, 1), loud);
    EXPECT_EQ(bytes(2, 2), loud);
    EXPECT_EQ(bytes(1, 0), loud);
}

template <class Sample>
CMSampleBuffer constant(AudioSampleFormat format, double value, double fullScale = 1) {
    return sound(ms(0), format, std::vector<Sample>(480, static_cast<Sample>(value * fullScale)));
}

TEST(MicrophoneMeterTests, MicrophoneLevelsAreLinearInDecibels) {
    using enum AudioSampleFormat;
    const double quarter = std::pow(10, -25.0 / 20);
    std::vector<float> sine(4800);
    for (std::size_t i = 0; i < sine.size(); ++i)
        sine[i] = static_cast<float>(std::sin(2 * std::numbers::pi * static_cast<double>(i) / 48));
    CMSampleBuffer loudRight = constant<float>(float32, 0);
    loudRight.audio->buffers.push_back(constant<float>(float32, -1).audio->buffers[0]);
    CMSampleBuffer cutShort = constant<float>(float32, 1);
    cutShort.audio->buffers[0].resize(3);

    std::pair<CMSampleBuffer, double> cases[] = {
        {constant<float>(float32, 1), 1},
        {constant<float>(float32, 3), 1},
        {constant<float>(float32, quarter), 0.5},
        {constant<std::int32_t>(int32, quarter, 2147483648.0), 0.5},
        {constant<std::int16_t>(int16, quarter, 32768), 0.5},
        {constant<std::int16_t>(int16, -1, 32768), 1},
        {sound(ms(0), float32, sine), (20 * std::log10(std::sqrt(0.5)) + 50) / 50},
        {loudRight, 1},
        {cutShort, 0},
        {constant<float>(float32, 0.0000005), 0},
        {sound(ms(0), float32, std::vector<float>()), 0},
        {constant<float>(other, 1), 0}};
    MicrophoneMeter meter;
    std::optional<float> level;
    meter.setSink([&level](float each) { level = each; });
    CMTime time = ms(10'000);
    for (auto& [sample, expected] : cases) {
        sample.timing.presentationTimeStamp = time = time + ms(100);
        level.reset();
        meter.process(sample);
        EXPECT_NEAR(level.value_or(-1), expected, 1e-4) << "at " << time.seconds() << " s";
    }
}

TEST(MicrophoneMeterTests, LevelsComeAtMostFifteenTimesASecond) {
    MicrophoneMeter meter;
    int levels = 0;
    meter.setSink([&levels](float) { ++levels; });
    const CMTime fifteenth(1, 15);
    meter.process(sound(fifteenth));
    EXPECT_EQ(levels, 0);
    meter.process(sound(fifteenth + CMTime(1, 1'000'000'000)));
    EXPECT_EQ(levels, 1);
    meter.process(sound(fifteenth + fifteenth));
    EXPECT_EQ(levels, 1);
    meter.process(sound(ms(10'000)));
    EXPECT_EQ(levels, 2);
}

}  // namespace
}  // namespace lumicrate::test
