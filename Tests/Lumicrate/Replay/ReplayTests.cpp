// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

namespace lumicrate::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

class ReplayTests : public RecorderFixture {
 protected:
    void keep(int seconds) {
        defaults.set(preference::replaySeconds, std::int64_t{seconds});
        executor.drain();
    }
    FakeReplay& kept() { return replays.back(); }
    std::string replayError() const { return replay->errorMessage->value_or(""); }
};

TEST_F(ReplayTests, KeepsTheMainDisplayWhileNothingIsRecorded) {
    makeReplay();
    EXPECT_EQ(capture.streams, 0) << "off by default";
    keep(30);
    ASSERT_TRUE(*replay->isOn);
    EXPECT_EQ(kept().limits.seconds, 30);
    const auto& video = std::get<AVVideoOutputSettings>(kept().movie.inputs.at(0)->settings);
    EXPECT_EQ(video.compression.maxStillKeyFrameInterval, 10) << "so that little more than that is kept";
    EXPECT_EQ(capture.stream->filter.display.displayID, 1U);
    EXPECT_EQ(capture.stream->filter.excludedProcessID, process.processIdentifier());
    deliverFrame();
    executor.advance(10s);
    EXPECT_GE(kept().movie.extensions.size(), 10U) << "so that it lasts until the present";
    EXPECT_TRUE(files.existing.empty());

    defaults.set(preference::openPreview, false);
    defaults.set(preference::areaRect, std::string("{{1, 1}, {5, 5}}"));
    executor.drain();
    EXPECT_EQ(capture.streams, 1) << "these do not matter to it";
    defaults.set(preference::fps, std::int64_t{60});
    executor.drain();
    EXPECT_EQ(capture.streams, 2);
    EXPECT_EQ(capture.stream->configuration.minimumFrameInterval, CMTime(1, 60));

    defaults.set(preference::neverRecorded, std::string("Vault"));
    executor.drain();
    EXPECT_EQ(capture.streams, 3);
    EXPECT_TRUE(capture.stream->filter.excludesWindow);

    record();
    EXPECT_FALSE(*replay->isOn);
    EXPECT_EQ(capture.streams, 4);
    stopAndComplete();
    executor.drain();
    EXPECT_TRUE(*replay->isOn);
    EXPECT_EQ(capture.streams, 5);
    keep(7);
    EXPECT_FALSE(*replay->isOn) << "not a valid value";
    EXPECT_FALSE(capture.stream->alive);
}

TEST_F(ReplayTests, SavesByItsShortcutAndAnnouncesTheFile) {
    constexpr std::uint32_t s = 1;
    makeReplay();
    keys.press(s);
    keep(15);
    deliverFrame();
    executor.advance(600ms);
    keys.press(s);
    executor.drain();
    ASSERT_THAT(kept().saved.filename().string(), HasSubstr("Recording-Replay_"));
    EXPECT_TRUE(folder.isInProgress(kept().saved));
    EXPECT_EQ(kept().movie.extensions.back(), executor.time()) << "up to the key press";
    EXPECT_TRUE(announced.empty());
    kept().completion(nullptr);
    executor.drain();
    EXPECT_THAT(announced, ElementsAre(kept().saved));
    EXPECT_EQ(*replay->lastSaved, kept().saved);
    EXPECT_FALSE(folder.isInProgress(kept().saved));
    EXPECT_TRUE(*replay->isOn) << "it goes on";

    keys.press(s);
    executor.drain();
    kept().completion(diskFull);
    executor.drain();
    EXPECT_THAT(replayError(), EndsWith("The disk is full."));
    EXPECT_EQ(announced.size(), 1U);

    const std::size_t grabbed = keys.grabs.size();
    keep(0);
    EXPECT_EQ(keys.grabs.size(), grabbed - 1) << "other programs may use the key";
    EXPECT_EQ(replayError(), "");
}

TEST_F(ReplayTests, ARecordingBeginsWithWhatIsKept) {
    overlays.controlBar = &controlBar;
    makeReplay();
    controlBar.setRecorder(&*recorder);
    keep(30);
    deliverFrame();
    executor.advance(5s);
    kept().refusal = diskFull;
    replay->record();
    expectIdle("The disk is full.");
    executor.drain();
    ASSERT_TRUE(*replay->isOn) << "it begins anew";

    deliverFrame();
    FakeMovie& continued = kept().movie;
    replay->record();
    EXPECT_EQ(*recorder->state, State::recording);
    EXPECT_FALSE(*replay->isOn);
    EXPECT_EQ(continued.url, *recorder->outputURL());
    EXPECT_EQ(capture.streams, 2) << "the same capture goes on";
    EXPECT_EQ(capture.stream->filter.windows.size(), 1U) << "without the control bar";
    executor.advance(2s);
    EXPECT_EQ(recorder->elapsedNow(), 14.5) << "what was kept counts";
    recorder->requestStop();
    executor.drain();
    continued.complete(AVAssetWriterStatus::completed);
    executor.drain();
    EXPECT_EQ(*recorder->lastRecording, continued.url);
    EXPECT_TRUE(*replay->isOn);
}

TEST_F(ReplayTests, BeginsAnewAfterAFailure) {
    makeReplay();
    keep(15);
    interruptStream(displayLost);
    executor.advance(1s);
    EXPECT_FALSE(*replay->isOn);
    EXPECT_THAT(replayError(), EndsWith("The display is gone."));
    capture.contentError = broken;
    executor.advance(10s);
    EXPECT_THAT(replayError(), EndsWith("It is broken."));
    capture.contentError = nullptr;
    executor.advance(10s);
    EXPECT_TRUE(*replay->isOn);
    EXPECT_EQ(replayError(), "");
}

}  // namespace
}  // namespace lumicrate::test
