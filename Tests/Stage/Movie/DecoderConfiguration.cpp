#include "Tests/Stage/Movie/DecoderConfiguration.h"

#include <algorithm>
#include <map>

namespace lumicrate::stage {

namespace {

constexpr int avcSequence = 7;
constexpr int avcPicture = 8;
constexpr int hevcSequence = 33;

void requirePlainColors(const PictureFormat& format, const Box& box, Faults& faults) {
    faults.require(format.chromaFormat == 1 && format.lumaDepth == 8 && format.chromaDepth == 8, box,
                   "isn't of 4:2:0 in eight bits");
    const std::array<std::uint32_t, 3> bt709{1, 1, 1};
    if (format.colors) faults.require(*format.colors == bt709, box, "has other colours than BT.709");
    if (format.isFullRange) faults.require(!*format.isFullRange, box, "is of full range");
}

PictureFormat examineAvcSequence(ByteSpan nal, ByteSpan profile, const Box& avcC, Faults& faults) {
    if (nal.size() < 4 || (nal[0] & 31) != avcSequence) {
        faults.add(avcC, "has a sequence parameter set that is none");
        return {};
    }
    faults.require(std::equal(profile.begin(), profile.end(), nal.begin() + 1), avcC,
                   "has another profile or level than its parameter set");
    return readAvcSequence(nal);
}

bool isHighProfile(std::uint8_t profile) {
    return profile == 100 || profile == 110 || profile == 122 || profile == 144;
}

void examineAvcExtension(Bytes& bytes, const PictureFormat& format, const Box& avcC, Faults& faults) {
    const int chroma = bytes.u8();
    const int luma = bytes.u8();
    const int chromaDepth = bytes.u8();
    faults.require((chroma & 0xfc) == 0xfc && (luma & 0xf8) == 0xf8 && (chromaDepth & 0xf8) == 0xf8, avcC,
                   "has reserved bits that aren't set");
    faults.require(static_cast<std::uint32_t>(chroma & 3) == format.chromaFormat &&
                       static_cast<std::uint32_t>(luma & 7) + 8 == format.lumaDepth &&
                       static_cast<std::uint32_t>(chromaDepth & 7) + 8 == format.chromaDepth,
                   avcC, "has another sample format than its parameter set");
    faults.require(bytes.u8() == 0, avcC, "has parameter set extensions");
}

// The bytes that "hvcC" and a sequence parameter set have in common: profile, compatibility, constraints and
// level.
constexpr std::size_t hevcProfileSize = 12;

PictureFormat examineHevcUnit(ByteSpan nal, int type, ByteSpan profile, const Box& hvcC, Faults& faults) {
    if (nal.size() < 3 || (nal[0] >> 1 & 63) != type) {
        faults.add(hvcC, "has a parameter set in the wrong array");
        return {};
    }
    if (type != hevcSequence) return {};
    const auto bytes = unescaped(nal);
    constexpr std::size_t profilePlace = 3;
    const bool same = bytes.size() >= profilePlace + hevcProfileSize &&
                      std::equal(profile.begin(), profile.end(), bytes.begin() + profilePlace);
    faults.require(same, hvcC, "has another profile or level than its parameter set");
    return readHevcSequence(nal);
}

void examineHevcFormat(Bytes& bytes, const PictureFormat& format, const Box& hvcC, Faults& faults) {
    const std::uint32_t chroma = bytes.u8();
    const std::uint32_t luma = bytes.u8();
    const std::uint32_t chromaDepth = bytes.u8();
    faults.require((chroma & 0xfc) == 0xfc && (luma & 0xf8) == 0xf8 && (chromaDepth & 0xf8) == 0xf8, hvcC,
                   "has reserved bits that aren't set");
    faults.require((chroma & 3) == format.chromaFormat && (luma & 7) + 8 == format.lumaDepth &&
                       (chromaDepth & 7) + 8 == format.chromaDepth,
                   hvcC, "has another sample format than its parameter set");
}

// Descriptors of MPEG-4 systems: a tag, a length of seven bits a byte, the content.
class Descriptor {
 public:
    Descriptor(Bytes& bytes, int tag, const Box& box, Faults& faults) {
        const int found = bytes.u8();
        faults.require(found == tag, box,
                       "has the descriptor " + std::to_string(found) + " in place of " + std::to_string(tag));
        std::size_t length = 0;
        std::uint8_t byte = 0;
        do {
            byte = bytes.u8();
            length = length << 7 | (byte & 0x7f);
        } while ((byte & 0x80) != 0);
        content_ = Bytes(bytes.take(length));
    }
    Bytes& content() { return content_; }

 private:
    Bytes content_{ByteSpan()};
};

SoundFormat examineAudioConfiguration(ByteSpan configuration, const Box& esds, Faults& faults) {
    constexpr std::array rates{96000, 88200, 64000, 48000, 44100, 32000, 24000,
                               22050, 16000, 12000, 11025, 8000,  7350};
    constexpr std::uint32_t lowComplexity = 2;
    Bits bits(configuration);
    SoundFormat format;
    faults.require(bits.bits(5) == lowComplexity, esds, "isn't AAC of low complexity");
    const std::uint32_t rate = bits.bits(4);
    if (rate < rates.size()) format.sampleRate = rates[rate];
    format.channels = static_cast<int>(bits.bits(4));
    faults.require(bits.bits(3) == 0, esds, "hasn't the usual frames of 1024 samples");
    return format;
}

}  // namespace

PictureFormat examineAvcConfiguration(const Box& avcC, Faults& faults) {
    Bytes bytes(avcC.content);
    faults.require(bytes.u8() == 1, avcC, "has an unknown version");
    const ByteSpan profile = bytes.take(3);
    faults.require(bytes.u8() == 0xff, avcC,
                   "hasn't lengths of four bytes, or reserved bits that aren't set");
    const int sequences = bytes.u8();
    faults.require((sequences & 0xe0) == 0xe0, avcC, "has reserved bits that aren't set");
    faults.require((sequences & 31) == 1, avcC, "hasn't one sequence parameter set");
    PictureFormat format;
    for (int i = 0; i < (sequences & 31); ++i) {
        format = examineAvcSequence(bytes.take(bytes.u16()), profile, avcC, faults);
    }
    const int pictures = bytes.u8();
    faults.require(pictures > 0, avcC, "has no picture parameter set");
    for (int i = 0; i < pictures; ++i) {
        const ByteSpan nal = bytes.take(bytes.u16());
        faults.require(nal.size() > 1 && (nal[0] & 31) == avcPicture, avcC,
                       "has a picture parameter set that is none");
    }
    if (isHighProfile(profile[0])) examineAvcExtension(bytes, format, avcC, faults);
    faults.require(bytes.isAtEnd(), avcC, "is too long");
    requirePlainColors(format, avcC, faults);
    return format;
}

PictureFormat examineHevcConfiguration(const Box& hvcC, Faults& faults) {
    Bytes bytes(hvcC.content);
    faults.require(bytes.u8() == 1, hvcC, "has an unknown version");
    const ByteSpan profile = bytes.take(hevcProfileSize);
    const int segmentation = bytes.u16();
    const int parallelism = bytes.u8();
    faults.require((segmentation & 0xf000) == 0xf000 && (parallelism & 0xfc) == 0xfc, hvcC,
                   "has reserved bits that aren't set");
    Bytes formatBytes(bytes.take(3));
    bytes.u16();  // the average frame rate, which may be unknown
    const int layers = bytes.u8();
    faults.require((layers & 3) == 3, hvcC, "hasn't lengths of four bytes");
    faults.require((layers >> 3 & 7) >= 1, hvcC, "has no temporal layer");
    std::map<int, int> counts;
    PictureFormat format;
    const int arrays = bytes.u8();
    for (int i = 0; i < arrays; ++i) {
        const int head = bytes.u8();
        const int type = head & 63;
        faults.require((head & 0x40) == 0, hvcC, "has reserved bits that aren't zero");
        const bool isParameterSet = type >= 32 && type <= 34;
        faults.require(!isParameterSet || (head & 0x80) != 0, hvcC,
                       "has parameter sets elsewhere too, as “hvc1” must not");
        const int units = bytes.u16();
        counts[type] += units;
        for (int unit = 0; unit < units; ++unit) {
            const auto read = examineHevcUnit(bytes.take(bytes.u16()), type, profile, hvcC, faults);
            if (type == hevcSequence) format = read;
        }
    }
    for (const int type : {32, 33, 34}) {
        faults.require(counts[type] > 0, hvcC, "lacks the parameter set " + std::to_string(type));
    }
    examineHevcFormat(formatBytes, format, hvcC, faults);
    faults.require(bytes.isAtEnd(), hvcC, "is too long");
    requirePlainColors(format, hvcC, faults);
    return format;
}

SoundFormat examineStreamDescriptor(const Box& esds, Faults& faults) {
    Bytes bytes(esds.content);
    faults.require(bytes.u32() == 0, esds, "has an unknown version or flags");
    Descriptor stream(bytes, 3, esds, faults);
    faults.require(bytes.isAtEnd(), esds, "has bytes behind its descriptor");
    stream.content().u16();
    faults.require(stream.content().u8() == 0, esds, "has stream flags");

    Descriptor decoder(stream.content(), 4, esds, faults);
    faults.require(decoder.content().u8() == 0x40, esds, "isn't MPEG-4 audio");
    faults.require(decoder.content().u8() == 0x15, esds, "isn't an audio stream");
    decoder.content().u24();
    const auto most = decoder.content().u32();
    faults.require(decoder.content().u32() <= most || most == 0, esds,
                   "has a higher rate on average than at most");
    Descriptor specific(decoder.content(), 5, esds, faults);
    faults.require(decoder.content().isAtEnd(), esds, "has bytes behind the decoder's configuration");

    Descriptor sync(stream.content(), 6, esds, faults);
    faults.require(sync.content().u8() == 2 && sync.content().isAtEnd(), esds,
                   "hasn't the time stamps of a movie file");
    faults.require(stream.content().isAtEnd(), esds, "has an unknown descriptor");
    return examineAudioConfiguration(specific.content().take(specific.content().left()), esds, faults);
}

}  // namespace lumicrate::stage
