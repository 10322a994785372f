// SPDX-License-Identifier: GPL-3.0-or-later
// Streams in which libx265 and our own coders take turns, as a decoder shows them.
#include "Linux/Media/Encoding/HevcEncoder.h"
#include "Tests/Linux/Media/MovieMaker.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <random>

namespace lumicrate::media {
namespace {

using namespace test;
using stage::MovieProbe;

/// The number of slices of a picture.
int slices(const std::string& sample) {
    int count = 0;
    for (std::size_t at = 0; at + 4 <= sample.size(); ++count) {
        std::size_t length = 0;
        for (std::size_t i = 0; i < 4; ++i)
            length = length << 8 | static_cast<std::uint8_t>(sample[at + i]);
        at += 4 + length;
    }
    return count;
}

struct Session {
    int width;
    int height;
    int bitRate;
    int everyNth;  ///< picture in which all changes
    double leastPsnr;
};

/// Letters of all colours are typed, and now and then a new page is shown. Pictures are far enough apart that
/// key pictures become due while only letters were typed.
class HevcPatchTests : public testing::TestWithParam<Session> {
 protected:
    void record() {
        const auto& [width, height, bitRate, everyNth, leastPsnr] = GetParam();
        std::mt19937 random(7);
        const auto below = [&random](int limit) {
            return static_cast<int>(random() % static_cast<unsigned>(limit));
        };
        auto picture = std::make_shared<TestPicture>(width, height);
        picture->print({0, 0, width, height}, 1);
        for (int i = 0; i < 60; ++i) {
            PixelRect changed{below(width - 10), below(height - 10), 10, 10};
            if (i % everyNth == 0) changed = {0, 0, width, height};
            picture = std::make_shared<TestPicture>(*picture);
            picture->print(changed, static_cast<unsigned>(i));
            picture->fill({changed.x, changed.y, 5, 5}, 16 + below(220), 16 + below(225), 16 + below(225));
            maker_.append(0, frame(start + CMTime(i * 200, 1000), picture,
                                   frameInfo(static_cast<std::uint64_t>(i), {changed})));
            shown_.push_back(picture);
        }
    }

    MovieMaker maker_{
        {videoSettings(GetParam().width, GetParam().height, GetParam().bitRate, 30, AVVideoCodecType::hevc)},
        AVFileType::quickTimeMovie};
    std::vector<std::shared_ptr<TestPicture>> shown_;
};

INSTANTIATE_TEST_SUITE_P(Sessions, HevcPatchTests,
                         testing::Values(Session{640, 368, 6'000'000, 60, 38},   // letters only
                                         Session{640, 368, 6'000'000, 17, 38},   // calm in between
                                         Session{640, 368, 6'000'000, 3, 38},    // never calm
                                         Session{1023, 517, 9'000'000, 25, 38},  // a size to be padded
                                         Session{640, 368, 800'000, 4, 14}));    // coarse

TEST_P(HevcPatchTests, EveryPictureIsDecodedAsItWasMeant) {
    record();
    MovieProbe probe = maker_.finished();
    std::size_t index = 0;
    probe.visitPictures([&](const stage::Picture& decoded) {
        const TestPicture& source = *shown_.at(index);
        EXPECT_GT(psnr(source, decoded), GetParam().leastPsnr) << index;
        ++index;
        return true;
    });
    EXPECT_EQ(index, shown_.size());
}

TEST_P(HevcPatchTests, KeyPicturesAreInTimeAndInBandsWhereItIsCalm) {
    record();
    MovieProbe probe = maker_.finished();
    const int everyNth = GetParam().everyNth;
    double key = 0;
    int banded = 0;
    int index = 0;
    for (const stage::Packet& packet : probe.packets(probe.videoTrack().index)) {
        if (packet.isKey) key = packet.pts;
        EXPECT_LT(packet.pts - key, 2.0);
        banded += slices(packet.bytes) > 1 ? 1 : 0;
        // Coarse pictures are followed by finer ones, in which everything is coded.
        const bool isPatch = !packet.isKey && index % everyNth > 0 && GetParam().leastPsnr > 30;
        EXPECT_TRUE(!isPatch || packet.size < 1500) << index << ": " << packet.size;
        ++index;
    }
    EXPECT_EQ(banded > 0, everyNth > 5) << banded;
}

std::vector<std::vector<std::uint8_t>> parameterSets(const std::vector<std::uint8_t>& record) {
    std::vector<std::vector<std::uint8_t>> sets;
    for (std::size_t at = 23; at < record.size();) {
        const int count = record[at + 2];
        at += 3;
        for (int i = 0; i < count; ++i) {
            const std::size_t length = std::size_t{record[at]} << 8 | record[at + 1];
            sets.emplace_back(record.begin() + static_cast<std::ptrdiff_t>(at) + 2,
                              record.begin() + static_cast<std::ptrdiff_t>(at + 2 + length));
            at += 2 + length;
        }
    }
    return sets;
}

TEST(HevcHeadersTests, UnknownParameterSetsAreRefused) {
    // As libx265 writes them.
    HevcEncoder encoder({256, 128, 1'000'000, 30, 60});
    const std::vector<std::vector<std::uint8_t>> sets = parameterSets(encoder.configuration());
    ASSERT_EQ(sets.size(), 4U) << "the last one is for patches";
    EXPECT_EQ(sets[3], patchParameterSet());
    const auto parsed = parseHevcSequence(sets[1], sets[2]);
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->width, 256);
    EXPECT_EQ(parsed->log2Tree, 5);
    EXPECT_TRUE(parsed->wavefronts);
    for (std::size_t length = 0; length < 24; ++length)
        EXPECT_FALSE(parseHevcSequence(std::span(sets[1]).first(length), sets[2])) << length;
    EXPECT_FALSE(parseHevcSequence(sets[2], sets[1]));
}

/// A decoder of samples, which come out one by one.
class Decoder {
 public:
    explicit Decoder(const std::vector<std::uint8_t>& configuration) {
        context_->extradata =
            static_cast<std::uint8_t*>(av_mallocz(configuration.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        std::copy(configuration.begin(), configuration.end(), context_->extradata);
        context_->extradata_size = static_cast<int>(configuration.size());
        context_->thread_count = 1;
        context_->flags |= AV_CODEC_FLAG_LOW_DELAY;
        context_->err_recognition = AV_EF_EXPLODE;
        avcodec_open2(context_, nullptr, nullptr);
    }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;
    ~Decoder() {
        av_frame_free(&frame_);
        av_packet_free(&packet_);
        avcodec_free_context(&context_);
    }
    /// The picture, valid until the next one; nothing after an error.
    const AVFrame* decode(std::span<const std::uint8_t> sample) {
        av_new_packet(packet_, static_cast<int>(sample.size()));
        std::copy(sample.begin(), sample.end(), packet_->data);
        const bool isSent = avcodec_send_packet(context_, packet_) == 0;
        av_packet_unref(packet_);
        return isSent && avcodec_receive_frame(context_, frame_) == 0 ? frame_ : nullptr;
    }

 private:
    AVCodecContext* context_ = avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_HEVC));
    AVPacket* packet_ = av_packet_alloc();
    AVFrame* frame_ = av_frame_alloc();
};

/// A page that is scrolled by a distance from picture to picture, with some blocks of noise and colour.
struct Scroll {
    int width;
    int height;
    ScrollDistance distance;
    int quantizer;
    double leastPsnr;
    int maxPart;  ///< of the key picture's size that the later ones together have, percent
};

class HevcScrollTests : public testing::TestWithParam<Scroll> {
 protected:
    static constexpr int pictures = 12;
    HevcScrollTests() {
        page_.print({0, 0, page_.width, page_.height}, 1);
        page_.noise({40, 50, 30, 30}, 2);
        for (int i = 0; i < 20; ++i)
            page_.fill({i * 29 % page_.width, i * 53 % page_.height, 40, 9}, 60 + 9 * i, 40 + 10 * i,
                       240 - 10 * i);
    }
    /// What is visible of the page.
    CVPixelBuffer picture(int index) const {
        const auto& [width, height, distance, quantizer, leastPsnr, maxPart] = GetParam();
        const int x = distance.x > 0 ? distance.x * (pictures - index) : -distance.x * index;
        const int y = distance.y > 0 ? distance.y * (pictures - index) : -distance.y * index;
        CVPixelBuffer view = page_;
        view.width = width;
        view.height = height;
        view.luma += std::ptrdiff_t{y} * page_.lumaStride + x;
        view.chroma += std::ptrdiff_t{y / 2} * page_.chromaStride + x / 2 * 2;
        return view;
    }

    TestPicture page_{GetParam().width + pictures * std::abs(GetParam().distance.x),
                      GetParam().height + pictures* std::abs(GetParam().distance.y)};
};

INSTANTIATE_TEST_SUITE_P(Scrolls, HevcScrollTests,
                         testing::Values(Scroll{320, 240, {0, -45}, 15, 40, 250},  // chroma between two rows
                                         Scroll{320, 240, {0, 16}, 22, 34, 140},
                                         Scroll{323, 245, {-31, 0}, 22, 34, 190},  // padded
                                         Scroll{256, 128, {7, 0}, 40, 18, 90},
                                         Scroll{128, 64, {0, -2}, 51, 8, 150}));

TEST_P(HevcScrollTests, DecodersShowWhatTheNextPictureIsPredictedFrom) {
    const Scroll& scroll = GetParam();
    HevcEncoder encoder({scroll.width, scroll.height, 1'000'000, 30, 60});
    const auto sets = parameterSets(encoder.configuration());
    HevcPatchCoder coder(parseHevcSequence(sets[1], sets[2]).value());
    Decoder decoder(encoder.configuration());
    PaddedPicture padded;
    std::size_t keyBytes = 0;
    std::size_t laterBytes = 0;
    for (int i = 0; i < pictures; ++i) {
        const CVPixelBuffer source = picture(i);
        const CVPixelBuffer& whole = padded.of(source, encoder.codedWidth(), encoder.codedHeight());
        std::vector<std::uint8_t> sample;
        if (i == 0) {
            coder.codeKey(whole, scroll.quantizer, sample);
            keyBytes = sample.size();
        } else {
            coder.compare(whole, {}, scroll.distance, scroll.quantizer);
            coder.code(whole, {i, 1, std::nullopt}, sample);
            laterBytes += sample.size();
        }
        const AVFrame* frame = decoder.decode(sample);
        ASSERT_TRUE(frame) << i;
        double squares = 0;
        for (std::size_t plane = 0; plane < 3; ++plane) {
            const int part = plane == 0 ? 1 : 2;
            for (int y = 0; y < frame->height / part; ++y) {
                const std::uint8_t* line = frame->data[plane] + std::ptrdiff_t{y} * frame->linesize[plane];
                ASSERT_TRUE(std::equal(line, line + frame->width / part, coder.decoded().at(plane, 0, y)))
                    << "picture " << i << " plane " << plane << " row " << y;
                for (int x = 0; plane == 0 && x < source.width && y < source.height; ++x)
                    squares += std::pow(line[x] - source.luma[std::ptrdiff_t{y} * source.lumaStride + x], 2);
            }
        }
        EXPECT_GT(10 * std::log10(255.0 * 255 * source.width * source.height / squares), scroll.leastPsnr)
            << i;
    }
    EXPECT_LT(laterBytes * 100, keyBytes * static_cast<std::size_t>(scroll.maxPart)) << keyBytes;
}

/// A key picture in the scroll is not libx265's, so it begins again after the scroll, once.
TEST(HevcScrollSessionTests, TheLibraryGoesOnAfterTheScroll) {
    constexpr int scrolled = 40;
    constexpr int all = 55;
    constexpr int step = 21;
    TestPicture page(320, 240 + scrolled * step);
    page.print({0, 0, page.width, page.height}, 1);
    HevcEncoder encoder({320, 240, 20'000'000, 30, 60});
    Decoder decoder(encoder.configuration());
    std::vector<int> keys;
    for (int i = 0; i < all; ++i) {
        TestPicture other(320, 240);
        other.print({0, 0, 320, 240}, static_cast<unsigned>(i));
        CVPixelBuffer view = i < scrolled ? static_cast<CVPixelBuffer>(page) : other;
        view.height = 240;
        if (i < scrolled) view.luma += std::ptrdiff_t{i} * step * page.lumaStride;
        const EncodedPicture coded = encoder.encode(
            view, std::int64_t{i} * 6000, frameInfo(static_cast<std::uint64_t>(i), {{0, 0, 320, 240}}));
        if (coded.key) keys.push_back(i);
        const AVFrame* frame = decoder.decode(coded.data);
        ASSERT_TRUE(frame) << i;
        double squares = 0;
        for (int y = 0; y < 240; ++y) {
            for (int x = 0; x < 320; ++x)
                squares += std::pow(frame->data[0][y * frame->linesize[0] + x] -
                                        view.luma[std::ptrdiff_t{y} * view.lumaStride + x],
                                    2);
        }
        EXPECT_LT(squares / (320 * 240), 10) << i;
    }
    EXPECT_EQ(keys, (std::vector{0, 30, scrolled}));
}

}  // namespace
}  // namespace lumicrate::media
