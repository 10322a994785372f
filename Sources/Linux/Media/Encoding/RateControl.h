// SPDX-License-Identifier: GPL-3.0-or-later
// RateControl: constant quality under a bit-rate ceiling; chooses each picture's quantizer.
//
// A token bucket holds the bits that may be spent. It fills at the ceiling's rate and holds two seconds of
// it. A picture gets the quality quantizer if its predicted size fits into what the bucket allows, and
// otherwise the finest quantizer that fits. So a still or slowly changing screen never loses quality, and
// over a few seconds the ceiling holds whatever is on the screen.
//
// Example: 8 Mbit/s, 1920 × 1080 at 30 frames a second. The bucket holds 16 Mbit; one frame's share is 267
// kbit; 0.129 bits a pixel make the quality quantizer 13. All 8160 macroblocks of text at quantizer 13 are
// predicted to take 700 / step(13) = 734 bits each, 6 Mbit together. A key picture may take three quarters of
// the bucket: the first one gets quantizer 13. A film that follows drains the bucket to its middle, where
// every picture may take its share of 267 kbit, which 8160 changed blocks meet only at quantizer 40; the next
// key picture is as coarse. When the film comes to a halt, the bucket refills within two seconds, and the
// picture is encoded again at 13 (VideoEncoder::refine).
//
// The quality quantizer follows from the ceiling's bits per pixel: 13 at 0.12, 3 less for every doubling and
// 3 more for every halving, within 10 … 26. Text is crisp at 20 (SSIM 0.9994 at 1080p with a font of 9 × 18
// pixels), and does not suffer from the lack of adaptive quantization, which would take bits from its edges.
// Smooth motion does suffer and needs a finer quantizer to come as close to its source as an adaptive encoder
// at the ceiling: SSIM 0.9956 at 13, 0.9926 at 17 and 0.9892 at 20 in the benchmark's moving scene.
//
// Motion that only moves what is shown, such as a pan, is as good as what it copies: what is predicted from a
// picture keeps its errors, which are too small to be coded again. There bits are spent best on what is
// copied from then on (allowCopying): the key picture is nine quantizers finer than the quality level, blocks
// that come into view are four finer, and all others eight coarser. In the benchmark's moving scene that
// brings SSIM 0.9975 instead of 0.9966, with as many bits as when only the key picture is finer.
#pragma once

#include <array>
#include <cstdint>

namespace lumicrate::media {

inline constexpr int coarsestQuantizer = 51;

/// Where what is shown is moved, blocks that come into view are this much finer than the picture's quantizer.
inline constexpr int uncoveredFiner = 12;

/// How much of a picture must be coded, in macroblocks.
struct PictureWork {
    bool key = false;
    /// Most of it is copied from what was shown elsewhere, and it is known which blocks are not.
    bool isCopy = false;
    /// In motion the picture need not be finer than this quantizer.
    int finest = 0;
    /// Blocks that changed or may have.
    int changed = 0;
    /// Unchanged blocks, counted by the quantizer they were last coded with. Only a finer one codes them
    /// again.
    std::array<int, coarsestQuantizer + 1> unchanged{};

    /// Blocks that are coded when the picture's quantizer is `quantizer`.
    int codedBlocks(int quantizer) const;
};

class RateControl {
 public:
    /// `bitRate` in bits a second; `pixelRate` is width × height × frames a second.
    RateControl(int bitRate, double pixelRate, int framesPerSecond);

    /// The quantizer of pictures that the ceiling does not limit.
    int qualityQuantizer() const { return quality_; }
    /// While large parts of the picture move and cost little, and the ceiling is not reached, key pictures
    /// become finer than the quality level and copies coarser. Such key pictures take a half more time.
    void allowCopying() { finestKey_ = quality_ - finerKey; }
    /// Whether, judged by the pictures since the last key picture, a key picture would now be finer.
    bool movesWhatIsShown() const;
    /// Whether the last key picture was finer, so that copies are worth it.
    bool isCopying() const { return isCopying_; }
    /// Whether what is shown has moved for half a second since a key picture that was not finer.
    bool finerKeyIsDue() const;
    /// The finest quantizer that any picture gets.
    int finestQuantizer() const { return finestKey_; }
    /// Fills the bucket up to this media time in seconds; an earlier time than before changes nothing.
    void advanceTo(double seconds);
    /// The quantizer for the next picture.
    int quantizerFor(const PictureWork& work) const;
    /// The quantizer for the last picture again while the screen is idle; it may take most of the bucket.
    int quantizerWhenIdle(const PictureWork& work) const;
    /// Whether waiting longer brings no more bits.
    bool isFull() const { return fill_ >= capacity_; }
    /// Whether the ceiling makes lasting motion clearly coarser than the quality level. Judged by the
    /// pictures since the last key picture or, if there are none yet, by those before it.
    bool isStrained() const;
    /// Reports what a coded picture took.
    void coded(const PictureWork& work, int quantizer, std::int64_t bits);

    /// Bits in the bucket; negative after a picture that took more than predicted.
    double available() const { return fill_; }

 private:
    static constexpr int finerKey = 9;

    int target(const PictureWork& work) const;
    double allowance() const;
    int finestWithin(double allowed, const PictureWork& work, int finest) const;
    void noteMotion(const PictureWork& work, int quantizer);
    double predictedBits(const PictureWork& work, int quantizer) const;

    double bitRate_;
    double frameShare_;
    double capacity_;
    int quality_;
    int finestKey_;
    double fill_;
    double filledTo_ = 0;
    /// How complex the content is: bits a macroblock takes, times the quantizer's step.
    double interComplexity_;
    double keyComplexity_;
    int framesPerSecond_;
    int allBlocks_ = 0;  ///< of the last key picture
    // Since the last key picture:
    std::int64_t pictures_ = 0;
    std::int64_t copies_ = 0;
    std::int64_t codedBlocks_ = 0;
    std::int64_t excess_ = 0;   ///< sum over those blocks of the quantizers that the ceiling added
    bool wasStrained_ = false;  ///< before it
    bool isCopying_ = false;
};

}  // namespace lumicrate::media
