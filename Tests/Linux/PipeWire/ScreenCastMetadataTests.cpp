// SPDX-License-Identifier: GPL-3.0-or-later
// What is read from a screen cast's buffers, without a server.
#include "Linux/PipeWire/BufferMetadata.h"
#include "Linux/PipeWire/CursorReader.h"
#include "Linux/PipeWire/UprightPicture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spa/param/video/raw.h>

#include <cstring>
#include <string>
#include <vector>

namespace lumicrate::pipewire {
namespace {

using pictures::BlockRegion;
using pictures::CursorOverlay;
using testing::ElementsAre;

/// A buffer with one kind of metadata and no pixels.
struct MetaBuffer {
    explicit MetaBuffer(spa_meta_type type, std::size_t size) : memory(size) {
        meta = {type, static_cast<std::uint32_t>(size), memory.data()};
        buffer.n_metas = 1;
        buffer.metas = &meta;
    }
    std::vector<std::byte> memory;
    spa_meta meta{};
    spa_buffer buffer{};
};

TEST(UprightMapTests, ACropIsShownUprightHoweverItWasTurned) {
    // One pixel for each letter; the crop is "abc" over "def".
    const std::string rows[]{"-----", "-abc-", "-def-"};
    std::vector<std::uint32_t> pixels;
    for (const std::string& row : rows)
        pixels.insert(pixels.end(), row.begin(), row.end());
    const CastPicture picture{reinterpret_cast<const std::byte*>(pixels.data()), 5 * 4, CastPixels::bgrx};
    const struct {
        PictureTransform transform;
        int width;
        std::string upright;
    } cases[]{{{false, 0}, 3, "abcdef"}, {{false, 1}, 2, "daebfc"}, {{false, 2}, 3, "fedcba"},
              {{false, 3}, 2, "cfbead"}, {{true, 0}, 3, "cbafed"},  {{true, 1}, 2, "adbecf"},
              {{true, 2}, 3, "defabc"},  {{true, 3}, 2, "fcebda"}};
    for (const auto& [transform, width, upright] : cases) {
        const UprightMap map({1, 1, 3, 2}, transform);
        ASSERT_EQ(map.content(), (PixelRect{0, 0, width, 6 / width}));
        std::vector<std::uint32_t> scratch;
        const auto view = picture.read(map, map.content(), scratch);
        for (int i = 0; i < 6; ++i) {
            const PixelRect place{i % width, i / width, 1, 1};
            const auto letter = view.row(place.y)[place.x];
            EXPECT_EQ(letter, static_cast<std::uint32_t>(upright[static_cast<std::size_t>(i)])) << upright;
            EXPECT_EQ(picture.read(map, place, scratch).row(0)[0], letter) << upright;
            const int from = static_cast<int>(std::ranges::find(pixels, letter) - pixels.begin());
            EXPECT_EQ(map.toContent({from % 5, from / 5, 1, 1}), place) << upright;
        }
        EXPECT_EQ(map.toContent({1, 1, 3, 2}), map.content());
    }
}

TEST(DamageTests, OnlyAClearListLimitsTheDamage) {
    const PixelRect a{0, 0, 16, 16};
    const PixelRect b{32, 16, 16, 16};
    const PixelRect all{0, 0, 64, 48};
    const struct {
        std::size_t room;
        std::vector<PixelRect> list;
        std::vector<PixelRect> damage;
    } cases[]{{16, {a, b}, {a, b}},
              {16, {{}, b}, {all}},
              {16, {}, {all}},
              {2, {a, b}, {all}},
              {1, {a}, {a}},
              {0, {}, {all}},
              {16, {{-10, -10, 20, 20}}, {a}},
              {16, {{1 << 30, 0, 1 << 30, 9}}, {}}};
    for (const auto& [room, list, damage] : cases) {
        MetaBuffer announced(SPA_META_VideoDamage, room * sizeof(spa_meta_region));
        for (std::size_t i = 0; i < list.size(); ++i) {
            const spa_region region{
                {list[i].x, list[i].y},
                {static_cast<std::uint32_t>(list[i].width), static_cast<std::uint32_t>(list[i].height)}};
            std::memcpy(announced.memory.data() + i * sizeof region, &region, sizeof region);
        }
        BlockRegion read(all.width, all.height);
        addDamage(announced.buffer, read);
        BlockRegion expected(all.width, all.height);
        for (const PixelRect& rect : damage)
            expected.add(rect);
        EXPECT_EQ(read, expected) << &list - &cases[0].list;
    }
}

/// A cursor's metadata with a bitmap of two pixels beside each other.
struct CursorBuffer : MetaBuffer {
    CursorBuffer(std::uint32_t id, int x, int y) : MetaBuffer(SPA_META_Cursor, 200) {
        description = reinterpret_cast<spa_meta_cursor*>(memory.data());
        *description = {id, 0, {x, y}, {}, 0};
    }
    CursorBuffer& with(std::uint32_t format, std::uint32_t left, std::uint32_t right, spa_point hot = {}) {
        description->hotspot = hot;
        description->bitmap_offset = sizeof *description;
        bitmap = reinterpret_cast<spa_meta_bitmap*>(description + 1);
        *bitmap = {format, {2, 1}, 8, sizeof *bitmap};
        const std::uint32_t pixels[]{left, right};
        std::memcpy(bitmap + 1, pixels, sizeof pixels);
        return *this;
    }
    spa_meta_cursor* description = nullptr;
    spa_meta_bitmap* bitmap = nullptr;
};

/// The pixels of a white picture with the cursor on it.
std::vector<std::uint32_t> drawn(CursorReader& reader, const UprightMap& map, const PixelRect& place) {
    pictures::BgraPicture picture(map.content().width, map.content().height);
    std::fill_n(picture.row(0), map.content().area(), 0xffffff);
    const CursorOverlay::Drawn cursor(reader.overlay(map), picture);
    std::vector<std::uint32_t> pixels;
    for (int i = 0; i < place.width * place.height; ++i)
        pixels.push_back(picture.row(place.y + i / place.width)[place.x + i % place.width] & 0xffffff);
    return pixels;
}

TEST(CursorReaderTests, ImagesOfAllKindsArePremultiplied) {
    const UprightMap map({0, 0, 10, 10}, {});
    const struct {
        std::uint32_t format, left, right, rightShown;
    } cases[]{{SPA_VIDEO_FORMAT_BGRA, 0xff102030, 0x80402000, 0xbf9f7f},
              {SPA_VIDEO_FORMAT_RGBA, 0xff302010, 0x80002040, 0xbf9f7f},
              {SPA_VIDEO_FORMAT_ARGB, 0x302010ff, 0x00204080, 0xbf9f7f},
              {SPA_VIDEO_FORMAT_ABGR, 0x102030ff, 0x40200080, 0xbf9f7f},
              // Not premultiplied, as one colour shows.
              {SPA_VIDEO_FORMAT_BGRA, 0xff102030, 0x40ff8000, 0xffdfbf}};
    for (const auto& [format, left, right, rightShown] : cases) {
        CursorReader reader;
        EXPECT_TRUE(reader.read(CursorBuffer(1, 5, 6).with(format, left, right, {1, 0}).buffer));
        EXPECT_THAT(drawn(reader, map, {3, 6, 4, 1}), ElementsAre(0xffffff, 0x102030, rightShown, 0xffffff));
    }
}

TEST(CursorReaderTests, TheCursorIsFollowedOverManyBuffers) {
    const UprightMap map({2, 0, 10, 8}, {false, 1});
    CursorReader reader;
    const auto visible = [&](const PixelRect& frame) { EXPECT_EQ(reader.overlay(map).frame(), frame); };
    visible({});
    EXPECT_TRUE(reader.read(CursorBuffer(1, 4, 2).with(SPA_VIDEO_FORMAT_BGRA, ~0U, 0xff000000).buffer));
    // Turned clockwise, the cursor is one pixel wide, with the left pixel above.
    visible({5, 2, 1, 2});
    EXPECT_THAT(drawn(reader, map, {5, 2, 1, 2}), ElementsAre(0xffffff, 0));
    EXPECT_FALSE(reader.read(CursorBuffer(1, 4, 2).buffer)) << "no image: the same as before";
    EXPECT_TRUE(reader.read(CursorBuffer(1, 5, 2).buffer));
    visible({5, 3, 1, 2});
    EXPECT_TRUE(reader.read(CursorBuffer(0, 0, 0).buffer));
    visible({});
    EXPECT_FALSE(reader.read(CursorBuffer(0, 9, 9).buffer));
    EXPECT_TRUE(reader.read(CursorBuffer(1, 5, 2).buffer));
    visible({5, 3, 1, 2});

    // Images that reach outside of the metadata, or have no pixels, are not shown.
    for (const auto& [field, value] :
         {std::pair{&spa_meta_bitmap::offset, 190U}, std::pair{&spa_meta_bitmap::offset, 0U},
          std::pair{&spa_meta_bitmap::format, 12345U}}) {
        reader.read(CursorBuffer(1, 5, 2).with(SPA_VIDEO_FORMAT_BGRA, ~0U, ~0U).buffer);
        CursorBuffer broken(1, 5, 2);
        broken.with(SPA_VIDEO_FORMAT_BGRA, ~0U, ~0U).bitmap->*field = value;
        EXPECT_TRUE(reader.read(broken.buffer));
        visible({});
    }
}

}  // namespace
}  // namespace lumicrate::pipewire
