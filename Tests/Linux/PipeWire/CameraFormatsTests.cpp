// SPDX-License-Identifier: GPL-3.0-or-later
// What is read from the format objects of cameras.
#include "Linux/PipeWire/CameraFormats.h"
#include "Linux/PipeWire/GraphWatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spa/param/format.h>
#include <spa/param/video/raw.h>

#include <array>
#include <cmath>
#include <string>

namespace lumicrate::pipewire {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr spa_rectangle vga{640, 480};
constexpr spa_rectangle tiny{160, 120};
constexpr spa_rectangle hd{1280, 720};
constexpr spa_fraction thirty{30, 1};
constexpr spa_fraction ntsc{30000, 1001};
constexpr spa_fraction five{5, 1};
constexpr spa_fraction variable{0, 1};

/// A format object with further properties.
template <class... Properties>
std::vector<std::string> formatsOf(std::uint32_t subtype, Properties... properties) {
    std::array<std::uint8_t, 1024> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), memory.size());
    spa_pod_frame frame{};
    spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
    spa_pod_builder_add(&builder, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video),
                        SPA_FORMAT_mediaSubtype, SPA_POD_Id(subtype), 0);
    spa_pod_builder_add(&builder, properties..., 0);
    std::vector<std::string> texts;
    for (const OfferedFormat& each :
         formatsIn(static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame)))) {
        texts.push_back(std::to_string(static_cast<int>(each.format.pixels)) + " " +
                        std::to_string(each.format.size.width) + "x" +
                        std::to_string(each.format.size.height) + " " +
                        std::to_string(std::lround(each.format.rate * 100)) + " " +
                        std::to_string(each.rate.num) + "/" + std::to_string(each.rate.denom));
    }
    return texts;
}

TEST(CameraFormatsTests, ChoicesAndRangesGiveEachFormatOnce) {
    constexpr auto raw = SPA_MEDIA_SUBTYPE_raw;
    constexpr auto mjpg = SPA_MEDIA_SUBTYPE_mjpg;
    EXPECT_THAT(formatsOf(mjpg, SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&vga), SPA_FORMAT_VIDEO_framerate,
                          SPA_POD_CHOICE_ENUM_Fraction(3, &ntsc, &ntsc, &five)),
                ElementsAre("0 640x480 2997 30000/1001", "0 640x480 500 5/1"));
    EXPECT_THAT(formatsOf(raw, SPA_FORMAT_VIDEO_format,
                          SPA_POD_CHOICE_ENUM_Id(4, SPA_VIDEO_FORMAT_YUY2, SPA_VIDEO_FORMAT_YUY2,
                                                 SPA_VIDEO_FORMAT_v210, SPA_VIDEO_FORMAT_NV12),
                          SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&vga), SPA_FORMAT_VIDEO_framerate,
                          SPA_POD_Fraction(&variable)),
                ElementsAre("5 640x480 3000 0/1", "1 640x480 3000 0/1"));
    EXPECT_THAT(formatsOf(mjpg, SPA_FORMAT_VIDEO_size, SPA_POD_CHOICE_RANGE_Rectangle(&tiny, &tiny, &hd),
                          SPA_FORMAT_VIDEO_framerate, SPA_POD_CHOICE_RANGE_Fraction(&five, &five, &thirty)),
                testing::IsSupersetOf({"0 160x120 500 5/1", "0 640x480 3000 30/1", "0 1280x720 3000 30/1"}));
    EXPECT_THAT(formatsOf(mjpg, SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&vga)),
                ElementsAre("0 640x480 3000 0/1"))
        << "no rate";
}

TEST(CameraFormatsTests, OtherObjectsGiveNoFormats) {
    EXPECT_THAT(formatsOf(SPA_MEDIA_SUBTYPE_mjpg), IsEmpty()) << "no size";
    EXPECT_THAT(formatsOf(SPA_MEDIA_SUBTYPE_raw, SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&vga)), IsEmpty());
    EXPECT_THAT(formatsOf(SPA_MEDIA_SUBTYPE_h264, SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&vga)), IsEmpty());
    EXPECT_THAT(formatsOf(SPA_MEDIA_SUBTYPE_mjpg, SPA_FORMAT_VIDEO_size, SPA_POD_Int(5)), IsEmpty())
        << "a wrong type";
    EXPECT_THAT(formatsIn(nullptr), IsEmpty());
}

TEST(CameraFormatsTests, NamesLoseTheDriver) {
    for (const auto& [description, name] :
         {std::pair("Webcam (V4L2)", "Webcam"), {"Webcam", "Webcam"}, {" (V4L2)", " (V4L2)"}})
        EXPECT_EQ(cameraName(description), name);
}

}  // namespace
}  // namespace lumicrate::pipewire
