// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/Loudness.h"

#include "Linux/Media/Editing/InputMovie.h"
#include "Linux/Media/Editing/SoundReader.h"
#include "Linux/Media/Editing/SoundTracks.h"

#include <algorithm>
#include <cmath>

namespace lumicrate::media {

namespace {

float peakOf(const std::vector<float>& samples) {
    float peak = 0;
    for (const float sample : samples)
        peak = std::max(peak, std::abs(sample));
    return std::min(peak, 1.0F);
}

}  // namespace

std::vector<float> loudnessOf(const std::filesystem::path& url, std::size_t parts, const LongWork& work) {
    const InputMovie movie(url, InputMovie::Look::atHead);
    const double frames = movie.duration() * SoundReader::sampleRate;
    std::vector<SoundReader> readers;
    for (const int track : heardTracks(movie))
        readers.emplace_back(url, track);
    std::vector<float> levels;
    if (readers.empty() || !(frames > 0)) return levels;
    double read = 0;
    std::vector<float> mix;
    for (std::size_t part = 1; part <= parts; ++part) {
        work.reach(static_cast<double>(part - 1) / static_cast<double>(parts));
        const double end = std::round(frames * static_cast<double>(part) / static_cast<double>(parts));
        mix.assign(static_cast<std::size_t>(end - read) * SoundReader::channels, 0);
        for (SoundReader& reader : readers)
            reader.addTo(mix);
        read = end;
        levels.push_back(peakOf(mix));
    }
    return levels;
}

}  // namespace lumicrate::media
