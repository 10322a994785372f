#include "Linux/Media/Editing/IdrPictureId.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace lumicrate::media {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t lengthBytes = 4;
constexpr int highProfile = 100;
// Kinds of units.
constexpr int idrOfH264 = 5;
constexpr int idrWithLeading = 19;
constexpr int idrAlone = 20;

/// The first unit that codes a part of a picture.
Bytes firstSlice(bool hevc, Bytes sample) {
    while (sample.size() > lengthBytes) {
        std::size_t length = 0;
        for (std::size_t i = 0; i < lengthBytes; ++i)
            length = length << 8 | sample[i];
        sample = sample.subspan(lengthBytes);
        if (length == 0 || length > sample.size()) return {};
        const int kind = hevc ? sample[0] >> 1 & 0x3f : sample[0] & 0x1f;
        if (hevc ? kind < 32 : kind >= 1 && kind <= idrOfH264) return sample.first(length);
        sample = sample.subspan(length);
    }
    return {};
}

/// The bits of a unit, of which there are zeros without end.
class Bits {
 public:
    explicit Bits(Bytes unit) {
        int zeros = 0;
        for (const std::uint8_t byte : unit.first(std::min<std::size_t>(unit.size(), 64))) {
            const bool guard = zeros >= 2 && byte == 3;
            zeros = byte == 0 ? zeros + 1 : 0;
            if (!guard) bytes_.push_back(byte);
        }
    }
    unsigned take(int count) {
        unsigned value = 0;
        for (; count > 0; --count, ++place_) {
            const std::size_t byte = place_ / 8;
            const unsigned bit = byte < bytes_.size() ? bytes_[byte] >> (7 - place_ % 8) & 1U : 0;
            value = value << 1 | bit;
        }
        return value;
    }
    /// A number in the exponential code.
    unsigned number() {
        int zeros = 0;
        while (take(1) == 0 && zeros < 31)
            ++zeros;
        return (1U << zeros) - 1 + take(zeros);
    }

 private:
    std::vector<std::uint8_t> bytes_;
    std::size_t place_ = 0;
};

/// How many bits a picture's number in its group has, by the sequence parameter set.
int frameNumberBits(const AVCodecParameters& pictures) {
    constexpr int setBegins = 8;
    const Bytes record(pictures.extradata, static_cast<std::size_t>(pictures.extradata_size));
    if (record.size() <= setBegins) return 0;
    Bits bits(record.subspan(setBegins));
    bits.take(8);  // the unit's kind
    const unsigned profile = bits.take(8);
    bits.take(16);  // constraints, level
    bits.number();  // the set's own
    if (profile >= highProfile) {
        bits.number();  // sampling of the colours
        bits.number();  // depths
        bits.number();
        bits.take(2);  // neither lossless nor scaled
    }
    return static_cast<int>(bits.number()) + 4;
}

}  // namespace

bool isInstantRefresh(const AVCodecParameters& pictures, const AVPacket& packet) {
    const bool hevc = pictures.codec_id == AV_CODEC_ID_HEVC;
    const Bytes slice = firstSlice(hevc, {packet.data, static_cast<std::size_t>(packet.size)});
    if (slice.empty()) return false;
    const int kind = hevc ? slice[0] >> 1 & 0x3f : slice[0] & 0x1f;
    return hevc ? kind == idrWithLeading || kind == idrAlone : kind == idrOfH264;
}

std::optional<int> idrPictureId(const AVCodecParameters& pictures, std::span<const std::uint8_t> sample) {
    if (pictures.codec_id != AV_CODEC_ID_H264) return std::nullopt;
    Bits bits(firstSlice(false, sample));
    bits.take(8);   // the unit's kind
    bits.number();  // the first macroblock
    bits.number();  // the slice's kind
    bits.number();  // its picture parameter set
    bits.take(frameNumberBits(pictures));
    return static_cast<int>(bits.number());
}

}  // namespace lumicrate::media
