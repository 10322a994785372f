#include "Lumicrate/Preview/GIFExporter.h"
#include "Tests/Support/VirtualExecutor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate {
namespace {

using testing::IsEmpty;

/// What was asked of the platform, in one place that outlives its objects.
struct Journal {
    Size maximumSize;
    std::vector<CMTime> times;
    std::vector<CMTime> tolerances;
    std::vector<CMTime> delays;
    bool isCreated = false;
    bool isFinalized = false;
    bool fails = false;
    /// Whether there is a picture.
    std::function<bool(CMTime)> hasPicture = [](CMTime) { return true; };
};

class FakeGenerator final : public AVAssetImageGenerator {
 public:
    explicit FakeGenerator(Journal& journal) : journal_(journal) {}
    const CGImage* image(CMTime time, CMTime toleranceAfter) override {
        journal_.times.push_back(time);
        journal_.tolerances.push_back(toleranceAfter);
        return journal_.hasPicture(time) ? &image_ : nullptr;
    }

 private:
    Journal& journal_;
    CGImage image_{1, 1, {0, 0, 0}};
};

class FakeDestination final : public CGImageDestination {
 public:
    explicit FakeDestination(Journal& journal) : journal_(journal) { journal_.isCreated = true; }
    void addImage(const CGImage&, CMTime delay) override {
        if (journal_.fails) throw PlatformError("The disk is full.");
        journal_.delays.push_back(delay);
    }
    void finalize() override { journal_.isFinalized = true; }

 private:
    Journal& journal_;
};

class FakeMedia final : public AVAssets, public ImageIO {
 public:
    AVAssetSummary summary(const std::filesystem::path&) const override {
        return {duration, std::nullopt, "", 0};
    }
    void mixAudio(const std::filesystem::path&, const std::filesystem::path&, AVFileType,
                  const LongWork&) const override {}
    void exportMovie(const std::filesystem::path&, const std::filesystem::path&, AVFileType,
                     AVAssetExportPreset, std::optional<CMTimeRange>, const LongWork&) const override {}
    std::unique_ptr<AVAssetImageGenerator> makeImageGenerator(const std::filesystem::path&,
                                                              Size maximumSize) const override {
        journal.maximumSize = maximumSize;
        return std::make_unique<FakeGenerator>(journal);
    }
    std::unique_ptr<CGImageDestination> makeGIFDestination(const std::filesystem::path&) const override {
        return std::make_unique<FakeDestination>(journal);
    }

    double duration = 1;
    mutable Journal journal;
};

class GIFExporterTests : public testing::Test {
 protected:
    void run(GIFSize size = {}, const LongWork& work = {}) {
        exportGIF(media, media, "/movie.mp4", "/movie.gif", size, work);
    }

    FakeMedia media;
    Journal& journal = media.journal;
};

TEST_F(GIFExporterTests, FrameTimesLieBelowTheDuration) {
    const struct {
        double duration;
        double fps;
        std::size_t frames;
        double lastTime;
    } cases[] = {
        {1.0, 10, 10, 0.9},
        {1.1, 10, 11, 1.0},
        {1.01, 10, 11, 1.0},
        {0.05, 10, 1, 0},
        {0.666667, 30, 20, 19 / 30.0},
        {2 / 7.0, 7, 2, 1 / 7.0},
        {1.0, 12, 12, 11 / 12.0},
        {1.0, 100, 50, 49 / 50.0},  // no player shows more than 50 a second
        {3600, 12.5, 45000, 3600 - 0.08},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(testing::Message() << each.duration << " s at " << each.fps);
        journal = {};
        media.duration = each.duration;
        run({640, each.fps});
        ASSERT_EQ(journal.times.size(), each.frames);
        EXPECT_EQ(journal.times.front(), CMTime::zero());
        EXPECT_NEAR(journal.times.back().seconds(), each.lastTime, 0.5 / 600);
        EXPECT_EQ(journal.times.back().timescale(), 600);
        EXPECT_EQ(journal.delays.size(), each.frames);
        EXPECT_TRUE(journal.isFinalized);
    }
}

TEST_F(GIFExporterTests, AsksForPicturesAtOrUpToAFrameAfterTheirTimes) {
    media.duration = 0.5;
    run({480, 10});
    EXPECT_EQ(journal.maximumSize, (Size{480, 1920}));
    EXPECT_THAT(journal.tolerances, testing::Each(CMTime(60, 600)));
    EXPECT_THAT(journal.delays, testing::Each(CMTime(1, 10)));
}

TEST_F(GIFExporterTests, DelaysAddUpExactly) {
    for (const double fps : {12.0, 7.0, 29.97}) {
        journal = {};
        media.duration = 100;
        run({640, fps});
        const CMTime sum = std::accumulate(journal.delays.begin(), journal.delays.end(), CMTime::zero());
        EXPECT_NEAR(sum.seconds(), static_cast<double>(journal.delays.size()) / fps, 1e-9) << fps;
    }
}

TEST_F(GIFExporterTests, LeavesOutWhatHasNoPicture) {
    journal.hasPicture = [](CMTime time) { return time < CMTime(1, 2); };
    run({640, 10});
    EXPECT_EQ(journal.times.size(), 10U);
    EXPECT_EQ(journal.delays.size(), 5U);
    EXPECT_TRUE(journal.isFinalized);
}

TEST_F(GIFExporterTests, AMovieOfNoLengthFailsBeforeAnyFileIsMade) {
    for (const double duration : {0.0, -1.0}) {
        media.duration = duration;
        EXPECT_THROW(run(), PlatformError);
        EXPECT_FALSE(journal.isCreated);
    }
}

TEST_F(GIFExporterTests, AFailureEndsIt) {
    journal.fails = true;
    EXPECT_THROW(run(), PlatformError);
    EXPECT_FALSE(journal.isFinalized);
}

TEST_F(GIFExporterTests, TellsItsProgressNowAndThen) {
    for (const double duration : {1.0, 1000.0}) {
        media.duration = duration;
        std::vector<double> parts;
        run({640, 50}, {[&](double part) { parts.push_back(part); }, {}});
        EXPECT_TRUE(std::is_sorted(parts.begin(), parts.end()));
        EXPECT_EQ(parts.front(), 0);
        EXPECT_EQ(parts.back(), 1);
        EXPECT_GE(parts.size(), 50U);
        EXPECT_LE(parts.size(), 210U);
    }
}

TEST_F(GIFExporterTests, CanBeGivenUpAtAnyFrame) {
    std::stop_source stop;
    journal.hasPicture = [&](CMTime time) {
        if (time == CMTime(1, 2)) stop.request_stop();
        return true;
    };
    EXPECT_THROW(run({640, 10}, {nullptr, stop.get_token()}), CancelledError);
    EXPECT_EQ(journal.delays.size(), 6U);
    EXPECT_FALSE(journal.isFinalized);
}

/// Keeps the work until a test runs it.
class HeldQueue final : public DispatchQueue {
 public:
    void async(Work work) override { held.push_back(std::move(work)); }
    std::vector<Work> held;
};

Task<void> await(const GIFExporter& exporter, std::string& outcome) {
    try {
        co_await exporter.exportGIF("/movie.mp4", "/movie.gif", {640, 10}, {});
        outcome = "done";
    } catch (const PlatformError& error) {
        outcome = error.what();
    }
}

TEST_F(GIFExporterTests, IsAwaitedWhileItWorksElsewhere) {
    for (const bool fails : {false, true}) {
        journal = {};
        journal.fails = fails;
        test::VirtualExecutor executor;
        HeldQueue queue;
        const GIFExporter exporter(executor, queue, media, media);
        std::string outcome;
        const RunningTask task(executor, await(exporter, outcome));
        executor.drain();
        ASSERT_EQ(queue.held.size(), 1U);
        EXPECT_THAT(journal.times, IsEmpty());
        queue.held[0]();
        EXPECT_EQ(outcome, "");
        executor.drain();
        EXPECT_EQ(outcome, fails ? "The disk is full." : "done");
    }
}

}  // namespace
}  // namespace lumicrate
