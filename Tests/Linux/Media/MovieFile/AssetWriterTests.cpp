// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/MovieFile/AssetWriter.h"
#include "Support/Error.h"
#include "Tests/Linux/Media/MovieMaker.h"
#include "Tests/Stage/MovieProbe.h"

#include <gmock/gmock.h>

#include <atomic>

namespace lumicrate::media {
namespace {

using test::audioSettings;
using test::frame;
using test::FullDisk;
using test::MovieMaker;
using test::TemporaryFolder;
using test::TestPicture;
using test::videoSettings;
using testing::ElementsAre;

constexpr CMTime start{1000, 1};

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
    AssetWriter movie(folder / "a.mp4", AVFileType::mpeg4, unfinishedIn(folder));
    const auto hevc = [](int width, int height) {
        AVVideoOutputSettings settings = videoSettings(width, height);
        settings.codec = AVVideoCodecType::hevc;
        return settings;
    };
    AVAudioOutputSettings pcm = audioSettings(2);
    pcm.formatID = 0x6c70636d;
    for (const AVOutputSettings& each :
         std::vector<AVOutputSettings>{videoSettings(1, 64), videoSettings(64, 16385), pcm, audioSettings(3),
                                       hevc(15, 64), hevc(64, 15)})
        EXPECT_FALSE(movie.canAddInput(each));
    for (const AVVideoOutputSettings& each : {hevc(16, 16), videoSettings(2, 2), videoSettings(16384, 64)})
        EXPECT_TRUE(movie.canAddInput(each));
    movie.addInput(videoSettings(64, 64));
    EXPECT_FALSE(movie.canAddInput(videoSettings(64, 64))) << "one video track";
    EXPECT_TRUE(movie.canAddInput(audioSettings(1)));
    ASSERT_TRUE(movie.startWriting());
    EXPECT_FALSE(movie.canAddInput(audioSettings(1))) << "writing";

    const AssetWriter sound(folder / "a.m4a", AVFileType::appleM4A, unfinishedIn(folder));
    EXPECT_FALSE(sound.canAddInput(videoSettings(64, 64)));
    EXPECT_FALSE(sound.canAddInput(hevc(64, 64)));
    EXPECT_TRUE(sound.canAddInput(audioSettings(2)));
}

TEST(AssetWriterTests, TheIndexGoesInFrontIfRequested) {
    for (const bool inFront : {true, false}) {
        MovieMaker maker({videoSettings(640, 480)}, AVFileType::mpeg4, inFront);
        maker.append(0, noise(0, 1));
        ASSERT_EQ(maker.finish(), AVAssetWriterStatus::completed);
        EXPECT_EQ(stage::MovieProbe(maker.path()).indexInFront(), inFront);
    }
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
    EXPECT_LE(std::filesystem::file_size(maker.path()), 5'000'000U);
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
    { const AssetWriter untouched(folder / "a", AVFileType::mpeg4, unfinishedIn(folder)); }
    {
        AssetWriter filled(folder / "b", AVFileType::mpeg4, unfinishedIn(folder));
        filled.addInput(videoSettings(64, 64));
    }
    {
        AssetWriter empty(folder / "c", AVFileType::mpeg4, unfinishedIn(folder));
        EXPECT_FALSE(empty.startWriting()) << "no tracks";
        EXPECT_EQ(empty.status(), AVAssetWriterStatus::failed);
        EXPECT_TRUE(empty.error());
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

    MovieMaker finishing({videoSettings(640, 480)});
    for (int i = 0; i < 6; ++i)
        finishing.append(0, noise(i * 33, 1));
    bool called = false;
    finishing.writer().finishWriting([&called] { called = true; });
    finishing.destroyWriter();
    EXPECT_TRUE(called);
    EXPECT_EQ(stage::MovieProbe(finishing.path()).pictureTimes().size(), 6U);
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

/// What an encoder does and has done.
struct Control {
    std::atomic<bool> isBlocked = false;
    std::atomic<bool> isCoarse = false;
    std::atomic<bool> isHeldUp = false;
    std::atomic<int> encoded = 0;
    std::atomic<int> idlePeriods = 0;
};

void await(const std::atomic<int>& counter, int count) {
    for (int now = counter; now < count; now = counter)
        counter.wait(now);
}

class FakeEncoder final : public TrackEncoder {
 public:
    explicit FakeEncoder(Control& control) : control_(control) {}

    void open(MovieFile& /*file*/) override {}
    void encode(const CMSampleBuffer& /*sample*/, CMTime /*sessionStart*/) override {
        ++control_.encoded;
        control_.encoded.notify_all();
        control_.isBlocked.wait(true);
    }
    std::optional<std::chrono::milliseconds> idleTimeout() const override {
        return control_.isCoarse ? std::optional(std::chrono::milliseconds(1)) : std::nullopt;
    }
    void handleIdle() override {
        control_.isCoarse = control_.idlePeriods + 1 < 2;
        ++control_.idlePeriods;
        control_.idlePeriods.notify_all();
    }
    void finish(CMTime /*sessionStart*/, std::optional<MovieEnd> /*end*/) override {}
    std::optional<CMTime> decidedEnd() const override { return std::nullopt; }
    double roomFor(const CMSampleBuffer& /*sample*/) const override { return 1.0 / 6; }
    bool isHeldUp() const override { return control_.isHeldUp; }

 private:
    Control& control_;
};

class AssetWriterInputTests : public testing::Test {
 protected:
    AssetWriterInputTests() {
        state.advance(AVAssetWriterStatus::unknown, AVAssetWriterStatus::writing);
        state.startSession(start);
        input.start();
    }

    Control control;
    WritingState state;
    AssetWriterInput input{state, std::make_unique<FakeEncoder>(control)};
    const CMSampleBuffer sample = frame(start, std::make_shared<TestPicture>(2, 2));
};

TEST_F(AssetWriterInputTests, ABusyInputRefusesAndNeverBlocks) {
    control.isBlocked = true;
    EXPECT_TRUE(input.appendSampleBuffer(sample));
    await(control.encoded, 1);
    for (int i = 0; i < 6; ++i) {
        EXPECT_TRUE(input.isReadyForMoreMediaData()) << i;
        EXPECT_TRUE(input.appendSampleBuffer(sample));
    }
    EXPECT_FALSE(input.isReadyForMoreMediaData());
    EXPECT_TRUE(input.appendSampleBuffer(sample)) << "dropped, which is no failure";
    control.isBlocked = false;
    control.isBlocked.notify_all();
    await(control.encoded, 7);
    EXPECT_TRUE(input.isReadyForMoreMediaData());
    input.drain();
    EXPECT_EQ(control.encoded, 7);
    EXPECT_FALSE(input.appendSampleBuffer(sample));
}

TEST_F(AssetWriterInputTests, ASlowDiskRefusesWholeSamples) {
    control.isHeldUp = true;
    EXPECT_FALSE(input.isReadyForMoreMediaData());
    EXPECT_TRUE(input.appendSampleBuffer(sample));
    control.isHeldUp = false;
    EXPECT_TRUE(input.isReadyForMoreMediaData());
    input.drain();
    EXPECT_EQ(control.encoded, 0);
}

TEST_F(AssetWriterInputTests, TheEncoderIsIdleOnlyWhileItAsksForIt) {
    input.setExpectsMediaDataInRealTime(true);
    control.isCoarse = true;
    EXPECT_TRUE(input.appendSampleBuffer(sample));
    await(control.idlePeriods, 2);
    input.drain();
    EXPECT_EQ(control.idlePeriods, 2);
}

}  // namespace
}  // namespace lumicrate::media
