// PeakLimiter: keeps a sum of sounds from clipping, and leaves all else as it is.
//
// A peak between two samples clips as well, so that peaks are looked for at four times the rate (as in ITU-R
// BS.1770, annex 2). Where one exceeds full scale, the sound is turned down just so far that the peak reaches
// it: along a ramp in the 5 ms before the peak, and back up again at full scale in 150 ms. Without such a
// peak nearby the gain is exactly one and every sample comes out as it went in.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <vector>

namespace lumicrate::media {

/// Interleaved stereo at 48000 Hz, −1 … 1 being full scale. Pure; one thread.
class PeakLimiter {
 public:
    static constexpr std::size_t channels = 2;

    /// Appends what can be given already; the newest 5 ms or so are kept back.
    void process(std::span<const float> sound, std::vector<float>& limited);
    /// Appends the rest. Nothing may follow.
    void finish(std::vector<float>& limited);

 private:
    using Frame = std::array<float, channels>;
    /// The gain that a frame needs so as not to clip; below one.
    struct Need {
        std::int64_t frame = 0;
        float gain = 1;
    };
    /// Frames of a ramp: 5 ms.
    static constexpr std::int64_t rampLength = 240;
    /// Frames on either side of an instant between two that tell the sound's value there.
    static constexpr std::int64_t reach = 10;
    /// How many frames must follow one before it can be given.
    static constexpr std::int64_t lookAhead = rampLength + reach;
    static constexpr std::size_t ringSize = 512;

    void take(Frame frame);
    void give(std::vector<float>& limited);
    float peakAt(std::int64_t frame) const;
    float peakAfter(std::int64_t frame) const;
    void note(std::int64_t frame, float peak);
    float gainFor(std::int64_t frame);
    Frame& at(std::int64_t frame) { return frames_[static_cast<std::size_t>(frame) % ringSize]; }
    const Frame& at(std::int64_t frame) const { return frames_[static_cast<std::size_t>(frame) % ringSize]; }

    std::array<Frame, ringSize> frames_{};
    std::int64_t taken_ = 0;
    std::int64_t given_ = 0;
    std::int64_t lastLoud_ = -ringSize;
    /// Of frames not yet given, in order; none has a lower or equal one behind it. (So the first is the
    /// lowest.)
    std::deque<Need> needs_;
    float wanted_ = 1;
    /// By how much the last gains wanted were below one; the gain is one less their mean.
    std::array<float, rampLength> ramp_{};
    double rampSum_ = 0;
    int ramping_ = 0;  ///< those above zero
};

}  // namespace lumicrate::media
