#include "Linux/Media/MovieFile/MovieCompletion.h"

#include "Linux/Media/IsoBmff/MovieIndex.h"
#include "Linux/Media/MovieFile/RecoveryList.h"
#include "Support/Error.h"

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

/// What is written before is on the disk when the switch is, so that even a power cut leaves one of the two
/// states.
void switchOver(OutputFile& file, const Placed& header) {
    file.synchronize();
    put(file, header);
    file.synchronize();
}

std::uint64_t spaceIn(const HeadLayout& layout) {
    return layout.media - layout.room - isobmff::boxHeaderSize;
}

/// False where the index finds no room; `layout` and the media then lie where they have come to.
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
        // Mostly there is no space for a copy. The index at the end takes little.
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
    // The beginning of a fragment that was cut off.
    file.truncate(movie.mediaEnd);
    HeadLayout layout = movie.layout;
    // The room is in pieces where a crash came while it grew.
    put(file, roomHeader(layout));
    if (place == IndexPlace::front) {
        if (completeInRoom(file, movie, layout)) return;
        if (completeByCopy(file, movie, layout)) return;
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
