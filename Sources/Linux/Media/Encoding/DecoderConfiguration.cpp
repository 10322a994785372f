// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/DecoderConfiguration.h"

#include "Support/Error.h"

#include <cstddef>

namespace lumicrate::media {

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t bytesOfLength = 4;
constexpr std::uint8_t chromaFormat420 = 1;

[[noreturn]] void fail() {
    throw PlatformError(localized("The video encoder's headers couldn't be understood."));
}

void append(Bytes& bytes, std::span<const std::uint8_t> more) {
    for (const std::uint8_t byte : more)
        bytes.push_back(byte);
}

void append16(Bytes& bytes, std::size_t value) {
    bytes.push_back(static_cast<std::uint8_t>(value >> 8));
    bytes.push_back(static_cast<std::uint8_t>(value & 0xff));
}

void appendUnit(Bytes& bytes, NalUnit unit) {
    append16(bytes, unit.size());
    append(bytes, unit);
}

/// The first bytes of the unit without its emulation prevention bytes.
Bytes payload(NalUnit unit, std::size_t count) {
    Bytes bytes;
    int zeros = 0;
    for (const std::uint8_t byte : unit) {
        if (bytes.size() == count) break;
        const bool isPrevention = zeros >= 2 && byte == 3;
        zeros = byte == 0 ? zeros + 1 : 0;
        if (!isPrevention) bytes.push_back(byte);
    }
    if (bytes.size() < count) fail();
    return bytes;
}

}  // namespace

std::vector<std::uint8_t> avcConfiguration(NalUnit sequence, NalUnit picture) {
    if (picture.empty()) fail();
    // The unit's header; then profile, compatibility and level.
    const Bytes head = payload(sequence, 4);
    Bytes record{1, head[1], head[2], head[3], 0xfc | (bytesOfLength - 1), 0xe0 | 1};
    appendUnit(record, sequence);
    record.push_back(1);
    appendUnit(record, picture);
    // What the High profile adds; no sequence parameter set extensions.
    append(record, Bytes{0xfc | chromaFormat420, 0xf8, 0xf8, 0});
    return record;
}

std::vector<std::uint8_t> hevcConfiguration(NalUnit video, NalUnit sequence, NalUnit picture,
                                            NalUnit secondPicture) {
    if (video.empty() || picture.empty()) fail();
    constexpr std::size_t unitHeader = 2;
    constexpr std::size_t levels = 12;  // profile, tier, compatibility, constraints and level
    const Bytes head = payload(sequence, unitHeader + 1 + levels);
    // 4 bits: number of the video parameter set; 3: number of layers less one; 1: whether layers are nested.
    const std::uint8_t layers = head[unitHeader];
    const int layerCount = (layers >> 1 & 7) + 1;
    const bool layersNest = (layers & 1) != 0;

    Bytes record{1};
    append(record, std::span(head).last(levels));
    append16(record, 0xf000);                                         // slice sizes not specified
    append(record, Bytes{0xfc, 0xfc | chromaFormat420, 0xf8, 0xf8});  // parallelism not specified; 8 bits
    append16(record, 0);                                              // frame rate not specified
    record.push_back(static_cast<std::uint8_t>(layerCount << 3 | (layersNest ? 4 : 0) | (bytesOfLength - 1)));
    constexpr std::uint8_t complete = 0x80;  // samples contain none of this type
    record.push_back(3);
    for (const NalUnit unit : {video, sequence, picture}) {
        record.push_back(static_cast<std::uint8_t>(complete | (unit[0] >> 1 & 0x3f)));
        const bool hasSecond = unit.data() == picture.data() && !secondPicture.empty();
        append16(record, hasSecond ? 2 : 1);
        appendUnit(record, unit);
        if (hasSecond) appendUnit(record, secondPicture);
    }
    return record;
}

}  // namespace lumicrate::media
