// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/EncodedSound.h"

#include "Linux/Media/Editing/SoundReader.h"
#include "Linux/Media/IsoBmff/Fragment.h"

#include <cmath>
#include <cstdint>

namespace lumicrate::media {

EncodedSound::EncodedSound(int channels, int bitRate)
    : encoder_(SoundReader::sampleRate, channels, bitRate) {}

void EncodedSound::addTo(OutputMovie& movie, const std::string& title, double duration) {
    const auto frames = static_cast<std::int64_t>(std::ceil(duration * SoundReader::sampleRate));
    number_ = movie.addSound(encoder_.description(), title, frames / isobmff::aacFrameLength + 8);
    movie_ = &movie;
}

void EncodedSound::write(const ParallelAacEncoder::Source& source) {
    const OwnedPacket packet = makePacket();
    encoder_.encode(source, [&](const MovieSample& sample) {
        packet->data = const_cast<std::uint8_t*>(sample.data.data());
        packet->size = static_cast<int>(sample.data.size());
        packet->pts = packet->dts = sample.time;
        packet->duration = sample.duration;
        packet->flags = AV_PKT_FLAG_KEY;
        movie_->write(number_, *packet);
    });
    movie_->end(number_);
}

}  // namespace lumicrate::media
