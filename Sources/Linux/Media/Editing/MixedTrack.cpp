#include "Linux/Media/Editing/MixedTrack.h"

#include "Linux/Media/Editing/PeakLimiter.h"
#include "Linux/Media/Editing/SoundReader.h"
#include "Linux/Media/IsoBmff/Fragment.h"

#include <algorithm>
#include <cmath>
#include <list>

namespace lumicrate::media {

namespace {

constexpr int bitRate = 192'000;
/// Frames that are mixed at a time.
constexpr std::size_t pieceLength = 8192;

/// Adds up what the tracks have, piece by piece.
class Mix {
 public:
    Mix(const std::filesystem::path& source, const std::vector<int>& tracks) {
        for (const int track : tracks)
            readers_.emplace_back(source, track);
    }

    /// The next piece; empty at the end. Good until the next call.
    const std::vector<float>& next() {
        limited_.clear();
        while (limited_.empty() && !ended_) {
            sum_.assign(pieceLength * SoundReader::channels, 0);
            std::int64_t frames = 0;
            for (SoundReader& reader : readers_)
                frames = std::max(frames, reader.addTo(sum_));
            sum_.resize(static_cast<std::size_t>(frames) * SoundReader::channels);
            limiter_.process(sum_, limited_);
            ended_ = frames < static_cast<std::int64_t>(pieceLength);
            if (ended_) limiter_.finish(limited_);
        }
        return limited_;
    }

 private:
    std::list<SoundReader> readers_;
    PeakLimiter limiter_;
    std::vector<float> sum_;
    std::vector<float> limited_;
    bool ended_ = false;
};

}  // namespace

MixedTrack::MixedTrack(const std::filesystem::path& source, const std::vector<int>& tracks)
    : source_(source), tracks_(tracks), encoder_(SoundReader::sampleRate, SoundReader::channels, bitRate) {}

void MixedTrack::addTo(OutputMovie& output, double duration) {
    const auto frames = static_cast<std::int64_t>(std::ceil(duration * SoundReader::sampleRate));
    number_ = output.addSound(encoder_.description(), "Audio", frames / isobmff::aacFrameLength + 8);
    output_ = &output;
}

void MixedTrack::write() {
    const OwnedPacket packet = makePacket();
    const AacEncoder::Sink sink = [&](const MovieSample& sample) {
        packet->data = const_cast<std::uint8_t*>(sample.data.data());
        packet->size = static_cast<int>(sample.data.size());
        packet->pts = packet->dts = sample.time;
        packet->duration = sample.duration;
        packet->flags = AV_PKT_FLAG_KEY;
        output_->write(number_, *packet);
    };
    Mix mix(source_, tracks_);
    for (;;) {
        const std::vector<float>& piece = mix.next();
        if (piece.empty()) break;
        encoder_.encode(piece, sink);
    }
    encoder_.finish(sink);
    output_->end(number_);
}

}  // namespace lumicrate::media
