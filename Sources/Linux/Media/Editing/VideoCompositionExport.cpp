// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/VideoCompositionExport.h"

#include "Linux/Media/Editing/CopiedTracks.h"
#include "Linux/Media/Editing/InputMovie.h"
#include "Linux/Media/Editing/OutputMovie.h"
#include "Linux/Media/Editing/TrackWriters.h"
#include "Linux/Media/Editing/ZoomedTrack.h"
#include "Support/Error.h"

#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

extern "C" {
#include <libavutil/display.h>
}

namespace lumicrate::media {

namespace {

/// By which pictures are turned counterclockwise when they are shown.
int quarterTurns(const AVStream& stream) {
    const std::uint8_t* data = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr);
    const double degrees =
        data != nullptr ? av_display_rotation_get(reinterpret_cast<const std::int32_t*>(data)) : 0;
    return std::isnan(degrees) ? 0 : (static_cast<int>(std::lround(degrees / 90)) + 4) % 4;
}

Rect beforeTurning(Rect shown, int turns) {
    for (; turns > 0; --turns)
        shown = {1 - shown.maxY(), shown.x, shown.height, shown.width};
    return shown;
}

}  // namespace

void VideoCompositionExport::exportZoomed(const std::filesystem::path& source,
                                          const std::filesystem::path& destination, AVFileType type,
                                          const AVVideoView& view, const LongWork& work) const {
    const InputMovie input(source);
    const auto video = input.videoTrack();
    if (!video) throw PlatformError(localized("The recording has no pictures."));
    OutputMovie output(destination, type, input.duration(), work);
    TrackWriters tracks;
    const auto codedView = [&view, turns = quarterTurns(input.stream(*video))](CMTime time) {
        return beforeTurning(view(time), turns);
    };
    tracks.push_back(std::make_unique<ZoomedTrack>(input, *video, codedView));
    for (const int track : input.audioTracks())
        tracks.push_back(std::make_unique<CopiedTracks>(input, std::vector{track}, std::nullopt));
    writeMovie(output, input, tracks);
}

}  // namespace lumicrate::media
