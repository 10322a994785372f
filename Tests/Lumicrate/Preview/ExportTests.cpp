// SPDX-License-Identifier: GPL-3.0-or-later
// GIFs and copies of a recording, also below a size.
#include "Lumicrate/Preview/FittedGIF.h"
#include "Lumicrate/Preview/GIFExporter.h"
#include "Lumicrate/Preview/SizeSearch.h"
#include "Lumicrate/Preview/SmallCopy.h"
#include "Tests/Lumicrate/Movie/FakeAssets.h"

#include <cmath>
#include <numeric>
#include <tuple>

namespace lumicrate::test {
namespace {

using testing::Each;
using testing::MatchesRegex;

class ExportTests : public testing::Test {
 protected:
    ExportTests() { files.existing.insert("/m/a.mov"); }
    /// The error message of `work`; empty after success.
    template <class Work>
    static std::string outcome(const Work& work) {
        try {
            work();
        } catch (const LocalizedError& error) {
            return error.what();
        }
        return "";
    }

    FakeFiles files;
    FakeAssets assets{files};
};

class SmallCopyTests : public ExportTests {
 protected:
    SmallCopyTests() {
        assets.summaries["/m/a.mov"] = {60, Size{1920, 1080}, "avc1", 1};
        assets.times.assign(1800, CMTime::zero());
    }
    std::string share(std::uint64_t limit, const Path& destination = {}, const LongWork& work = {}) {
        compact.made.clear();
        return outcome(
            [&] { saved = SmallCopy(assets, compact, files).save("/m/a.mov", destination, limit, work); });
    }
    /// The size of a movie that takes `good` bytes in good quality and obeys a bit rate up to `error`.
    void movieOf(double good, double error = 1) {
        compact.others = 800'000;
        compact.bytes = [=, this](const CompactEncoding& encoding) {
            return encoding.videoBitRate ? 60 * error * *encoding.videoBitRate / 8 : good - compact.others;
        };
    }

    FakeCompactExport compact{files};
    Path saved;
};

TEST_F(SmallCopyTests, AttemptsEndJustBelowTheLimit) {
    const struct {
        double good, error;
        std::size_t attempts;
    } movies[] = {{7'900'000, 1, 1}, {12e6, 1, 2},    {12e6, 1.1, 3},
                  {12e6, 2.5, 3},    {60e6, 0.98, 2}, {200e6, 1, 2}};
    for (const auto& each : movies) {
        SCOPED_TRACE(testing::Message() << each.good << " " << each.error);
        files.existing = {"/m/a.mov"};
        movieOf(each.good, each.error);
        EXPECT_EQ(share(8'000'000), "");
        EXPECT_EQ(compact.made.size(), each.attempts);
        EXPECT_LE(compact.size, 8'000'000U);
        EXPECT_GE(compact.size, 7'200'000U);
        EXPECT_THAT(files.existing, ElementsAre("/m/a.mov", "/m/a_small.mp4"));
    }
}

TEST_F(SmallCopyTests, GivesUpBitsThenPicturesThenPixels) {
    CompactEncoding full;
    full.maxSize = {1920, 1080};
    full.goodVideoBitRate = 8'000'000;
    EXPECT_EQ(reducedEncoding(full, 0.5)->maxFps, 30);
    EXPECT_EQ(reducedEncoding(full, 0.5)->goodVideoBitRate, 8'000'000);
    const auto slower = reducedEncoding(full, 0.2);
    EXPECT_LT(slower->maxFps, 30);
    EXPECT_EQ(slower->maxSize, full.maxSize);
    const auto smaller = reducedEncoding(full, 0.05);
    EXPECT_EQ(smaller->maxFps, 10);
    EXPECT_LT(smaller->maxSize.width, 1920);
    EXPECT_NEAR(*smaller->goodVideoBitRate, 8e6 * 0.05 / 0.25, 1e3) << "still legible";
    EXPECT_EQ(reducedEncoding(full, 0.001), std::nullopt);
}

TEST_F(SmallCopyTests, FailuresLeaveNothing) {
    const auto before = files.existing;
    movieOf(5e9);
    EXPECT_THAT(share(500'000),
                MatchesRegex("The recording is too long: only about 00:.. of it fit into 500 kB."));
    compact.bytes = [](const CompactEncoding&) { return 8e6; };
    EXPECT_EQ(share(8'000'000), "The recording couldn't be made that small.");
    EXPECT_EQ(share(8'000'000, "/m/a.mov"), "There is already a file with that name.");
    std::stop_source stop;
    stop.request_stop();
    EXPECT_EQ(share(8'000'000, {}, {nullptr, stop.get_token()}), "It was cancelled.");
    EXPECT_EQ(files.existing, before);
}

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
        const CGImage* keyImage(CMTime time) override { return image(time, CMTime::zero()); }
        const FakeImages& images;
        CGImage picture{1, 1, {0, 0, 0}};
    };
    struct Destination final : public CGImageDestination {
        explicit Destination(const FakeImages& owner) : images(owner) { images.isCreated = true; }
        void addImage(const CGImage&, CMTime delay) override {
            images.delays.push_back(delay);
            bytes += images.frameBytes(delay.seconds(), quality);
        }
        std::uint64_t size() const override { return static_cast<std::uint64_t>(bytes); }
        void finalize() override {
            images.isFinalized = true;
            images.finalSize = size();
            if (images.files != nullptr) images.files->existing.insert(url);
        }
        const FakeImages& images;
        Path url{};
        double quality = 1;
        double bytes = 0;
    };

    std::unique_ptr<AVAssetImageGenerator> makeImageGenerator(const Path&, Size size) const override {
        maximumSize = size;
        return std::make_unique<Generator>(*this);
    }
    std::unique_ptr<CGImageDestination> makeAnimation(const Path& url,
                                                      const AnimationEncoding& encoding) const override {
        ++animations;
        auto destination = std::make_unique<Destination>(*this);
        destination->url = url;
        destination->quality = encoding.quality;
        return destination;
    }

    FakeFiles* files = nullptr;  // gets what is finalized
    std::function<double(double delay, double quality)> frameBytes = [](double, double) { return 1; };
    mutable std::uint64_t finalSize = 0;
    mutable int animations = 0;

    std::function<bool(CMTime)> hasPicture = [](CMTime) { return true; };
    mutable Size maximumSize;
    mutable std::vector<CMTime> times, tolerances, delays;
    mutable bool isCreated = false;
    mutable bool isFinalized = false;
};

class GIFExporterTests : public ExportTests {
 protected:
    /// Starts with empty records.
    void run(GIFSize size = {640, 10}, const LongWork& work = {}) {
        images.times.clear();
        images.delays.clear();
        exportGIF(assets, images, "/m/a.mov", "/m/a.gif", size, work);
    }

    double& duration = assets.summaries["/m/a.mov"].duration = 1;
    FakeImages images;
};

TEST_F(GIFExporterTests, FrameTimesLieBelowTheDurationAndDelaysAddUp) {
    const struct {
        double duration, fps;
        std::size_t frames;
        double lastTime;
    } cases[] = {{1.0, 10, 10, 0.9},
                 {1.1, 10, 11, 1.0},
                 {1.01, 10, 11, 1.0},
                 {0.05, 10, 1, 0},
                 {0.666667, 30, 20, 19 / 30.0},
                 {2 / 7.0, 7, 2, 1 / 7.0},
                 {1.0, 100, 50, 49 / 50.0},  // no more than 50 per second
                 {100, 29.97, 2997, 100 - 1 / 29.97},
                 {3600, 12.5, 45000, 3600 - 0.08}};
    for (const auto& each : cases) {
        SCOPED_TRACE(testing::Message() << each.duration << " s at " << each.fps);
        duration = each.duration;
        images.isFinalized = false;
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
    EXPECT_THAT(images.delays, testing::AllOf(SizeIs(5), Each(CMTime(1, 10))));
    EXPECT_TRUE(images.isFinalized);
}

TEST_F(GIFExporterTests, CreatesNoFileForAMovieWithoutDuration) {
    for (const double none : {0.0, -1.0}) {
        duration = none;
        EXPECT_THROW(run(), PlatformError);
        EXPECT_FALSE(images.isCreated);
    }
}

TEST_F(GIFExporterTests, FailsWithoutAnyPicture) {
    images.hasPicture = [](CMTime) { return false; };
    EXPECT_THROW(run(), PlatformError);
    EXPECT_FALSE(images.isFinalized);
}

TEST_F(GIFExporterTests, ReportsProgressAtMostAFewHundredTimes) {
    for (const double seconds : {1.0, 1000.0}) {
        duration = seconds;
        std::vector<double> parts;
        run({640, 50}, {[&](double part) { parts.push_back(part); }, {}});
        EXPECT_TRUE(std::ranges::is_sorted(parts));
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

class FittedGIFTests : public GIFExporterTests {
 protected:
    FittedGIFTests() {
        images.files = &files;
        assets.summaries["/m/a.mov"] = {20, Size{1920, 1080}, "avc1", 0};
    }
    std::string fit(std::uint64_t limit, const LongWork& work = {}) {
        images.animations = 0;
        files.existing.erase("/m/a.gif");
        return outcome([&] {
            exportFittedGIF(assets, images, files, "/m/a.mov", "/m/a.gif", maxFittedSize, limit, work);
        });
    }
};

TEST_F(FittedGIFTests, ComesJustBelowTheLimit) {
    // How the bytes depend on width, time between frames and quality: not as expected.
    const struct {
        double byWidth, byDelay, byQuality, stillBytes;
    } movies[] = {{1.6, 0.3, 1, 0},   {1, 0, 0.3, 0},       {2.2, 0.9, 2, 0},
                  {2, 0.5, 0.2, 3e5}, {1.2, 0.1, 1.5, 1e6}, {0.4, 0.8, 0.1, 2e5}};
    for (const auto& movie : movies) {
        images.frameBytes = [&](double delay, double quality) {
            // In the second half of the movie more happens.
            const double busy = images.times.back().seconds() < 10 ? 1 : 3;
            const double still = images.times.back() == CMTime::zero() ? movie.stillBytes : 0;
            return still + busy * 0.05 * std::pow(images.maximumSize.width, movie.byWidth) *
                               std::pow(delay, movie.byDelay) * std::exp(movie.byQuality * quality);
        };
        for (const double limit : {3e5, 2e6, 8e6}) {
            SCOPED_TRACE(testing::Message() << movie.byWidth << " " << movie.stillBytes << " " << limit);
            const std::string failed = fit(static_cast<std::uint64_t>(limit));
            if (!failed.empty()) {
                EXPECT_THAT(failed, MatchesRegex("Even the smallest version .*|Not even one picture .*"));
                EXPECT_EQ(images.animations, 1);
                continue;
            }
            EXPECT_LE(static_cast<double>(images.finalSize), limit);
            const bool isBest = images.maximumSize.width == 1280 && images.delays.back() == CMTime(1, 20);
            EXPECT_GE(static_cast<double>(images.finalSize), isBest ? 0 : 0.9 * limit);
            EXPECT_LE(images.animations, SizeSearch::maxTrials);
            EXPECT_TRUE(files.existing.contains("/m/a.gif"));
        }
    }
}

TEST_F(FittedGIFTests, SaysHowMuchOfTheMovieFits) {
    const auto before = files.existing;
    images.frameBytes = [](double, double) { return 1000; };
    EXPECT_EQ(
        fit(50'000),
        "Even the smallest version would have 100 kB. Only the first 00:10 of the recording fit into 50 kB.");
    EXPECT_EQ(fit(999), "Not even one picture of this recording fits into 1 kB.");
    EXPECT_EQ(files.existing, before);
}

TEST_F(FittedGIFTests, CanBeCancelledInAnyTrialAndProgressNeverFalls) {
    images.frameBytes = [&](double, double quality) { return 1e4 * std::exp(quality * 3); };
    std::vector<double> parts;
    EXPECT_EQ(fit(2'000'000, {[&](double part) { parts.push_back(part); }, {}}), "");
    EXPECT_TRUE(std::ranges::is_sorted(parts));
    EXPECT_EQ(parts.back(), 1);
    files.existing.erase("/m/a.gif");
    const auto before = files.existing;
    for (const double when : {0.1, 0.5, 0.7}) {
        std::stop_source stop;
        const LongWork work{[&](double part) {
                                if (part > when) stop.request_stop();
                            },
                            stop.get_token()};
        EXPECT_EQ(fit(2'000'000, work), "It was cancelled.");
        EXPECT_EQ(files.existing, before) << when;
    }
}

TEST_F(FittedGIFTests, GivesUpColoursFirstThenFramesThenWidth) {
    GIFSize last = fittedSizeAt(0, maxFittedSize, 1920);
    EXPECT_EQ(std::tuple(last.width, last.fps, last.encoding.quality), std::tuple(320, 5, 0));
    for (int i = 1; i <= 100; ++i) {
        const GIFSize size = fittedSizeAt(i / 100.0, maxFittedSize, 1920);
        EXPECT_GE(std::tuple(size.width, size.fps, size.encoding.quality),
                  std::tuple(last.width, last.fps, last.encoding.quality));
        EXPECT_TRUE(size.encoding.quality <= 0.45 ||
                    std::tuple(size.width, size.fps) == std::tuple(1280, 20));
        EXPECT_TRUE(size.fps <= 12 || size.width == 1280);
        last = size;
    }
    EXPECT_EQ(fittedSizeAt(0, {200, 3}, 1920).width, 200);
    EXPECT_EQ(fittedSizeAt(1, maxFittedSize, 800).width, 800);
}

}  // namespace
}  // namespace lumicrate::test
