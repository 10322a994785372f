// SPDX-License-Identifier: GPL-3.0-or-later
// The head of a movie file: what precedes the media, while the movie is in progress and when it is finished.
//
//     in progress                              finished
//     ftyp                                     ftyp
//     free: the mark                           free: the mark
//     moov: no samples                         free: the former two
//     free: the room                           moov: the complete index
//                                              free: the rest of the room
//                                              mdat, to the file's end
//     moof mdat moof mdat …                        (moof mdat moof mdat …)
//
// While the movie is in progress, each fragment describes its own samples, so what has been written can be
// played at any time. To finish it, the index is written into the room, which readers skip, followed by the
// header of an "mdat" that contains all fragments. Then a single write of eight bytes over the header of the
// old index turns it and the header of the room into one free box: the file changes state atomically, and the
// media is not moved.
//
// The room is doubled by inserting space at its end. Before, the header of a free box is written where the
// insertion will move it, so that the boxes are valid before and after. For example, a room of 28 KiB grows
// by 24 KiB (whole blocks without the room's own header):
//
//     before      free 28 KiB …                         moof …
//     prepared    free 28 KiB … [header: free 24 KiB]   moof …
//     inserted    free 28 KiB …  24 KiB of zeros  header, data: free 24 KiB   moof …
//
// roomHeader() then makes one box of both.
#pragma once

#include "Linux/Media/IsoBmff/MovieDescription.h"
#include "Linux/Media/IsoBmff/SampleTable.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace lumicrate::isobmff {

/// The media begins at a multiple of this, because file systems insert whole blocks only.
inline constexpr std::uint64_t blockSize = 4096;

/// Offsets in a movie in progress, bytes.
struct HeadLayout {
    std::uint64_t index = 0;  ///< the empty index
    std::uint64_t room = 0;   ///< the free box before the media
    std::uint64_t media = 0;  ///< the first fragment, right behind the room

    bool operator==(const HeadLayout&) const = default;
};

struct Head {
    std::vector<std::uint8_t> bytes;
    HeadLayout layout;
};

/// Bytes and their offset in the file.
struct Placed {
    std::uint64_t offset = 0;
    std::vector<std::uint8_t> bytes;
};

/// The head of a movie in progress, `size` bytes long: a multiple of blockSize, enlarged if the empty index
/// does not fit.
Head makeHead(const MovieDescription& movie, const MovieIdentifier& identifier, std::uint64_t size);
/// The beginning of every file written here: "ftyp" and the mark.
std::vector<std::uint8_t> makeMark(Brand brand, const MovieIdentifier& identifier);

/// The content of the room of a finished movie whose media ends at `mediaEnd`: the index, a free box for the
/// rest, and the header of the media. Nothing if the index does not fit.
std::optional<Placed> fillRoom(const HeadLayout& layout, std::span<const std::uint8_t> index,
                               std::uint64_t mediaEnd);
/// The eight bytes that switch a file with a filled room from in progress to finished.
Placed switchToFinished(const HeadLayout& layout);

/// By how many bytes the room can grow at once; 0 if it is too small to grow.
std::uint64_t growth(const HeadLayout& layout);
/// The header to write before growth() bytes are inserted at its offset.
Placed prepareGrowth(const HeadLayout& layout);
/// The layout after the insertion. The room then consists of two boxes.
HeadLayout grown(const HeadLayout& layout);
/// The header that makes the room a single box.
Placed roomHeader(const HeadLayout& layout);

/// The head of a finished movie whose media is copied behind it; its length is a multiple of blockSize.
/// `mediaEnd` and `layout` are those of the movie in progress.
std::vector<std::uint8_t> makeFinishedHead(const MovieDescription& movie, const MovieIdentifier& identifier,
                                           std::span<const SampleTable> tables, const HeadLayout& layout,
                                           std::uint64_t mediaEnd);

/// The same eight bytes for an index at the end of the file: they make one free box of the empty index and
/// the room, up to the header of the media.
Placed switchToFinishedBehind(const HeadLayout& layout);
/// The header of the media, at the end of the room.
Placed mediaHeader(const HeadLayout& layout, std::uint64_t mediaEnd);

}  // namespace lumicrate::isobmff
