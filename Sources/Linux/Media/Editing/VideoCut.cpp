#include "Linux/Media/Editing/VideoCut.h"

#include "Linux/Media/Editing/MendedTrack.h"
#include "Linux/Media/Editing/RangeKeys.h"
#include "Linux/Media/Editing/RecodedTrack.h"
#include "Linux/Media/Editing/TrackCopy.h"

namespace lumicrate::media {

namespace {

AVCodecID codecOf(AVAssetExportPreset preset) {
    return preset == AVAssetExportPreset::hevcHighestQuality ? AV_CODEC_ID_HEVC : AV_CODEC_ID_H264;
}

}  // namespace

std::unique_ptr<TrackWriter> makeVideoCut(const InputMovie& source, int track, AVAssetExportPreset preset,
                                          const CMTimeRange& range) {
    const AVStream& stream = source.stream(track);
    const AVCodecID codec = codecOf(preset);
    const RangeKeys keys = RangeKeys::find(source, track, range);
    if (!keys.reordered && stream.codecpar->codec_id == codec) {
        if (keys.startsOnKey) return std::make_unique<CopiedTracks>(source, std::vector{track}, range);
        if (auto mended = MendedTrack::make(source, track, range, keys.next.get())) return mended;
    }
    return std::make_unique<RecodedTrack>(source, track, codec, range);
}

}  // namespace lumicrate::media
