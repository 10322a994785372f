// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Preview/GIFExporter.h"
#include "Tests/Lumicrate/Movie/FakeAssets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

namespace lumicrate::test {
namespace {

using testing::Each;
using testing::IsEmpty;

/// Pictures and GIFs that record every call.
class FakeImages final : public ImageIO {
 public:
    struct Generator final : public AVAssetImageGenerator {
        explicit Generator(const FakeImages& owner) : images(owner) {}
        const CGImage* image(CMTime time, CMTime toleranceAfter) override {
            images.times.push_back(time);
            images.tolerances.push_back(toleranceAfter);
            return images.hasPicture(time) ? &picture : nullptr;
        }
        const FakeImages& images;
        CGImage picture{1, 1, {0, 0, 0}};
    };
    struct Destination final : public CGImageDestination {
        explicit Destination(const FakeImages& owner) : images(owner) { images.isCreated = true; }
        void addImage(const CGImage&, CMTime delay) override {
            if (images.fails) throw PlatformError("The disk is full.");
            images.delays.push_back(delay);
        }
        void finalize() override { images.isFinalized = true; }
        const FakeImages& images;
    };

    std::unique_ptr<AVAssetImageGenerator> makeImageGenerator(const std::filesystem::path&,
                                                              Size size) const override {
        maximumSize = size;
        return std::make_unique<Generator>(*this);
    }
    std::unique_ptr<CGImageDestination> makeGIFDestination(const std::filesystem::path&) const override {
        return std::make_unique<Destination>(*this);
    }

    std::function<bool(CMTime)> hasPicture = [](CMTime) { return true; };
    bool fails = false;
    mutable Size maximumSize;
    mutable std::vector<CMTime> times, tolerances, delays;
    mutable bool isCreated = false;
    mutable bool isFinalized = false;
};

class GIFExporterTests : public testing::Test {
 protected:
    /// Starts with empty records.
    void run(GIFSize size = {640, 10}, const LongWork& work = {}) {
        images.times.clear();
        images.tolerances.clear();
        images.delays.clear();
        images.isFinalized = false;
        exportGIF(assets, images, "/movie.mp4", "/movie.gif", size, work);
    }

    FakeFiles files;
    FakeAssets assets{files};
    double& duration = assets.summaries["/movie.mp4"].duration = 1;
    FakeImages images;
};

TEST_F(GIFExporterTests, FrameTimesLieBelowTheDurationAndDelaysAddUp) {
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
        {1.0, 100, 50, 49 / 50.0},  // no more than 50 per second
        {100, 29.97, 2997, 100 - 1 / 29.97},
        {3600, 12.5, 45000, 3600 - 0.08},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(testing::Message() << each.duration << " s at " << each.fps);
        duration = each.duration;
        run({640, each.fps});
        ASSERT_EQ(images.times.size(), each.frames);
        EXPECT_EQ(images.times.front(), CMTime::zero());
        EXPECT_NEAR(images.times.back().seconds(), each.lastTime, 0.5 / 600);
        EXPECT_EQ(images.times.back().timescale(), 600);
        EXPECT_EQ(images.delays.size(), each.frames);
        const CMTime sum = std::accumulate(images.delays.begin(), images.delays.end(), CMTime::zero());
        EXPECT_NEAR(sum.seconds(), static_cast<double>(each.frames) / std::min(each.fps, 50.0), 1e-9);
        EXPECT_TRUE(images.isFinalized);
    }
}

TEST_F(GIFExporterTests, TakesPicturesUpToAFrameLateAndLeavesOutGaps) {
    images.hasPicture = [](CMTime time) { return time < CMTime(1, 2); };
    run({480, 10});
    EXPECT_EQ(images.maximumSize, (Size{480, 1920}));
    EXPECT_EQ(images.times.size(), 10U);
    EXPECT_THAT(images.tolerances, Each(CMTime(60, 600)));
    EXPECT_EQ(images.delays.size(), 5U);
    EXPECT_THAT(images.delays, Each(CMTime(1, 10)));
    EXPECT_TRUE(images.isFinalized);
}

TEST_F(GIFExporterTests, CreatesNoFileForAMovieWithoutDuration) {
    for (const double none : {0.0, -1.0}) {
        duration = none;
        EXPECT_THROW(run(), PlatformError);
        EXPECT_FALSE(images.isCreated);
    }
}

TEST_F(GIFExporterTests, ReportsProgressAtMostAFewHundredTimes) {
    for (const double seconds : {1.0, 1000.0}) {
        duration = seconds;
        std::vector<double> parts;
        run({640, 50}, {[&](double part) { parts.push_back(part); }, {}});
        EXPECT_TRUE(std::is_sorted(parts.begin(), parts.end()));
        EXPECT_EQ(parts.front(), 0);
        EXPECT_EQ(parts.back(), 1);
        EXPECT_GE(parts.size(), 50U);
        EXPECT_LE(parts.size(), 210U);
    }
}

TEST_F(GIFExporterTests, CanBeCancelledAtAnyFrame) {
    std::stop_source stop;
    images.hasPicture = [&](CMTime time) {
        if (time == CMTime(1, 2)) stop.request_stop();
        return true;
    };
    EXPECT_THROW(run({640, 10}, {nullptr, stop.get_token()}), CancelledError);
    EXPECT_EQ(images.delays.size(), 6U);
    EXPECT_FALSE(images.isFinalized);
}

Task<void> await(const GIFExporter& exporter, std::string& outcome) {
    try {
        co_await exporter.exportGIF("/movie.mp4", "/movie.gif", {640, 10}, {});
        outcome = "done";
    } catch (const PlatformError& error) {
        outcome = error.what();
    }
}

TEST_F(GIFExporterTests, RunsOnAQueue) {
    for (const bool fails : {false, true}) {
        images.fails = fails;
        images.isFinalized = false;
        VirtualExecutor executor;
        VirtualQueue queue(executor);
        const GIFExporter exporter(executor, queue, assets, images);
        std::string outcome;
        const RunningTask task(executor, await(exporter, outcome));
        EXPECT_EQ(outcome, "");
        executor.drain();
        EXPECT_EQ(outcome, fails ? "The disk is full." : "done");
        EXPECT_EQ(images.isFinalized, !fails);
    }
}

}  // namespace
}  // namespace lumicrate::test
