// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/PictureTimes.h"

#include "Linux/Media/Editing/InputMovie.h"

#include <algorithm>
#include <cstdint>

namespace lumicrate::media {

namespace {

/// The decoding times of the head, which are those of the presentation unless pictures are reordered.
std::vector<std::int64_t> indexedTimes(const AVStream& stream) {
    std::vector<std::int64_t> times;
    // The library takes no const stream, but changes nothing.
    auto* indexed = const_cast<AVStream*>(&stream);
    const int count = avformat_index_get_entries_count(indexed);
    times.reserve(static_cast<std::size_t>(std::max(count, 0)));
    for (int i = 0; i < count; ++i) {
        const AVIndexEntry& entry = *avformat_index_get_entry(indexed, i);
        if ((entry.flags & AVINDEX_DISCARD_FRAME) == 0) times.push_back(entry.timestamp);
    }
    return times;
}

std::vector<std::int64_t> packetTimes(InputMovie& movie, int track) {
    std::vector<std::int64_t> times;
    movie.select({track});
    const OwnedPacket packet = makePacket();
    while (movie.read(*packet)) {
        if (packet->pts != AV_NOPTS_VALUE && (packet->flags & AV_PKT_FLAG_DISCARD) == 0)
            times.push_back(packet->pts);
    }
    return times;
}

}  // namespace

std::vector<CMTime> pictureTimesOf(const std::filesystem::path& url) {
    InputMovie movie(url, InputMovie::Look::atHead);
    const auto track = movie.videoTrack();
    if (!track) return {};
    const AVStream& stream = movie.stream(*track);
    const bool isOrdered = stream.codecpar->video_delay == 0;
    std::vector<std::int64_t> ticks;
    if (isOrdered && stream.nb_frames > 0) ticks = indexedTimes(stream);
    if (ticks.empty()) ticks = packetTimes(movie, *track);
    std::sort(ticks.begin(), ticks.end());
    std::vector<CMTime> times;
    times.reserve(ticks.size());
    const AVRational base = stream.time_base;
    for (const std::int64_t tick : ticks) {
        // What an edit hides before the start has negative times.
        if (tick >= 0) times.push_back(CMTime(tick * base.num, base.den));
    }
    return times;
}

}  // namespace lumicrate::media
