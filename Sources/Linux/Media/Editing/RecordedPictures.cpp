// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/RecordedPictures.h"

#include "Linux/Media/Encoding/BitStream.h"
#include "Linux/Media/Encoding/H264Encoder.h"
#include "Linux/Media/Encoding/HevcEncoder.h"
#include "Support/Log.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

namespace lumicrate::media {

namespace {

using Bytes = std::span<const std::uint8_t>;

/// Those of recordings, the default first.
constexpr std::array frameRates{30, 60, 24, 15};
constexpr int lowestQuantizer = 10;
constexpr int highestQuantizer = 26;

/// The bit rate for which RateControl chooses `quantizer` as the quality level: 0.12 bits a pixel for 13,
/// half of that for 16, a quarter for 19.
int bitRateFor(const AVCodecParameters& pictures, int framesPerSecond, int quantizer) {
    const double pixels = static_cast<double>(pictures.width) * pictures.height * framesPerSecond;
    const double bits = pixels * 0.12 * std::exp2((13 - quantizer) / 3.0);
    return static_cast<int>(std::min(bits, 2e9));
}

std::unique_ptr<VideoEncoder> makeEncoder(const AVCodecParameters& pictures, int framesPerSecond,
                                          int quantizer) {
    const VideoEncoder::Settings settings{pictures.width, pictures.height,
                                          bitRateFor(pictures, framesPerSecond, quantizer), framesPerSecond,
                                          1};
    if (pictures.codec_id == AV_CODEC_ID_HEVC) return std::make_unique<HevcEncoder>(settings);
    return std::make_unique<H264Encoder>(settings);
}

/// The part of a decoder configuration record before the picture parameter set. Only that set depends on the
/// quality, and both kinds of record end with it.
Bytes withoutPictureSet(const AVCodecParameters& pictures, Bytes record) {
    // The place of the first set's length. "avcC" has the sequence's and the picture's set; "hvcC" has the
    // video's before them, and three more bytes before each length.
    const bool hevc = pictures.codec_id == AV_CODEC_ID_HEVC;
    std::size_t place = hevc ? 26 : 6;
    for (int set = 0; set < (hevc ? 2 : 1); ++set) {
        if (place + 2 > record.size()) return {};
        place += 2 + (std::size_t{record[place]} << 8 | record[place + 1]) + (hevc ? 3 : 0);
    }
    return record.first(std::min(place, record.size()));
}

constexpr std::size_t lengthBytes = 4;
constexpr int highProfile = 100;
// Types of NAL units.
constexpr int h264Idr = 5;
constexpr int hevcIdrWithRadl = 19;
constexpr int hevcIdr = 20;

/// The first NAL unit with a slice of a picture.
Bytes firstSlice(bool hevc, Bytes sample) {
    while (sample.size() > lengthBytes) {
        std::size_t length = 0;
        for (std::size_t i = 0; i < lengthBytes; ++i)
            length = length << 8 | sample[i];
        sample = sample.subspan(lengthBytes);
        if (length == 0 || length > sample.size()) return {};
        const int type = hevc ? sample[0] >> 1 & 0x3f : sample[0] & 0x1f;
        if (hevc ? type < 32 : type >= 1 && type <= h264Idr) return sample.first(length);
        sample = sample.subspan(length);
    }
    return {};
}

/// The length of frame_num, from the sequence parameter set.
int frameNumberBits(const AVCodecParameters& pictures) {
    constexpr int setOffset = 8;
    const Bytes record(pictures.extradata, static_cast<std::size_t>(pictures.extradata_size));
    if (record.size() <= setOffset) return 0;
    BitReader bits(record.subspan(setOffset));
    bits.take(8);  // the NAL unit's type
    const unsigned profile = bits.take(8);
    bits.take(16);  // constraints, level
    bits.number();  // the set's own number
    if (profile >= highProfile) {
        bits.number();  // chroma format
        bits.number();  // bit depths
        bits.number();
        bits.take(2);  // lossless, scaling matrices: both off
    }
    return static_cast<int>(bits.number()) + 4;
}

}  // namespace

std::unique_ptr<VideoEncoder> matchingEncoder(const AVCodecParameters& pictures) {
    const bool knownCodec = pictures.codec_id == AV_CODEC_ID_H264 || pictures.codec_id == AV_CODEC_ID_HEVC;
    const bool yuv420 = pictures.format == AV_PIX_FMT_YUV420P && (pictures.width | pictures.height) % 2 == 0;
    const bool large = std::min(pictures.width, pictures.height) >= HevcEncoder::minSide;
    if (!knownCodec || !yuv420 || !large || pictures.extradata_size <= 0) return nullptr;
    const Bytes record(pictures.extradata, static_cast<std::size_t>(pictures.extradata_size));
    const Bytes sequence = withoutPictureSet(pictures, record);
    for (const int rate : frameRates) {
        for (int quantizer = lowestQuantizer; quantizer <= highestQuantizer; ++quantizer) {
            std::unique_ptr<VideoEncoder> encoder = makeEncoder(pictures, rate, quantizer);
            const Bytes ours(encoder->configuration());
            if (std::ranges::equal(ours, record)) {
                log(LogArea::movie, "trim: the recorder's encoder at ", rate,
                    " pictures a second, quantizer ", quantizer);
                return encoder;
            }
            if (!std::ranges::equal(withoutPictureSet(pictures, ours), sequence)) break;
        }
    }
    return nullptr;
}

bool isInstantRefresh(const AVCodecParameters& pictures, const AVPacket& packet) {
    const bool hevc = pictures.codec_id == AV_CODEC_ID_HEVC;
    const Bytes slice = firstSlice(hevc, {packet.data, static_cast<std::size_t>(packet.size)});
    if (slice.empty()) return false;
    const int type = hevc ? slice[0] >> 1 & 0x3f : slice[0] & 0x1f;
    return hevc ? type == hevcIdrWithRadl || type == hevcIdr : type == h264Idr;
}

std::optional<int> idrPictureId(const AVCodecParameters& pictures, std::span<const std::uint8_t> sample) {
    if (pictures.codec_id != AV_CODEC_ID_H264) return std::nullopt;
    BitReader bits(firstSlice(false, sample));
    bits.take(8);   // the NAL unit's type
    bits.number();  // the first macroblock
    bits.number();  // the slice's type
    bits.number();  // the picture parameter set
    bits.take(frameNumberBits(pictures));
    return static_cast<int>(bits.number());
}

}  // namespace lumicrate::media
