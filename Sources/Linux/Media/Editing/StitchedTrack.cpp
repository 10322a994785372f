// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/StitchedTrack.h"

#include "Linux/Media/Editing/CopiedTracks.h"
#include "Linux/Media/Editing/PictureReader.h"
#include "Linux/Media/Editing/RecordedPictures.h"

#include <cstddef>
#include <span>
#include <utility>
#include <vector>

namespace lumicrate::media {

namespace {

/// A decoded picture in NV12, as the recorder's encoders take it.
class Nv12Picture {
 public:
    const CVPixelBuffer& of(const AVFrame& frame) {
        const auto width = static_cast<std::size_t>(frame.width / 2);
        const auto height = static_cast<std::size_t>(frame.height / 2);
        chroma_.resize(width * height * 2);
        for (std::size_t row = 0; row < height; ++row) {
            const std::uint8_t* cb = frame.data[1] + static_cast<std::ptrdiff_t>(row) * frame.linesize[1];
            const std::uint8_t* cr = frame.data[2] + static_cast<std::ptrdiff_t>(row) * frame.linesize[2];
            std::uint8_t* to = chroma_.data() + row * width * 2;
            for (std::size_t i = 0; i < width; ++i) {
                to[2 * i] = cb[i];
                to[2 * i + 1] = cr[i];
            }
        }
        picture_.width = frame.width;
        picture_.height = frame.height;
        picture_.luma = frame.data[0];
        picture_.lumaStride = frame.linesize[0];
        picture_.chroma = chroma_.data();
        picture_.chromaStride = frame.width;
        return picture_;
    }

 private:
    CVPixelBuffer picture_;
    std::vector<std::uint8_t> chroma_;
};

}  // namespace

std::unique_ptr<StitchedTrack> StitchedTrack::make(const InputMovie& source, int track, CMTimeRange range,
                                                   const AVPacket* nextKey) {
    const AVCodecParameters& parameters = *source.stream(track).codecpar;
    if (nextKey != nullptr && !isInstantRefresh(parameters, *nextKey)) return nullptr;
    std::unique_ptr<VideoEncoder> encoder = matchingEncoder(parameters);
    if (!encoder) return nullptr;
    std::optional<int> idrId;
    if (nextKey != nullptr)
        idrId = idrPictureId(parameters, {nextKey->data, static_cast<std::size_t>(nextKey->size)});
    return std::unique_ptr<StitchedTrack>(new StitchedTrack(source, track, range, std::move(encoder), idrId));
}

StitchedTrack::StitchedTrack(const InputMovie& source, int track, CMTimeRange range,
                             std::unique_ptr<VideoEncoder> encoder, std::optional<int> nextIdrId)
    : source_(source),
      path_(source.path()),
      track_(track),
      range_(range),
      encoder_(std::move(encoder)),
      nextIdrId_(nextIdrId) {}

void StitchedTrack::addTo(OutputMovie& movie) {
    movie_ = &movie;
    to_ = movie.addCopy(source_, track_, source_.packetCount(track_, range_));
}

void StitchedTrack::write() {
    writeHead();
    copyFromNextKey(path_, {track_, to_}, range_, *movie_);
}

void StitchedTrack::writeHead() {
    const AVRational clock = movie_->timeBase(to_);
    PictureReader reader(path_, track_, TickRange::of(range_, clock), clock, PictureReader::Until::keyPicture,
                         [this] { movie_->checkCancelled(); });
    Nv12Picture converter;
    const OwnedPacket packet = makePacket();
    std::int64_t encoded = 0;
    while (const auto shown = reader.next()) {
        const CVPixelBuffer& picture = converter.of(shown->frame);
        const bool key = encoded == 0;
        EncodedPicture coded = encoder_->encodeAtBest(picture, encoded++, key);
        // The encoder counts idr_pic_id up, so a second key picture has another one.
        if (key && nextIdrId_ && idrPictureId(*source_.stream(track_).codecpar, coded.data) == nextIdrId_)
            coded = encoder_->encodeAtBest(picture, encoded++, key);
        packet->data = const_cast<std::uint8_t*>(coded.data.data());
        packet->size = static_cast<int>(coded.data.size());
        packet->pts = packet->dts = shown->time;
        packet->duration = shown->duration;
        packet->flags = key ? AV_PKT_FLAG_KEY : 0;
        movie_->write(to_, *packet);
    }
}

}  // namespace lumicrate::media
