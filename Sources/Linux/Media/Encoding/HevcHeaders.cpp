// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/HevcHeaders.h"

#include <algorithm>
#include <bit>

namespace lumicrate::media {

namespace {

constexpr std::uint32_t predictedSlice = 1;
constexpr std::uint32_t intraSlice = 2;
constexpr std::uint32_t keyPicture = 19;  // NAL unit types
constexpr std::uint32_t keyPictureAlone = 20;
constexpr std::uint32_t patchSet = 1;
constexpr std::uint32_t trailingPicture = 1;  // NAL unit type of pictures that others refer to
constexpr std::uint32_t pictureSet = 34;

void beginUnit(BitWriter& unit, std::uint32_t type) {
    unit.bits(type << 1, 8);
    unit.bits(1, 8);  // the base layer
}

/// Profile, tier and level of a stream without layers.
void skipProfile(BitReader& reader) {
    reader.take(32);
    reader.take(32);
    reader.take(32);
}

void writePlace(BitWriter& unit, const HevcSequence& sequence, const HevcPlace& place) {
    unit.bits(static_cast<std::uint32_t>(place.number) & ((1U << sequence.orderBits) - 1),
              sequence.orderBits);
    unit.flag(false);  // the references are not those of the sequence parameter set
    unit.number(place.kept ? 2 : 1);
    unit.number(0);  // none is shown later
    unit.number(static_cast<std::uint32_t>(place.reference - 1));
    unit.flag(true);
    if (!place.kept) return;
    unit.number(static_cast<std::uint32_t>(*place.kept - place.reference - 1));
    unit.flag(false);
}

/// Where the rows of blocks begin in the slice's data.
void copyEntryPoints(BitReader& from, BitWriter& to) {
    const std::uint32_t count = from.number();
    to.number(count);
    if (count == 0) return;
    const std::uint32_t length = from.number();
    to.number(length);
    for (std::uint32_t i = 0; i < count && !from.isPastEnd(); ++i)
        to.bits(from.take(static_cast<int>(length) + 1), static_cast<int>(length) + 1);
}

/// Copies the end of a slice header, and the slice's data. Returns whether the header ends there.
bool appendCopied(std::vector<std::uint8_t>& sample, std::span<const std::uint8_t> slice,
                  const HevcSequence& sequence, BitReader& reader, BitWriter& head) {
    if (sequence.wavefronts) copyEntryPoints(reader, head);
    const bool isAligned = reader.flag();
    head.align();
    const std::size_t length = (reader.position() + 7) / 8;
    if (!isAligned || reader.isPastEnd()) return false;
    appendNalUnit(sample, head.bytes(), slice.subspan(reader.rawLength(length)));
    return true;
}

/// Limited, so that a damaged number can be computed with.
int limitedNumber(BitReader& reader) {
    constexpr std::uint32_t limit = 1U << 16U;
    return static_cast<int>(std::min<std::uint32_t>(reader.number(), limit));
}

/// Whether a sequence parameter set has only features that are supported.
bool parseSequence(std::span<const std::uint8_t> unit, HevcSequence& sequence) {
    BitReader reader(unit, 256);
    reader.take(16);                     // NAL unit header
    reader.take(4);                      // the video parameter set
    bool isKnown = reader.take(3) == 0;  // layers
    reader.take(1);
    skipProfile(reader);
    isKnown &= reader.number() == 0;  // this set's number
    isKnown &= reader.number() == 1;  // 4:2:0
    sequence.width = limitedNumber(reader);
    sequence.height = limitedNumber(reader);
    if (reader.flag()) {  // cropping
        for (int side = 0; side < 4; ++side)
            reader.number();
    }
    isKnown &= reader.number() == 0;  // 8 bits of luma
    isKnown &= reader.number() == 0;  // and chroma
    sequence.orderBits = limitedNumber(reader) + 4;
    reader.take(1);
    isKnown &= reader.number() >= 2;  // two references are kept
    isKnown &= reader.number() == 0;  // none is shown later
    reader.number();
    isKnown &= reader.number() == 0;  // the smallest blocks have 8 pixels
    sequence.log2Tree = 3 + limitedNumber(reader);
    isKnown &= reader.number() == 0;  // the smallest transforms have 4
    isKnown &= reader.number() >= 1;  // there are those of 8
    isKnown &= reader.number() == 0;  // transforms are as large as blocks
    isKnown &= reader.number() == 0;
    isKnown &= !reader.flag();        // scaling lists
    reader.take(1);                   // asymmetric partitions
    isKnown &= !reader.flag();        // sample adaptive offsets
    isKnown &= !reader.flag();        // uncoded blocks
    isKnown &= reader.number() == 0;  // lists of references
    isKnown &= !reader.flag();        // long-term references
    sequence.temporalMotion = reader.flag();
    return isKnown && sequence.log2Tree <= 6 && sequence.orderBits <= 16 && !reader.isPastEnd();
}

/// The same for a picture parameter set.
bool parsePicture(std::span<const std::uint8_t> unit, HevcSequence& sequence) {
    BitReader reader(unit, 256);
    reader.take(16);
    bool isKnown = reader.number() == 0;  // this set's number
    isKnown &= reader.number() == 0;      // the sequence parameter set
    isKnown &= reader.take(5) == 0;       // dependent slices, hidden pictures, extra bits
    reader.take(1);                       // hidden signs
    isKnown &= !reader.flag();            // other contexts
    reader.number();                      // references
    reader.number();
    reader.signedNumber();               // the quantizer
    reader.take(2);                      // constrained intra prediction, transforms left out
    if (reader.flag()) reader.number();  // quantizers of blocks
    reader.signedNumber();               // of chroma
    reader.signedNumber();
    isKnown &= reader.take(2) == 0;  // quantizers of slices' chroma, weights
    reader.take(2);                  // weights of pictures predicted from two, lossless blocks
    isKnown &= !reader.flag();       // tiles
    sequence.wavefronts = reader.flag();
    sequence.filterFlag = reader.flag();
    if (reader.flag()) {            // deblocking:
        isKnown &= !reader.flag();  // not for single slices
        const bool isOff = reader.flag();
        if (isOff) sequence.filterFlag = false;
        if (!isOff) {
            reader.signedNumber();
            reader.signedNumber();
        }
    }
    isKnown &= !reader.flag();  // scaling lists
    isKnown &= !reader.flag();  // reordered references
    reader.number();            // merging
    isKnown &= !reader.flag();  // extensions of slices
    return isKnown && !reader.isPastEnd();
}

}  // namespace

std::optional<HevcSequence> parseHevcSequence(std::span<const std::uint8_t> sequence,
                                              std::span<const std::uint8_t> picture) {
    HevcSequence parsed;
    if (!parseSequence(sequence, parsed) || !parsePicture(picture, parsed)) return std::nullopt;
    return parsed;
}

std::vector<std::uint8_t> patchParameterSet() {
    BitWriter set;
    beginUnit(set, pictureSet);
    set.number(patchSet);
    set.number(0);  // the sequence parameter set
    set.bits(
        0,
        2 + 3 + 2);  // none of: dependent slices, hidden pictures, extra bits, hidden signs, other contexts
    set.number(0);   // one reference
    set.number(0);
    set.signedNumber(0);  // the quantizer is relative to 26
    // Constrained intra prediction, transforms left out, quantizers of blocks.
    set.bits(2, 3);
    set.signedNumber(0);  // chroma has the quantizer of luma
    set.signedNumber(0);
    // None of: quantizers of slices' chroma, weights (two kinds), lossless blocks, tiles, wavefronts, filters
    // across slices.
    set.bits(0, 7);
    set.flag(true);   // deblocking:
    set.flag(false);  // not for single slices
    set.flag(true);   // off
    set.flag(false);  // scaling lists
    set.flag(false);  // reordered references
    set.number(0);    // merging
    set.flag(false);  // extensions of slices
    set.flag(false);  // and of this
    set.align();
    return set.bytes();
}

void beginPatch(BitWriter& unit, const HevcSequence& sequence, const HevcPlace& place, int candidates,
                int quantizer) {
    beginUnit(unit, trailingPicture);
    unit.flag(true);  // the first slice
    unit.number(patchSet);
    unit.number(predictedSlice);
    writePlace(unit, sequence, place);
    if (sequence.temporalMotion) unit.flag(false);
    unit.flag(false);  // as many references as the picture parameter set says
    unit.number(static_cast<std::uint32_t>(5 - candidates));
    unit.signedNumber(quantizer - patchBaseQuantizer);
    unit.align();
}

void beginKeyPicture(BitWriter& unit, int quantizer) {
    beginUnit(unit, keyPictureAlone);
    unit.flag(true);   // the first slice
    unit.flag(false);  // earlier pictures are shown
    unit.number(patchSet);
    unit.number(intraSlice);
    unit.signedNumber(quantizer - patchBaseQuantizer);
    unit.align();
}

bool appendWithPlace(std::vector<std::uint8_t>& sample, std::span<const std::uint8_t> slice,
                     const HevcSequence& sequence, const HevcPlace& place) {
    BitReader reader(slice, 4096);
    bool isKnown = reader.take(8) >> 1 == trailingPicture;
    reader.take(8);
    isKnown &= reader.flag();         // the first slice
    isKnown &= reader.number() == 0;  // the picture parameter set
    isKnown &= reader.number() == predictedSlice;
    reader.take(sequence.orderBits);
    isKnown &= !reader.flag();  // the references are not those of the sequence parameter set
    const std::uint32_t references = reader.number();
    isKnown &= references >= 1;
    isKnown &= reader.number() == 0;
    isKnown &= reader.number() == 0 && reader.flag();  // the picture before
    for (std::uint32_t i = 1; i < references && !reader.isPastEnd(); ++i) {
        reader.number();  // others are kept but not used
        reader.flag();
    }
    if (!isKnown) return false;

    BitWriter head;
    beginUnit(head, trailingPicture);
    head.flag(true);
    head.number(0);
    head.number(predictedSlice);
    writePlace(head, sequence, place);
    if (sequence.temporalMotion) head.flag(reader.flag());
    const bool hasCount = reader.flag();
    if (hasCount && reader.number() != 0) return false;
    head.flag(hasCount);
    if (hasCount) head.number(0);
    head.number(reader.number());  // candidates of motion
    head.signedNumber(reader.signedNumber());
    if (sequence.filterFlag) head.flag(reader.flag());
    return appendCopied(sample, slice, sequence, reader, head);
}

bool appendBand(std::vector<std::uint8_t>& sample, std::span<const std::uint8_t> slice,
                const HevcSequence& from, const HevcSequence& sequence, int top) {
    BitReader reader(slice, 4096);
    const std::uint32_t type = reader.take(8) >> 1;
    bool isKnown = type == keyPicture || type == keyPictureAlone;
    reader.take(8);
    isKnown &= reader.flag();  // the first slice
    const bool forgets = reader.flag();
    isKnown &= reader.number() == 0;  // the picture parameter set
    isKnown &= reader.number() == intraSlice;
    if (!isKnown) return false;

    BitWriter head;
    beginUnit(head, type);
    head.flag(top == 0);
    head.flag(forgets);
    head.number(0);
    if (top > 0) {
        const int tree = 1 << sequence.log2Tree;
        const int columns = (sequence.width + tree - 1) / tree;
        const int rows = (sequence.height + tree - 1) / tree;
        head.bits(static_cast<std::uint32_t>(top / tree * columns),
                  std::bit_width(static_cast<unsigned>(columns * rows - 1)));
    }
    head.number(intraSlice);
    head.signedNumber(reader.signedNumber());
    if (from.filterFlag) reader.flag();
    if (sequence.filterFlag) head.flag(false);  // bands were filtered without their neighbours
    if (sequence.wavefronts && !from.wavefronts) head.number(0);
    return appendCopied(sample, slice, from, reader, head);
}

}  // namespace lumicrate::media
