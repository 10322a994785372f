#include "Linux/Media/MovieFile/ForeignSummary.h"

#include "Linux/Media/MovieFile/InputContainer.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/display.h>
}

namespace lumicrate::media {

namespace {

constexpr int mostProbed = 1'000'000;

bool isTurned(const AVStream& stream) {
    const auto* matrix = reinterpret_cast<const std::int32_t*>(
        av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr));
    if (matrix == nullptr) return false;
    const double turn = av_display_rotation_get(matrix);
    return std::isfinite(turn) && std::lround(turn / 90) % 2 != 0;
}

Size shownSize(AVFormatContext* input, AVStream* stream) {
    Size size{static_cast<double>(stream->codecpar->width), static_cast<double>(stream->codecpar->height)};
    const AVRational pixel = av_guess_sample_aspect_ratio(input, stream, nullptr);
    if (pixel.num > 0 && pixel.den > 0) size.width *= av_q2d(pixel);
    if (isTurned(*stream)) std::swap(size.width, size.height);
    return size;
}

/// The name that goes with the format in the recorder's own files, where it has one.
std::string subtype(AVCodecID codec) {
    if (codec == AV_CODEC_ID_H264) return "avc1";
    if (codec == AV_CODEC_ID_HEVC) return "hvc1";
    return avcodec_get_name(codec);
}

}  // namespace

std::optional<AVAssetSummary> summaryOfForeignMovie(const std::filesystem::path& url) {
    InputContainer input;
    if (openContainer(url, mostProbed, input) < 0 || avformat_find_stream_info(input.get(), nullptr) < 0)
        return std::nullopt;
    AVAssetSummary asset;
    for (unsigned int i = 0; i < input->nb_streams; ++i) {
        AVStream* stream = input->streams[i];
        const AVMediaType type = stream->codecpar->codec_type;
        if (type == AVMEDIA_TYPE_AUDIO) ++asset.audioTracks;
        if (type != AVMEDIA_TYPE_VIDEO || asset.videoSize) continue;
        asset.videoSize = shownSize(input.get(), stream);
        asset.videoSubtype = subtype(stream->codecpar->codec_id);
    }
    if (asset.audioTracks == 0 && !asset.videoSize) return std::nullopt;
    if (input->duration != AV_NOPTS_VALUE) {
        asset.duration = static_cast<double>(std::max<std::int64_t>(input->duration, 0)) / AV_TIME_BASE;
    }
    return asset;
}

}  // namespace lumicrate::media
