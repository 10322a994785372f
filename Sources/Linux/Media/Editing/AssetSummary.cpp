// SPDX-License-Identifier: GPL-3.0-or-later
// Assets::summary: duration, size and tracks of a movie file, read from its headers.
#include "Linux/Media/Editing/Assets.h"
#include "Linux/Media/Editing/InputFile.h"
#include "Linux/Media/Input/InputSample.h"
#include "Linux/Media/IsoBmff/MovieSummary.h"
#include "Linux/Media/Libav.h"
#include "Support/Error.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <utility>
#include <variant>

extern "C" {
#include <libavutil/display.h>
}

namespace lumicrate::media {

namespace {

using isobmff::fourCC;
using isobmff::FourCC;

std::string letters(FourCC type) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text += static_cast<char>(type >> shift & 0xFF);
    return text;
}

AVAssetSummary toAsset(const isobmff::MovieSummary& movie) {
    AVAssetSummary asset;
    asset.duration = movie.duration;
    for (const isobmff::TrackSummary& each : movie.tracks) {
        if (each.mimeType == inputMimeType) asset.recordedInput = true;
        if (each.kind == fourCC("soun")) ++asset.audioTracks;
        if (each.kind != fourCC("vide") || asset.videoSize) continue;
        asset.videoSize = Size{each.width, each.height};
        asset.videoSubtype = letters(each.format);
    }
    return asset;
}

constexpr int maxProbed = 1'000'000;

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

/// As the recorder's own files name the format, where they have it.
std::string subtype(AVCodecID codec) {
    if (codec == AV_CODEC_ID_H264) return "avc1";
    if (codec == AV_CODEC_ID_HEVC) return "hvc1";
    return avcodec_get_name(codec);
}

/// For files in other containers, such as Matroska; nothing if it has neither pictures nor sound.
std::optional<AVAssetSummary> summaryOfForeignMovie(const std::filesystem::path& url) {
    InputContainer input;
    if (input.open(url, maxProbed) < 0 || avformat_find_stream_info(input.get(), nullptr) < 0)
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

}  // namespace

AVAssetSummary Assets::summary(const std::filesystem::path& url) const {
    const InputFile source(url);
    const isobmff::SummaryReading reading = isobmff::readMovieSummary(source);
    if (const auto* movie = std::get_if<isobmff::MovieSummary>(&reading)) return toAsset(*movie);
    if (std::holds_alternative<isobmff::CutOffMovie>(reading)) failToRead(url, localized("it is cut off."));
    if (const auto foreign = summaryOfForeignMovie(url)) return *foreign;
    failToRead(url, localized("it isn't a movie."));
}

}  // namespace lumicrate::media
