// RateControl: constant quality under a bit-rate ceiling, decided a picture at a time.
//
// A bucket holds the bits that may be spent; it fills at the rate of the ceiling and holds two seconds of it.
// A picture is coded with the quality quantizer as long as its predicted size fits into what the bucket may
// give; otherwise with the finest quantizer that fits. So a still or slowly changing screen never loses
// quality, and over a few seconds the ceiling holds whatever is on the screen.
//
// The quality quantizer follows from the ceiling's bits per pixel: 13 at 0.12, three steps finer for every
// doubling and coarser for every halving. Text would be crisp at 20 (an SSIM of 0.9994 at 1080p, a cell 9 by
// 18 pixels) and does not suffer from the missing adaptive quantization, which would take the bits from its
// edges. Smooth moving pictures do, and need the finer quantizer to come as near to their source as an
// adaptive encoder at the ceiling: 0.9956 at 13, 0.9926 at 17 and 0.9892 at 20 in the moving scene of the
// benchmark.
#pragma once

#include <array>
#include <cstdint>

namespace lumicrate::media {

inline constexpr int coarsestQuantizer = 51;

/// How much of a picture is to be coded, by macroblocks.
struct PictureWork {
    bool key = false;
    /// Blocks that changed, or of which it is not known.
    int changed = 0;
    /// Unchanged blocks by the quantizer that they were last coded with; coded again only with a finer one.
    std::array<int, coarsestQuantizer + 1> unchanged{};

    /// Blocks that are coded when the picture's quantizer is `quantizer`.
    int codedBlocks(int quantizer) const;
};

class RateControl {
 public:
    /// `bitRate` in bits a second; `pixelRate` is width × height × frames a second at full motion.
    RateControl(int bitRate, double pixelRate, int framesPerSecond);

    /// The quantizer of pictures that the ceiling does not bear on.
    int qualityQuantizer() const { return quality_; }
    /// Lets the bucket fill up to `seconds` of media time; a time already accounted for changes nothing.
    void advanceTo(double seconds);
    /// The quantizer for the next picture.
    int quantizerFor(const PictureWork& work) const;
    /// The same for the last picture once more when the screen is at rest: most of the bucket may go.
    int quantizerAtRest(const PictureWork& work) const;
    /// Waiting longer brings no more bits.
    bool isFull() const { return fill_ >= capacity_; }
    /// Whether the ceiling has lately made lasting motion clearly coarser than the quality level: judged by
    /// the pictures since the last key picture, or those before it when there are none yet.
    bool isStrained() const;
    /// Tells what the picture took.
    void coded(const PictureWork& work, int quantizer, std::int64_t bits);

    /// Bits in the bucket; below zero when a picture took more than was there.
    double available() const { return fill_; }

 private:
    double allowance() const;
    int finestWithin(double allowed, const PictureWork& work) const;
    void noteStrain(bool key, int blocks, int quantizer);
    double predictedBits(const PictureWork& work, int quantizer) const;

    double bitRate_;
    double frameShare_;
    double capacity_;
    int quality_;
    double fill_;
    double filledTo_ = 0;
    /// Bits a macroblock takes, times the quantizer's step: how hard the content is.
    double interDifficulty_;
    double keyDifficulty_;
    // Since the last key picture:
    std::int64_t codedBlocks_ = 0;
    std::int64_t excess_ = 0;  ///< quantizers above the quality level, added up over those blocks
    bool wasStrained_ = false;
};

}  // namespace lumicrate::media
