// SPDX-License-Identifier: GPL-3.0-or-later
// Zoomed copies: where landmarks of the picture are at each time, and what stays as it was.
#include "Linux/Media/Editing/PlaneResampler.h"
#include "Linux/Media/Editing/VideoCompositionExport.h"
#include "Lumicrate/Zoom/ZoomPlan.h"
#include "Support/Error.h"
#include "Tests/Linux/Media/MovieMaker.h"
#include "Tests/Stage/Measure.h"
#include "Tests/Stage/OtherPrograms.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lumicrate::media {
namespace {

using namespace test;
using stage::MovieProbe;

constexpr int width = 640;
constexpr int height = 360;
constexpr int markSide = 20;
constexpr double seconds = 8;

/// The top left corners of black squares.
std::vector<Point> marks() {
    std::vector<Point> places;
    for (int x = 30; x < width - markSide; x += 98) {
        for (int y = 25; y < height - markSide; y += 94)
            places.push_back({static_cast<double>(x), static_cast<double>(y)});
    }
    return places;
}

/// Pictures at 0, 0.5, 1 … seconds, which are all the same, and sound.
void writeRecording(const std::filesystem::path& path) {
    auto picture = std::make_shared<TestPicture>(width, height);
    for (const Point& each : marks())
        picture->fill({static_cast<int>(each.x), static_cast<int>(each.y), markSide, markSide}, 16, 128, 128);
    MovieMaker maker({videoSettings(width, height), audioSettings(2)});
    std::vector<float> samples(24000);
    std::mt19937 random(1);
    for (int half = 0; half < 2 * static_cast<int>(seconds); ++half) {
        const CMTime time = test::start + CMTime(half, 2);
        maker.append(0, test::frame(time, picture));
        for (float& each : samples)
            each = static_cast<float>(random() % 1000) / 4000.0F;
        maker.append(1, test::sound(time, samples, 2));
    }
    maker.writer().endSessionAtSourceTime(test::start + CMTime::fromSeconds(seconds));
    maker.finished();
    std::filesystem::copy_file(maker.path(), path);
}

/// The centre of the dark area within `reach` of a place; nothing if the picture does not show all of that.
std::optional<Point> darkCentre(const stage::Plane& luma, Point around, double reach) {
    const int left = static_cast<int>(around.x - reach);
    const int top = static_cast<int>(around.y - reach);
    const int right = static_cast<int>(around.x + reach) + 1;
    const int bottom = static_cast<int>(around.y + reach) + 1;
    if (left < 0 || top < 0 || right >= luma.width || bottom >= luma.height) return std::nullopt;
    double sum = 0;
    Point centre;
    for (int y = top; y <= bottom; ++y) {
        for (int x = left; x <= right; ++x) {
            const double dark = std::max(235 - luma.at(x, y), 0);
            sum += dark;
            centre.x += dark * (x + 0.5);
            centre.y += dark * (y + 0.5);
        }
    }
    return Point{centre.x / sum, centre.y / sum};
}

class ZoomExportTests : public testing::Test {
 protected:
    ZoomExportTests() { writeRecording(movie); }
    void zoom(const ZoomPlan& plan, const LongWork& work = {}) const {
        const auto view = [&plan](CMTime time) { return plan.viewAt(time.seconds()); };
        VideoCompositionExport().exportZoomed(movie, copy, AVFileType::mpeg4, view, work);
    }

    TemporaryFolder folder;
    std::filesystem::path movie = folder / "movie.mp4";
    std::filesystem::path copy = folder / "copy.mp4";
};

TEST_F(ZoomExportTests, LandmarksAreWhereTheFormulaSays) {
    const ZoomPlan plan({{0.7, 3.2, 2, {0.3, 0.45}}, {3.3, 6, 2.7, {0.8, 0.6}}}, seconds);
    zoom(plan);
    MovieProbe probe(copy);
    EXPECT_EQ(probe.videoTrack().colorMatrix, "bt709");
    int moving = 0;
    std::size_t seen = 0;
    double worst = 0;
    probe.visitPictures([&](const stage::Picture& picture) {
        const Rect view = plan.viewAt(picture.time);
        const double scale = 1 / view.width;
        if (view != plan.viewAt(picture.time - 0.01)) ++moving;
        for (const Point& mark : marks()) {
            const Point expected{((mark.x + markSide / 2.0) / width - view.x) * scale * width,
                                 ((mark.y + markSide / 2.0) / height - view.y) * scale * height};
            const auto found = darkCentre(picture.luma(), expected, markSide / 2.0 * scale + 4);
            if (!found) continue;
            ++seen;
            worst = std::max({worst, std::abs(found->x - expected.x), std::abs(found->y - expected.y)});
        }
        EXPECT_EQ(picture.width, width);
        return true;
    });
    // Three moves of 0.6 s, at 30 a second; and the source's pictures.
    EXPECT_GE(moving, 52);
    EXPECT_LE(moving, 60);
    EXPECT_GE(probe.pictureTimes().size(), 64U);
    EXPECT_LE(probe.pictureTimes().size(), 76U);
    EXPECT_GT(seen, 400U);
    EXPECT_LT(worst, 0.2);
}

TEST_F(ZoomExportTests, KeepsTimesSoundAndPicturesAtRest) {
    zoom(ZoomPlan({{0.7, 3.2, 2, {0.3, 0.45}}}, seconds));
    MovieProbe original(movie);
    MovieProbe zoomed(copy);
    EXPECT_NEAR(zoomed.duration(), original.duration(), 0.001);
    const std::vector<double> times = zoomed.pictureTimes();
    for (const double each : original.pictureTimes())
        EXPECT_THAT(times, testing::Contains(testing::DoubleNear(each, 1e-4)));
    const auto atRest = [](double time) { return time > 3.3; };
    EXPECT_EQ(std::ranges::count_if(times, atRest), 9);
    const auto before = original.packets(1);
    const auto after = zoomed.packets(1);
    ASSERT_EQ(after.size(), before.size());
    for (std::size_t i = 0; i < before.size(); ++i) {
        EXPECT_EQ(after[i].bytes, before[i].bytes);
        EXPECT_NEAR(after[i].pts, before[i].pts, 1e-6);
    }
    EXPECT_GT(stage::structuralSimilarity(original.pictureAt(7)->luma(), zoomed.pictureAt(7)->luma()), 0.999);
    // MediaInfo misreads the end of the text that libx264 leaves in its first picture.
    EXPECT_THAT(stage::complaintsAbout(copy),
                testing::Each(testing::MatchesRegex("mediainfo: .*Size is wrong: +0 .*")));
}

TEST_F(ZoomExportTests, ReportsProgressAndLeavesNothingWhenItIsCancelled) {
    const ZoomPlan plan({{0.7, 3.2, 2, {0.3, 0.45}}}, seconds);
    std::vector<double> parts;
    std::stop_source stop;
    EXPECT_THROW(zoom(plan, {[&](double part) {
                                 parts.push_back(part);
                                 if (part > 0.3) stop.request_stop();
                             },
                             stop.get_token()}),
                 CancelledError);
    EXPECT_TRUE(std::ranges::is_sorted(parts));
    EXPECT_GT(parts.size(), 5U);
    EXPECT_EQ(std::ranges::distance(std::filesystem::directory_iterator(folder.path())), 1);
}

TEST(PlaneResamplerTests, KeepsValuesBetweenTheirNeighbours) {
    constexpr int side = 45;  // not a multiple of what vectors hold
    std::vector<std::uint8_t> source(side * side);
    std::mt19937 random(1);
    for (std::uint8_t& each : source)
        each = random() % 2 == 0 ? 60 : 180;
    std::vector<std::uint8_t> result(side * side);
    const auto resample = [&](double origin, double step) {
        const ResampledAxis axis{side, side, origin, step};
        PlaneResampler().resample({source.data(), side}, axis, axis, {result.data(), side});
    };
    resample(0, 1);
    EXPECT_EQ(result, source);
    for (const double step : {0.9, 0.5, 0.37}) {
        resample(11.3, step);
        EXPECT_EQ(*std::ranges::min_element(result), 60);
        EXPECT_EQ(*std::ranges::max_element(result), 180);
    }
    source.assign(source.size(), 77);
    resample(30.2, 0.8);
    EXPECT_EQ(result, source) << "also beyond the edge";
}

}  // namespace
}  // namespace lumicrate::media
