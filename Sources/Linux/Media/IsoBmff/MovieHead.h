// The head of a movie file: what stands before the media, while the movie is being written and when it is
// finished.
//
//     in progress                              finished
//     ftyp                                     ftyp
//     free: the mark                           free: the mark
//     moov: no samples                         free: what these two were
//     free: the room                           moov: the whole index
//                                              free: the rest of the room
//                                              mdat, to the file's end
//     moof mdat moof mdat …                        (moof mdat moof mdat …)
//
// While the movie is in progress its fragments tell of their own samples, so that whatever has been written
// can be played at any time. To finish it, the index is written into the room, where nobody sees it, and with
// it the header of an "mdat" that takes all fragments in. One write of eight bytes over the header of the old
// index then turns that and the header of the room into one box to be skipped: the file goes from one state
// to the other at once, and the media stays where it is.
//
// The room is doubled by inserting as many bytes as it must have to spare: a header of a free box of that
// size is put where the insertion will push it, so that the boxes are whole before and after.
#pragma once

#include "Linux/Media/IsoBmff/MovieDescription.h"
#include "Linux/Media/IsoBmff/SampleTable.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace lumicrate::isobmff {

/// The media begins at a multiple of this: file systems insert whole blocks only.
inline constexpr std::uint64_t blockSize = 4096;

/// Where things lie while the movie is in progress; bytes from the file's beginning.
struct HeadLayout {
    std::uint64_t index = 0;  ///< the empty index
    std::uint64_t room = 0;   ///< the box that is the room
    std::uint64_t media = 0;  ///< the first fragment, and the end of the room

    bool operator==(const HeadLayout&) const = default;
};

struct Head {
    std::vector<std::uint8_t> bytes;
    HeadLayout layout;
};

/// Some bytes and where they belong.
struct Placed {
    std::uint64_t offset = 0;
    std::vector<std::uint8_t> bytes;
};

/// The head of a movie in progress, `size` bytes long: a multiple of blockSize that the empty index fits
/// into.
Head makeHead(const MovieDescription& movie, const MovieIdentifier& identifier, std::uint64_t size);
/// The beginning that every file written here has: "ftyp" and the mark.
std::vector<std::uint8_t> makeMark(Brand brand, const MovieIdentifier& identifier);

/// What fills the room of a finished movie whose media ends at `mediaEnd`: the index, a box for the rest, and
/// the header of the media. Nothing if the index does not fit.
std::optional<Placed> fillRoom(const HeadLayout& layout, std::span<const std::uint8_t> index,
                               std::uint64_t mediaEnd);
/// The eight bytes that switch a file whose room is filled from in progress to finished.
Placed switchToFinished(const HeadLayout& layout);

/// How many bytes the room can be grown by at once; 0 when it is too small to be grown.
std::uint64_t growth(const HeadLayout& layout);
/// The header to be written before `growth` bytes are inserted at its place.
Placed prepareGrowth(const HeadLayout& layout);
/// How things lie after the insertion; the room then has two boxes.
HeadLayout grown(const HeadLayout& layout);
/// The header that makes one box of the room.
Placed roomHeader(const HeadLayout& layout);

/// The head of a finished movie of its own, for media that is copied behind it: a multiple of blockSize.
/// `mediaEnd` and `layout` are those of the movie in progress.
std::vector<std::uint8_t> makeFinishedHead(const MovieDescription& movie, const MovieIdentifier& identifier,
                                           std::span<const SampleTable> tables, const HeadLayout& layout,
                                           std::uint64_t mediaEnd);

/// The eight bytes that make one box of the empty index and all the room but for the header of the media,
/// when the index is at the end of the file.
Placed switchToFinishedBehind(const HeadLayout& layout);
/// The header of the media, at the end of the room.
Placed mediaHeader(const HeadLayout& layout, std::uint64_t mediaEnd);

}  // namespace lumicrate::isobmff
