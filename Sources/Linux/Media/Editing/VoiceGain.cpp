// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/VoiceGain.h"

#include "Linux/Media/Sound/VoiceLevel.h"
#include "Support/Log.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <list>
#include <span>
#include <vector>

namespace lumicrate::media {

namespace {

/// What the gains that are tried add to the one that would be right without a limiter, in dB.
constexpr std::array<double, 4> additions{0, 1, 2.5, 4.5};

using Pieces = std::function<void(std::span<const float>)>;

void forEachPiece(const VoiceInput& voice, const LongWork& work, const Pieces& use) {
    CleanVoice sound(voice);
    const double all = std::max(voice.duration * SoundReader::sampleRate, 1.0);
    std::size_t frames = 0;
    double reported = 0;
    for (std::vector<float> piece = sound.next(); !piece.empty(); piece = sound.next()) {
        if (work.stop.stop_requested()) throw CancelledError();
        use(piece);
        frames += piece.size() / voice.channels;
        const double part = std::min(static_cast<double>(frames) / all, 1.0);
        if (part < reported + 0.01) continue;
        reported = part;
        work.reach(part);
    }
}

/// What becomes of the voice with a gain.
class Trial {
 public:
    Trial(std::size_t channels, double gain) : gain_(gain), level_(channels, gain), meter_(channels) {}

    void add(std::span<const float> sound) {
        leveled_.clear();
        level_.process(sound, leveled_);
        meter_.add(leveled_);
    }
    double gain() const { return gain_; }
    double loudness() const { return meter_.loudness().value_or(VoiceLevel::target); }

 private:
    double gain_;
    VoiceLevel level_;
    LoudnessMeter meter_;
    std::vector<float> leveled_;
};

/// Between the last gain that is too low and the next one.
double bestGain(const std::list<Trial>& trials) {
    auto before = trials.begin();
    for (auto each = trials.begin(); each != trials.end(); before = each++) {
        const double excess = each->loudness() - VoiceLevel::target;
        if (excess < 0) continue;
        const double rise = each->loudness() - before->loudness();
        return rise > 0 ? each->gain() - (each->gain() - before->gain()) * excess / rise : each->gain();
    }
    return trials.back().gain();
}

}  // namespace

std::optional<double> gainOfVoice(const VoiceInput& voice, const LongWork& work) {
    LoudnessMeter meter(voice.channels);
    forEachPiece(voice, work.part(0, 0.4), [&meter](std::span<const float> piece) { meter.add(piece); });
    const auto loudness = meter.loudness();
    if (!loudness) return std::nullopt;
    std::list<Trial> trials;
    for (const double addition : additions)
        trials.emplace_back(voice.channels, VoiceLevel::target - *loudness + addition);
    forEachPiece(voice, work.part(0.4, 1), [&trials](std::span<const float> piece) {
        for (Trial& each : trials)
            each.add(piece);
    });
    const double gain = bestGain(trials);
    log(LogArea::movie, "clean voice: ", *loudness, " LUFS, gain ", gain, " dB");
    return gain;
}

}  // namespace lumicrate::media
