// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/MovieFile/AssetWriter.h"
#include "Support/Error.h"
#include "Tests/Linux/Media/CountedMovie.h"
#include "Tests/Stage/Measure.h"
#include "Tests/Stage/Movie/Box.h"
#include "Tests/Stage/MovieBoxes.h"
#include "Tests/Stage/OtherPrograms.h"

#include <gmock/gmock.h>

#include <atomic>
#include <ctime>

namespace lumicrate::media {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;

RecoveryList unfinishedIn(const TemporaryFolder& folder) {
    return RecoveryList(folder / "unfinished");
}

CMSampleBuffer noise(int milliseconds, unsigned seed) {
    auto picture = std::make_shared<TestPicture>(640, 480);
    picture->noise({0, 0, 640, 480}, seed);
    return frame(start + CMTime(milliseconds, 1000), picture);
}

TEST(AssetWriterTests, TakesOnlyWhatItCanWrite) {
    const TemporaryFolder folder;
    const auto movie = makeAssetWriter(folder / "a.mp4", AVFileType::mpeg4, unfinishedIn(folder));
    const auto hevc = [](int width, int height) {
        return videoSettings(width, height, 8'000'000, 30, AVVideoCodecType::hevc);
    };
    AVAudioOutputSettings pcm = audioSettings(2);
    pcm.formatID = 0x6c70636d;
    for (const AVOutputSettings& each : std::vector<AVOutputSettings>{
             videoSettings(0, 64), videoSettings(64, 16385), pcm, audioSettings(3), hevc(64, 0)})
        EXPECT_FALSE(movie->canAddInput(each));
    for (const AVVideoOutputSettings& each : {hevc(2, 2), videoSettings(2, 2), videoSettings(16384, 64)})
        EXPECT_TRUE(movie->canAddInput(each));
    movie->addInput(videoSettings(64, 64));
    EXPECT_FALSE(movie->canAddInput(videoSettings(64, 64))) << "one video track";
    EXPECT_TRUE(movie->canAddInput(audioSettings(1)));
    ASSERT_TRUE(movie->startWriting());
    EXPECT_FALSE(movie->canAddInput(audioSettings(1))) << "writing";

    const auto sound = makeAssetWriter(folder / "a.m4a", AVFileType::appleM4A, unfinishedIn(folder));
    EXPECT_FALSE(sound->canAddInput(videoSettings(64, 64)));
    EXPECT_FALSE(sound->canAddInput(hevc(64, 64)));
    EXPECT_TRUE(sound->canAddInput(audioSettings(2)));
}

TEST(AssetWriterTests, AFullDiskInterruptsAndTheRestIsKept) {
    MovieMaker maker({videoSettings(640, 480, 50'000'000)});
    const FullDisk disk(5'000'000);
    int frames = 0;
    for (; frames < 400 && maker.interruptions().empty(); ++frames) {
        maker.awaitRoom(0);
        maker.append(0, noise(frames * 33, static_cast<unsigned>(frames)));
    }
    EXPECT_TRUE(maker.input(0).isReadyForMoreMediaData())
        << "samples are dropped and not counted from now on";
    maker.append(0, noise(frames * 33, 1));
    ASSERT_EQ(maker.finish(), AVAssetWriterStatus::completed);
    EXPECT_THAT(maker.interruptions(), ElementsAre("The movie file couldn't be written: File too large."));
    stage::MovieProbe probe(maker.path());
    EXPECT_TRUE(probe.indexInFront());
    const std::size_t pictures = probe.pictureTimes().size();
    EXPECT_GT(pictures, 3U);
    EXPECT_EQ(probe.packets(0).size(), pictures) << "whole pictures only";
}

TEST(AssetWriterTests, ADiskWithoutSpaceFailsTheWritingAndLeavesNoFile) {
    MovieMaker maker({videoSettings(640, 480), audioSettings(2)});
    maker.append(0, noise(0, 1));
    const FullDisk disk(2000);
    EXPECT_EQ(maker.finish(), AVAssetWriterStatus::failed);
    EXPECT_EQ(localizedDescription(maker.writer().error()),
              "The movie file couldn't be written: File too large.");
    EXPECT_FALSE(std::filesystem::exists(maker.path()));
    EXPECT_FALSE(maker.input(0).appendSampleBuffer(noise(9999, 1)));
    EXPECT_FALSE(maker.input(0).isReadyForMoreMediaData());
}

TEST(AssetWriterTests, CancellingDeletesTheFile) {
    MovieMaker maker({videoSettings(640, 480), audioSettings(2)});
    for (int i = 0; i < 6; ++i)
        maker.append(0, noise(i * 33, 1));
    EXPECT_TRUE(std::filesystem::exists(maker.path()));
    maker.writer().cancelWriting();
    EXPECT_EQ(maker.writer().status(), AVAssetWriterStatus::cancelled);
    EXPECT_FALSE(std::filesystem::exists(maker.path()));
    EXPECT_FALSE(maker.input(0).appendSampleBuffer(noise(500, 1)));
    EXPECT_EQ(maker.finish(), AVAssetWriterStatus::cancelled) << "finishing still calls back";
}

TEST(AssetWriterTests, CanBeDestroyedInEveryState) {
    const TemporaryFolder folder;
    { const auto untouched = makeAssetWriter(folder / "a", AVFileType::mpeg4, unfinishedIn(folder)); }
    {
        const auto filled = makeAssetWriter(folder / "b", AVFileType::mpeg4, unfinishedIn(folder));
        filled->addInput(videoSettings(64, 64));
    }
    {
        const auto empty = makeAssetWriter(folder / "c", AVFileType::mpeg4, unfinishedIn(folder));
        EXPECT_FALSE(empty->startWriting()) << "no tracks";
        EXPECT_EQ(empty->status(), AVAssetWriterStatus::failed);
        EXPECT_TRUE(empty->error());
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));

    MovieMaker begun({videoSettings(640, 480)});
    begun.destroyWriter();
    EXPECT_FALSE(std::filesystem::exists(begun.path())) << "nothing in it";

    MovieMaker busy({videoSettings(640, 480), audioSettings(1)});
    for (int i = 0; i < 60; ++i)
        busy.append(0, noise(i * 33, 1));
    busy.destroyWriter();
    EXPECT_GT(stage::MovieProbe(busy.path()).pictureTimes().size(), 30U) << "what was written stays";

    MovieMaker finishing({videoSettings(640, 480)}, AVFileType::mpeg4, false);
    for (int i = 0; i < 6; ++i)
        finishing.append(0, noise(i * 33, 1));
    bool called = false;
    finishing.writer().finishWriting([&called] { called = true; });
    finishing.destroyWriter();
    EXPECT_TRUE(called);
    EXPECT_EQ(stage::MovieProbe(finishing.path()).pictureTimes().size(), 6U);
    EXPECT_FALSE(stage::MovieProbe(finishing.path()).indexInFront()) << "as requested";
}

TEST(AssetWriterTests, TheCompletionHandlerMayDestroyTheWriter) {
    const TemporaryFolder folder;
    std::promise<void> gone;
    std::unique_ptr<AVAssetWriter> writer =
        makeAssetWriter(folder / "a.mp4", AVFileType::mpeg4, unfinishedIn(folder));
    AVAssetWriterInput& input = writer->addInput(videoSettings(640, 480));
    ASSERT_TRUE(writer->startWriting());
    EXPECT_FALSE(input.appendSampleBuffer(noise(0, 1))) << "no session yet";
    writer->startSessionAtSourceTime(start);
    EXPECT_TRUE(input.appendSampleBuffer(noise(0, 1)));
    AVAssetWriter* const raw = writer.get();
    auto holder = std::make_shared<std::unique_ptr<AVAssetWriter>>(std::move(writer));
    raw->finishWriting([holder, &gone] {
        holder->reset();
        gone.set_value();
    });
    gone.get_future().wait();
    EXPECT_EQ(stage::MovieProbe(folder / "a.mp4").pictureTimes().size(), 1U);
}

/// Files of all kinds, judged by the rules of their format and by the programs that people open them with.
TEST(AssetWriterTests, FilesAreValid) {
    constexpr auto h264 = AVVideoCodecType::h264;
    constexpr auto hevc = AVVideoCodecType::hevc;
    const struct {
        const char* name;
        AVFileType type;
        AVVideoCodecType codec;
        std::vector<int> channels;
        double soundBegins = 0;
    } cases[] = {{"mp4", AVFileType::mpeg4, h264, {}},
                 {"mp4 with late sound", AVFileType::mpeg4, h264, {2, 1}, 0.7},
                 {"HEVC mp4", AVFileType::mpeg4, hevc, {2}},
                 {"m4a with two tracks", AVFileType::appleM4A, h264, {2, 1}},
                 {"mov with late sound", AVFileType::quickTimeMovie, h264, {1}, 0.7},
                 {"HEVC mov with two tracks", AVFileType::quickTimeMovie, hevc, {2, 1}}};
    for (const auto& [name, type, codec, channels, soundBegins] : cases) {
        SCOPED_TRACE(name);
        const TemporaryFolder folder;
        const std::size_t firstSound = type == AVFileType::appleM4A ? 0 : 1;
        const CountedMovie movie(folder / "movie",
                                 {codec, type, 1'000'000, 3, firstSound == 1, channels, soundBegins});
        const stage::MovieBoxes boxes = stage::readMovieBoxes(movie.path);
        EXPECT_THAT(boxes.faults, IsEmpty());
        EXPECT_THAT(boxes.boxes, ElementsAre("ftyp", "free", "free", "moov", "free", "mdat"));
        EXPECT_NEAR(static_cast<double>(boxes.created), static_cast<double>(std::time(nullptr)), 60);
        EXPECT_THAT(stage::complaintsAbout(movie.path), IsEmpty());

        ASSERT_EQ(boxes.tracks.size(), channels.size() + firstSound);
        for (std::size_t i = 0; i < boxes.tracks.size(); ++i) {
            const stage::MovieTrack& track = boxes.tracks[i];
            if (track.isVideo()) {
                ASSERT_EQ(track.samples.size(), movie.pictures.size());
                for (std::size_t j = 0; j < movie.pictures.size(); ++j)
                    EXPECT_NEAR(track.samples[j].time, movie.secondsAt(j), 1.0 / track.timescale) << j;
                continue;
            }
            EXPECT_NEAR(track.presentedDuration, 3, 0.001);
            const stage::Sound heard = stage::MovieProbe(movie.path).sound(i - firstSound);
            EXPECT_NEAR(heard.timeAt(stage::onset(heard.samples.at(0), 0.05F).value()), soundBegins, 0.005);
        }
    }
}

void await(const std::atomic<int>& counter, int count) {
    for (int now = counter; now < count; now = counter)
        counter.wait(now);
}

class FakeEncoder final : public TrackEncoder {
 public:
    void open(MovieDestination& /*movie*/) override {}
    void encode(const CMSampleBuffer& /*sample*/, CMTime /*sessionStart*/) override {
        ++encoded;
        encoded.notify_all();
        isBlocked.wait(true);
    }
    std::optional<std::chrono::milliseconds> idleTimeout() const override {
        return isCoarse ? std::optional(std::chrono::milliseconds(1)) : std::nullopt;
    }
    void handleIdle() override {
        isCoarse = idlePeriods + 1 < 2;
        ++idlePeriods;
        idlePeriods.notify_all();
    }
    void finish(CMTime /*sessionStart*/, std::optional<MovieEnd> /*end*/) override {}
    std::optional<CMTime> decidedEnd() const override { return std::nullopt; }
    double roomFor(const CMSampleBuffer& /*sample*/) const override { return 1.0 / 6; }
    bool isHeldUp() const override { return heldUp; }

    std::atomic<bool> isBlocked = false, isCoarse = false, heldUp = false;
    std::atomic<int> encoded = 0, idlePeriods = 0;
};

class AssetWriterInputTests : public testing::Test {
 protected:
    AssetWriterInputTests() {
        state.advance(AVAssetWriterStatus::unknown, AVAssetWriterStatus::writing);
        state.startSession(start);
        input.start();
    }

    WritingState state;
    AssetWriterInput input{state, std::make_unique<FakeEncoder>()};
    FakeEncoder& encoder = static_cast<FakeEncoder&>(input.encoder());
    const CMSampleBuffer sample = frame(start, std::make_shared<TestPicture>(2, 2));
};

TEST_F(AssetWriterInputTests, ABusyInputRefusesAndNeverBlocks) {
    encoder.isBlocked = true;
    EXPECT_TRUE(input.appendSampleBuffer(sample));
    await(encoder.encoded, 1);
    for (int i = 0; i < 6; ++i) {
        EXPECT_TRUE(input.isReadyForMoreMediaData()) << i;
        const CMSampleBuffer next = frame(start, std::make_shared<TestPicture>(2, 2));
        EXPECT_TRUE(input.appendSampleBuffer(next));
        // A repeat takes no place.
        EXPECT_TRUE(i > 0 || input.appendSampleBuffer(next));
    }
    EXPECT_FALSE(input.isReadyForMoreMediaData());
    EXPECT_TRUE(input.appendSampleBuffer(sample)) << "dropped, which is no failure";
    encoder.isBlocked = false;
    encoder.isBlocked.notify_all();
    await(encoder.encoded, 8);
    EXPECT_TRUE(input.isReadyForMoreMediaData());
    input.drain();
    EXPECT_EQ(encoder.encoded, 8);
    EXPECT_FALSE(input.appendSampleBuffer(sample));
}

TEST_F(AssetWriterInputTests, ASlowDiskRefusesWholeSamples) {
    encoder.heldUp = true;
    EXPECT_FALSE(input.isReadyForMoreMediaData());
    EXPECT_TRUE(input.appendSampleBuffer(sample));
    encoder.heldUp = false;
    EXPECT_TRUE(input.isReadyForMoreMediaData());
    input.drain();
    EXPECT_EQ(encoder.encoded, 0);
}

TEST_F(AssetWriterInputTests, TheEncoderIsIdleOnlyWhileItAsksForIt) {
    input.setExpectsMediaDataInRealTime(true);
    encoder.isCoarse = true;
    EXPECT_TRUE(input.appendSampleBuffer(sample));
    await(encoder.idlePeriods, 2);
    input.drain();
    EXPECT_EQ(encoder.idlePeriods, 2);
}

/// The box of that path, which must be there.
const stage::Box& boxAt(const stage::Box& parent, std::string_view path) {
    for (const stage::Box& box : parent.children) {
        if (path == box.path) return box;
        if (path.starts_with(box.path + "/")) return boxAt(box, path);
    }
    throw std::invalid_argument("There is no box " + std::string(path));
}

/// The rules that judge the movies of these tests notice a single wrong byte in any header or table.
TEST(MovieRulesTests, EveryWrongByteIsAFault) {
    const std::string pictures = "moov/trak/mdia/minf/stbl/";
    const std::string sound = "moov/trak[2]/mdia/minf/stbl/";
    // Places are in the box's content: its type ends at −1, its size at −5.
    const struct {
        std::string box;
        std::vector<std::pair<int, char>> damages;  // a place and the byte to put there
    } table[] = {
        {"ftyp", {{-4, 'x'}}},
        {"moov/mvhd", {{-5, 7}, {-4, 'x'}, {0, 2}, {18, 1}, {21, 2}, {37, 2}, {99, 1}}},
        {"moov/trak/tkhd", {{3, 2}, {22, 1}, {77, 65}}},
        {"moov/trak[2]/tkhd", {{15, 1}}},
        {"moov/trak[2]/edts", {{-1, 'z'}}},
        {"moov/trak[2]/edts/elst", {{8, 1}, {12, 0x10}, {17, 2}}},
        {"moov/trak/mdia/mdhd", {{18, 1}, {20, 0x7c}}},
        {"moov/trak/mdia/hdlr", {{8, 't'}}},
        {"moov/trak/mdia/minf/vmhd", {{3, 0}}},
        {"moov/trak/mdia/minf/dinf/dref/url ", {{3, 0}}},
        {pictures + "stsd", {{7, 2}}},
        {pictures + "stsd/avc1", {{25, 65}}},
        {pictures + "stsd/avc1/avcC", {{-1, 'x'}, {4, 0x7d}}},
        {pictures + "stsd/avc1/colr", {{5, 9}}},
        {pictures + "stts", {{11, 77}, {14, 9}}},
        {pictures + "stss", {{11, 2}}},
        {pictures + "stsc", {{11, 2}, {19, 2}}},
        {pictures + "stsz", {{14, 0x7f}}},
        {pictures + "stco", {{8, 0x7f}}},
        {sound + "stsd/mp4a", {{17, 6}, {24, 0x2c}}},
        {sound + "stsd/mp4a/esds", {{4, 4}}},
        {sound + "stts", {{15, 1}}},
        {sound + "stsz", {{14, 0x7f}}},
    };
    const TemporaryFolder folder;
    const CountedMovie movie(folder / "movie.mp4", {.seconds = 2});
    const std::string whole = readText(movie.path);
    stage::Faults none;
    const stage::Box file = stage::readBoxes(stage::bytesOf(whole), false, none);
    for (const auto& [box, damages] : table) {
        const std::uint64_t content = boxAt(file, box).contentOffset();
        for (const auto& [place, byte] : damages) {
            std::string damaged = whole;
            char& changed = damaged.at(content + static_cast<std::uint64_t>(place));
            ASSERT_NE(std::exchange(changed, byte), byte) << box << " " << place;
            EXPECT_FALSE(stage::faultsOf(writeText(folder / "damaged", damaged)).empty())
                << box << " " << place;
        }
    }
}

}  // namespace
}  // namespace lumicrate::media
