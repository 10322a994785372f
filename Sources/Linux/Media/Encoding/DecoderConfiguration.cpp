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

/// The first bytes of what the unit says, without those that only keep it from looking like a start code.
Bytes payload(NalUnit unit, std::size_t count) {
    Bytes bytes;
    int zeros = 0;
    for (const std::uint8_t byte : unit) {
        if (bytes.size() == count) break;
        const bool isGuard = zeros >= 2 && byte == 3;
        zeros = byte == 0 ? zeros + 1 : 0;
        if (!isGuard) bytes.push_back(byte);
    }
    if (bytes.size() < count) fail();
    return bytes;
}

}  // namespace

std::vector<std::uint8_t> avcConfiguration(NalUnit sequence, NalUnit picture) {
    if (picture.empty()) fail();
    // The unit's type; then profile, compatibility and level, as the record wants them.
    const Bytes head = payload(sequence, 4);
    Bytes record{1, head[1], head[2], head[3], 0xfc | (bytesOfLength - 1), 0xe0 | 1};
    appendUnit(record, sequence);
    record.push_back(1);
    appendUnit(record, picture);
    // The High profile's tail: no extensions of the sequence parameter set.
    append(record, Bytes{0xfc | chromaFormat420, 0xf8, 0xf8, 0});
    return record;
}

std::vector<std::uint8_t> hevcConfiguration(NalUnit video, NalUnit sequence, NalUnit picture) {
    if (video.empty() || picture.empty()) fail();
    constexpr std::size_t unitHeader = 2;
    constexpr std::size_t levels = 12;  // profile, tier, compatibility, constraints and level
    const Bytes head = payload(sequence, unitHeader + 1 + levels);
    // Four bits of number, three of the layers' count less one, one whether they nest.
    const std::uint8_t layers = head[unitHeader];
    const int layerCount = (layers >> 1 & 7) + 1;
    const bool layersNest = (layers & 1) != 0;

    Bytes record{1};
    append(record, std::span(head).last(levels));
    append16(record, 0xf000);                                         // no word on the size of slices
    append(record, Bytes{0xfc, 0xfc | chromaFormat420, 0xf8, 0xf8});  // nor on parallel decoding; 8 bits
    append16(record, 0);                                              // nor on the frame rate
    record.push_back(static_cast<std::uint8_t>(layerCount << 3 | (layersNest ? 4 : 0) | (bytesOfLength - 1)));
    constexpr std::uint8_t complete = 0x80;  // none of the kind is in the samples
    record.push_back(3);
    for (const NalUnit unit : {video, sequence, picture}) {
        record.push_back(static_cast<std::uint8_t>(complete | (unit[0] >> 1 & 0x3f)));
        append16(record, 1);
        appendUnit(record, unit);
    }
    return record;
}

}  // namespace lumicrate::media
