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
// Motion that only moves what is shown, such as a pan, is as good as the last key picture: what is predicted
// from it keeps its errors, which are too small to be coded again. There a bit is spent best on the key
// picture (allowFinerKeyPictures): in a pan over a picture, SSIM 0.9978 instead of 0.9959 for a sixth more
// bits.
#pragma once

#include <array>
#include <cstdint>

namespace lumicrate::media {

inline constexpr int coarsestQuantizer = 51;

/// How much of a picture must be coded, in macroblocks.
struct PictureWork {
    bool key = false;
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
    /// become finer than the quality level. They take a half more time.
    void allowFinerKeyPictures() { finestKey_ = quality_ - finerKey; }
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
    static constexpr int finerKey = 8;

    double allowance() const;
    bool movesWhatIsShown(const PictureWork& key) const;
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
    // Since the last key picture:
    std::int64_t pictures_ = 0;
    std::int64_t codedBlocks_ = 0;
    std::int64_t excess_ = 0;   ///< sum over those blocks of the quantizers above the quality level
    bool wasStrained_ = false;  ///< before it
};

}  // namespace lumicrate::media
