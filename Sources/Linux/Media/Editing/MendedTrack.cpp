#include "Linux/Media/Editing/MendedTrack.h"

#include "Linux/Media/Editing/IdrPictureId.h"
#include "Linux/Media/Editing/OwnEncoder.h"
#include "Linux/Media/Editing/PictureReader.h"
#include "Linux/Media/Editing/TrackCopy.h"

#include <cstddef>
#include <span>
#include <utility>

namespace lumicrate::media {

namespace {

/// A decoded picture as our encoders take it.
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

std::unique_ptr<MendedTrack> MendedTrack::make(const InputMovie& source, int track, CMTimeRange range,
                                               const AVPacket* nextKey) {
    const AVCodecParameters& parameters = *source.stream(track).codecpar;
    if (nextKey != nullptr && !isInstantRefresh(parameters, *nextKey)) return nullptr;
    std::unique_ptr<VideoEncoder> encoder = ownEncoderFor(parameters);
    if (!encoder) return nullptr;
    std::optional<int> number;
    if (nextKey != nullptr)
        number = idrPictureId(parameters, {nextKey->data, static_cast<std::size_t>(nextKey->size)});
    return std::unique_ptr<MendedTrack>(new MendedTrack(source, track, range, std::move(encoder), number));
}

MendedTrack::MendedTrack(const InputMovie& source, int track, CMTimeRange range,
                         std::unique_ptr<VideoEncoder> encoder, std::optional<int> nextKey)
    : source_(source),
      path_(source.path()),
      track_(track),
      range_(range),
      encoder_(std::move(encoder)),
      nextKey_(nextKey) {}

void MendedTrack::addTo(OutputMovie& movie) {
    movie_ = &movie;
    to_ = movie.addCopy(source_, track_, source_.packetCount(track_, range_));
}

void MendedTrack::write() {
    writeBegin();
    copyFromNextKey(path_, {track_, to_}, range_, *movie_);
}

void MendedTrack::writeBegin() {
    const AVRational clock = movie_->timeBase(to_);
    PictureReader reader(path_, track_, TickRange::of(range_, clock), clock, PictureReader::Until::keyPicture,
                         [this] { movie_->checkIsWanted(); });
    Nv12Picture converter;
    const OwnedPacket packet = makePacket();
    while (const auto shown = reader.next()) {
        const CVPixelBuffer& picture = converter.of(shown->frame);
        const bool key = encoded_ == 0;
        EncodedPicture coded = encode(picture, key);
        // Two key pictures that follow each other must not bear the same number; the next one always bears
        // another.
        if (key && nextKey_ && idrPictureId(*source_.stream(track_).codecpar, coded.data) == nextKey_)
            coded = encode(picture, key);
        packet->data = const_cast<std::uint8_t*>(coded.data.data());
        packet->size = static_cast<int>(coded.data.size());
        packet->pts = packet->dts = shown->time;
        packet->duration = shown->duration;
        packet->flags = key ? AV_PKT_FLAG_KEY : 0;
        movie_->write(to_, *packet);
    }
}

EncodedPicture MendedTrack::encode(const CVPixelBuffer& picture, bool key) {
    return encoder_->encodeAtBest(picture, encoded_++, key);
}

}  // namespace lumicrate::media
