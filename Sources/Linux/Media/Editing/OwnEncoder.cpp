#include "Linux/Media/Editing/OwnEncoder.h"

#include "Linux/Media/Encoding/H264Encoder.h"
#include "Linux/Media/Encoding/HevcEncoder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <span>

namespace lumicrate::media {

namespace {

using Record = std::span<const std::uint8_t>;

/// That recordings are made with, the usual one first.
constexpr std::array frameRates{30, 60, 24, 15};
constexpr int finestQuality = 10;
constexpr int coarsestQuality = 26;

/// The ceiling whose quality quantizer is `quantizer` (see RateControl): 0.12 bits a pixel for 13, three
/// quantizers for every halving.
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

/// All of a record before the picture parameter set, which alone depends on the quality: both records end
/// with it, but for what has a fixed length.
Record withoutPictureSet(const AVCodecParameters& pictures, Record record) {
    // Where the first set's length stands: "avcC" holds the sequence's and the picture's, "hvcC" the video's
    // before them, each behind three bytes of its own.
    const bool hevc = pictures.codec_id == AV_CODEC_ID_HEVC;
    std::size_t place = hevc ? 26 : 6;
    for (int set = 0; set < (hevc ? 2 : 1); ++set) {
        if (place + 2 > record.size()) return {};
        place += 2 + (std::size_t{record[place]} << 8 | record[place + 1]) + (hevc ? 3 : 0);
    }
    return record.first(std::min(place, record.size()));
}

}  // namespace

std::unique_ptr<VideoEncoder> ownEncoderFor(const AVCodecParameters& pictures) {
    const bool known = pictures.codec_id == AV_CODEC_ID_H264 || pictures.codec_id == AV_CODEC_ID_HEVC;
    const bool coded = pictures.format == AV_PIX_FMT_YUV420P && (pictures.width | pictures.height) % 2 == 0;
    const bool large = std::min(pictures.width, pictures.height) >= HevcEncoder::leastSide;
    if (!known || !coded || !large || pictures.extradata_size <= 0) return nullptr;
    const Record record(pictures.extradata, static_cast<std::size_t>(pictures.extradata_size));
    const Record sequence = withoutPictureSet(pictures, record);
    for (const int rate : frameRates) {
        for (int quantizer = finestQuality; quantizer <= coarsestQuality; ++quantizer) {
            std::unique_ptr<VideoEncoder> encoder = makeEncoder(pictures, rate, quantizer);
            const Record ours(encoder->configuration());
            if (std::ranges::equal(ours, record)) return encoder;
            if (!std::ranges::equal(withoutPictureSet(pictures, ours), sequence)) break;
        }
    }
    return nullptr;
}

}  // namespace lumicrate::media
