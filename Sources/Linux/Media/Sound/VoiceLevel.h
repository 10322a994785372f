// SPDX-License-Identifier: GPL-3.0-or-later
// VoiceLevel: how loud a voice is, and bringing it to the level that listeners expect.
#pragma once

#include "Linux/Media/Sound/PeakLimiter.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace lumicrate::media {

/// Measures loudness as ITU-R BS.1770 and EBU R 128 define it: pauses do not count. Interleaved sound at
/// 48000 Hz. One thread, constant memory.
class LoudnessMeter {
 public:
    /// Throws std::bad_alloc.
    explicit LoudnessMeter(std::size_t channels);
    ~LoudnessMeter();
    LoudnessMeter(const LoudnessMeter&) = delete;
    LoudnessMeter& operator=(const LoudnessMeter&) = delete;

    void add(std::span<const float> sound);
    /// LUFS of everything so far; none for less than a second, or for silence.
    std::optional<double> loudness() const;

 private:
    struct State;

    std::unique_ptr<State> state_;
    std::size_t channels_;
    std::size_t frames_ = 0;
};

/// Multiplies a voice, and limits its peaks to −1 dBTP. Interleaved sound at 48000 Hz. One thread.
class VoiceLevel {
 public:
    /// Usual for speech on the web and in podcasts, LUFS.
    static constexpr double target = -16;
    static constexpr double maxPeak = -1;  ///< dBTP

    /// `gain` in dB.
    VoiceLevel(std::size_t channels, double gain);

    /// Appends all but the newest 5 ms, which are held back.
    void process(std::span<const float> sound, std::vector<float>& leveled);
    /// Appends the rest. Nothing may be processed after that.
    void finish(std::vector<float>& leveled);

 private:
    float toLimit_;  ///< from the voice to a sound whose full scale is the highest peak
    std::vector<float> scaled_;
    PeakLimiter limiter_;
};

}  // namespace lumicrate::media
