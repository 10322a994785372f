// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/MovieFile/MovieCompletion.h"

#include "Linux/Media/IsoBmff/MovieIndex.h"
#include "Linux/Media/MovieFile/MovieRecovery.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <optional>
#include <vector>

namespace lumicrate::media {

namespace {

using isobmff::HeadLayout;
using isobmff::Placed;
using isobmff::UnfinishedMovie;

void put(OutputFile& file, const Placed& placed) {
    file.write(placed.offset, placed.bytes);
}

/// Syncs before and after, so that even a power cut leaves one of the two states.
void switchOver(OutputFile& file, const Placed& header) {
    file.synchronize();
    put(file, header);
    file.synchronize();
}

std::uint64_t spaceIn(const HeadLayout& layout) {
    return layout.media - layout.room - isobmff::boxHeaderSize;
}

/// Returns false when the index does not fit; the room may have been grown by then, and `layout` with it.
bool completeInRoom(OutputFile& file, const UnfinishedMovie& movie, HeadLayout& layout) {
    for (;;) {
        const std::uint64_t shift = layout.media - movie.layout.media;
        const std::vector<std::uint8_t> index =
            makeIndex(movie.description, movie.tracks, static_cast<std::int64_t>(shift));
        if (const std::optional<Placed> filled = fillRoom(layout, index, movie.mediaEnd + shift)) {
            put(file, *filled);
            switchOver(file, switchToFinished(layout));
            return true;
        }
        do {
            if (!growRoom(file, layout)) return false;
        } while (spaceIn(layout) < index.size());
    }
}

bool completeByCopy(OutputFile& file, const UnfinishedMovie& movie, const HeadLayout& layout) {
    const std::uint64_t mediaEnd = movie.mediaEnd + layout.media - movie.layout.media;
    try {
        file.replaceByCopy(
            makeFinishedHead(movie.description, movie.identifier, movie.tracks, movie.layout, movie.mediaEnd),
            layout.media, mediaEnd, temporaryName(file, movie.identifier));
        return true;
    } catch (const PlatformError&) {
        // Usually the disk is too full for a copy; an index at the end takes little space.
        return false;
    }
}

void completeBehind(OutputFile& file, const UnfinishedMovie& movie, const HeadLayout& layout) {
    const std::uint64_t shift = layout.media - movie.layout.media;
    const std::uint64_t mediaEnd = movie.mediaEnd + shift;
    const std::vector<std::uint8_t> index =
        makeIndex(movie.description, movie.tracks, static_cast<std::int64_t>(shift));
    file.write(mediaEnd, index);
    put(file, mediaHeader(layout, mediaEnd));
    switchOver(file, switchToFinishedBehind(layout));
}

}  // namespace

void completeMovie(OutputFile& file, const UnfinishedMovie& movie, IndexPlace place) {
    // Drops the beginning of a fragment that was cut off.
    file.truncate(movie.mediaEnd);
    HeadLayout layout = movie.layout;
    // After a crash while it grew, the room consists of several boxes.
    put(file, roomHeader(layout));
    if (place == IndexPlace::front) {
        if (completeInRoom(file, movie, layout))
            return log(LogArea::movie, "index in the room before the media");
        if (completeByCopy(file, movie, layout)) return log(LogArea::movie, "index in front, in a copy");
        log(LogArea::movie, "no space for a copy: the index goes to the end");
    }
    completeBehind(file, movie, layout);
}

bool growRoom(OutputFile& file, HeadLayout& layout) {
    const std::uint64_t length = isobmff::growth(layout);
    if (length == 0) return false;
    const Placed header = isobmff::prepareGrowth(layout);
    put(file, header);
    if (!file.insertRange(header.offset, length)) return false;
    layout = isobmff::grown(layout);
    put(file, isobmff::roomHeader(layout));
    return true;
}

std::string temporaryName(const OutputFile& file, const isobmff::MovieIdentifier& identifier) {
    return ".finish-" + hexadecimal(identifier) + file.path().extension().string();
}

}  // namespace lumicrate::media
