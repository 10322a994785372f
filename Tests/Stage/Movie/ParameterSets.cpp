#include "Tests/Stage/Movie/ParameterSets.h"

#include <algorithm>

namespace lumicrate::stage {

namespace {

bool hasChromaFormat(std::uint32_t profile) {
    constexpr std::array profiles{100U, 110U, 122U, 244U, 44U, 83U, 86U, 118U, 128U, 138U, 139U, 134U, 135U};
    return std::find(profiles.begin(), profiles.end(), profile) != profiles.end();
}

void skipScalingList(Bits& bits, int size) {
    int last = 8;
    int next = 8;
    for (int i = 0; i < size; ++i) {
        if (next != 0) next = (last + bits.signedGolomb() + 256) % 256;
        last = next == 0 ? last : next;
    }
}

void readAvcChroma(Bits& bits, PictureFormat& format) {
    format.chromaFormat = bits.unsignedGolomb();
    if (format.chromaFormat == 3) bits.skip(1);
    format.lumaDepth = 8 + bits.unsignedGolomb();
    format.chromaDepth = 8 + bits.unsignedGolomb();
    bits.skip(1);
    if (!bits.flag()) return;
    const int lists = format.chromaFormat == 3 ? 12 : 8;
    for (int i = 0; i < lists; ++i) {
        if (bits.flag()) skipScalingList(bits, i < 6 ? 16 : 64);
    }
}

void skipPictureOrder(Bits& bits) {
    const std::uint32_t type = bits.unsignedGolomb();
    if (type == 0) bits.unsignedGolomb();
    if (type != 1) return;
    bits.skip(1);
    bits.signedGolomb();
    bits.signedGolomb();
    for (std::uint32_t count = bits.unsignedGolomb(); count > 0; --count) {
        bits.signedGolomb();
    }
}

void readUsability(Bits& bits, PictureFormat& format) {
    constexpr std::uint32_t extendedRatio = 255;
    if (bits.flag() && bits.bits(8) == extendedRatio) bits.skip(32);
    if (bits.flag()) bits.skip(1);  // overscan
    if (!bits.flag()) return;
    bits.skip(3);
    format.isFullRange = bits.flag();
    if (bits.flag()) format.colors = {bits.bits(8), bits.bits(8), bits.bits(8)};
}

// What is cut off at left, right, top and bottom, in chroma samples.
std::array<int, 4> readMargins(Bits& bits) {
    std::array<int, 4> margins{};
    if (!bits.flag()) return margins;
    for (int& each : margins) {
        each = static_cast<int>(bits.unsignedGolomb());
    }
    return margins;
}

void applyMargins(PictureFormat& format, const std::array<int, 4>& margins, int unitRows) {
    const int columns = format.chromaFormat == 1 || format.chromaFormat == 2 ? 2 : 1;
    const int rows = (format.chromaFormat == 1 ? 2 : 1) * unitRows;
    format.width -= columns * (margins[0] + margins[1]);
    format.height -= rows * (margins[2] + margins[3]);
}

}  // namespace

std::vector<std::uint8_t> unescaped(ByteSpan nal) {
    std::vector<std::uint8_t> bytes;
    int zeros = 0;
    for (const std::uint8_t byte : nal) {
        if (zeros >= 2 && byte == 3) {
            zeros = 0;
            continue;
        }
        zeros = byte == 0 ? zeros + 1 : 0;
        bytes.push_back(byte);
    }
    return bytes;
}

PictureFormat readAvcSequence(ByteSpan nal) {
    const auto bytes = unescaped(nal);
    Bits bits(bytes);
    PictureFormat format;
    bits.skip(8);
    const std::uint32_t profile = bits.bits(8);
    bits.skip(16);
    bits.unsignedGolomb();
    if (hasChromaFormat(profile)) readAvcChroma(bits, format);
    bits.unsignedGolomb();
    skipPictureOrder(bits);
    bits.unsignedGolomb();
    bits.skip(1);
    format.width = 16 * static_cast<int>(bits.unsignedGolomb() + 1);
    const int units = static_cast<int>(bits.unsignedGolomb() + 1);
    const int unitRows = bits.flag() ? 1 : 2;  // whole frames, or fields as well
    format.height = 16 * units * unitRows;
    if (unitRows == 2) bits.skip(1);
    bits.skip(1);
    applyMargins(format, readMargins(bits), unitRows);
    if (bits.flag()) readUsability(bits, format);
    return format;
}

PictureFormat readHevcSequence(ByteSpan nal) {
    constexpr std::size_t generalBits = 88;
    constexpr std::size_t levelBits = 8;
    const auto bytes = unescaped(nal);
    Bits bits(bytes);
    PictureFormat format;
    bits.skip(16 + 4);
    const std::uint32_t subLayers = bits.bits(3);
    bits.skip(1 + generalBits + levelBits);
    std::vector<std::pair<bool, bool>> told;
    for (std::uint32_t i = 0; i < subLayers; ++i) {
        const bool profile = bits.flag();
        told.emplace_back(profile, bits.flag());
    }
    if (subLayers > 0) bits.skip(2 * (8 - subLayers));
    for (const auto& [profile, level] : told) {
        bits.skip((profile ? generalBits : 0) + (level ? levelBits : 0));
    }
    bits.unsignedGolomb();
    format.chromaFormat = bits.unsignedGolomb();
    if (format.chromaFormat == 3) bits.skip(1);
    format.width = static_cast<int>(bits.unsignedGolomb());
    format.height = static_cast<int>(bits.unsignedGolomb());
    applyMargins(format, readMargins(bits), 1);
    format.lumaDepth = 8 + bits.unsignedGolomb();
    format.chromaDepth = 8 + bits.unsignedGolomb();
    return format;
}

}  // namespace lumicrate::stage
