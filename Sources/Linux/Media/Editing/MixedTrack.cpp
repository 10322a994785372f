#include "Linux/Media/Editing/MixedTrack.h"

#include "Linux/Media/Editing/PeakLimiter.h"
#include "Linux/Media/Editing/SoundReader.h"
#include "Linux/Media/IsoBmff/Fragment.h"

#include <algorithm>
#include <cmath>
#include <future>
#include <list>
#include <utility>

namespace lumicrate::media {

namespace {

constexpr int bitRate = 192'000;
/// Frames that are mixed at a time.
constexpr std::size_t pieceLength = 8192;
constexpr std::size_t piecesAhead = 4;

/// Adds up what the tracks have, piece by piece.
class Mix {
 public:
    Mix(const std::filesystem::path& source, const std::vector<int>& tracks) {
        for (const int track : tracks)
            readers_.emplace_back(source, track);
    }

    /// The next piece; empty at the end.
    std::vector<float> next() {
        std::vector<float> limited;
        while (limited.empty() && !ended_) {
            sum_.assign(pieceLength * SoundReader::channels, 0);
            std::int64_t frames = 0;
            for (SoundReader& reader : readers_)
                frames = std::max(frames, reader.addTo(sum_));
            sum_.resize(static_cast<std::size_t>(frames) * SoundReader::channels);
            limiter_.process(sum_, limited);
            ended_ = frames < static_cast<std::int64_t>(pieceLength);
            if (ended_) limiter_.finish(limited);
        }
        return limited;
    }

 private:
    std::list<SoundReader> readers_;
    PeakLimiter limiter_;
    std::vector<float> sum_;
    bool ended_ = false;
};

/// Lets nobody wait for a thread that has failed.
struct ClosedAtLast {
    Handover<std::vector<float>>& pieces;
    ~ClosedAtLast() { pieces.close(); }
};

}  // namespace

MixedTrack::MixedTrack(const InputMovie& source)
    : source_(source.path()),
      tracks_(source.audioTracks()),
      duration_(source.duration()),
      encoder_(SoundReader::sampleRate, SoundReader::channels, bitRate) {}

void MixedTrack::addTo(OutputMovie& movie) {
    const auto frames = static_cast<std::int64_t>(std::ceil(duration_ * SoundReader::sampleRate));
    number_ = movie.addSound(encoder_.description(), "Audio", frames / isobmff::aacFrameLength + 8);
    movie_ = &movie;
}

void MixedTrack::mixInto(Handover<std::vector<float>>& pieces) const {
    const ClosedAtLast closing{pieces};
    Mix mix(source_, tracks_);
    for (;;) {
        std::vector<float> piece = mix.next();
        if (piece.empty() || !pieces.give(std::move(piece))) return;
    }
}

void MixedTrack::write() {
    const OwnedPacket packet = makePacket();
    const AacEncoder::Sink sink = [&](const MovieSample& sample) {
        packet->data = const_cast<std::uint8_t*>(sample.data.data());
        packet->size = static_cast<int>(sample.data.size());
        packet->pts = packet->dts = sample.time;
        packet->duration = sample.duration;
        packet->flags = AV_PKT_FLAG_KEY;
        movie_->write(number_, *packet);
    };
    Handover<std::vector<float>> pieces(piecesAhead);
    // Decoding and mixing on one thread, encoding on this one.
    std::future<void> mixing = std::async(std::launch::async, [this, &pieces] { mixInto(pieces); });
    const ClosedAtLast closing{pieces};
    while (const auto piece = pieces.take())
        encoder_.encode(*piece, sink);
    mixing.get();
    encoder_.finish(sink);
    movie_->end(number_);
}

}  // namespace lumicrate::media
