// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/RateControl.h"

#include <algorithm>
#include <cmath>

namespace lumicrate::media {

namespace {

constexpr double bucketSeconds = 2;
/// The part of the bucket that a key picture, or a picture while the screen is idle, may take.
constexpr double spentAtOnce = 0.75;
/// That of screen text, which takes 300 bits a macroblock at quantizer 20.
constexpr double typicalComplexity = 700;
/// Pictures with fewer coded blocks say little about the complexity of the content.
constexpr int minSampledBlocks = 64;
/// In quantizers above the quality level; two thresholds, so that the state does not flicker.
constexpr int strainBegins = 3;
constexpr int strainEnds = 1;
/// Motion counts from this part of the picture on, a mean of all pictures between two key pictures.
constexpr int motionPart = 8;
/// Blocks that take less than this part of a key picture's bits are mostly copies of others.
constexpr int copiedPart = 4;
/// Copies that coarse look the same: a difference from what they copy is only coded where it is visible.
constexpr int copyCoarser = 8;

/// The quantizer step size, which doubles every six quantizers.
double step(int quantizer) {
    return 0.85 * std::exp2((quantizer - 12) / 6.0);
}

int qualityFor(double bitsPerPixel) {
    const double quantizer = 13 - 3 * std::log2(bitsPerPixel / 0.12);
    return static_cast<int>(std::lround(std::clamp(quantizer, 10.0, 26.0)));
}

}  // namespace

int PictureWork::codedBlocks(int quantizer) const {
    int blocks = changed;
    for (int coarser = quantizer + 1; coarser <= coarsestQuantizer; ++coarser)
        blocks += unchanged[static_cast<std::size_t>(coarser)];
    return blocks;
}

RateControl::RateControl(int bitRate, double pixelRate, int framesPerSecond)
    : bitRate_(std::max(bitRate, 1000)),
      frameShare_(bitRate_ / std::max(framesPerSecond, 1)),
      capacity_(bitRate_ * bucketSeconds),
      quality_(qualityFor(bitRate_ / std::max(pixelRate, 1.0))),
      finestKey_(quality_),
      fill_(capacity_),
      interComplexity_(typicalComplexity),
      keyComplexity_(typicalComplexity),
      framesPerSecond_(framesPerSecond) {}

void RateControl::advanceTo(double seconds) {
    if (seconds <= filledTo_) return;
    fill_ = std::min(capacity_, fill_ + bitRate_ * (seconds - filledTo_));
    filledTo_ = seconds;
}

/// The upper half of the bucket is for bursts, such as a new page, and may be spent at once. Lasting motion
/// drains the bucket to the middle, where each picture gets its share. Below, it recovers slowly, so that the
/// quality stays steady, unless it is nearly empty.
double RateControl::allowance() const {
    const double middle = capacity_ / 2;
    if (fill_ >= middle) return frameShare_ + (fill_ - middle);
    const double part = fill_ / middle;
    return frameShare_ * std::max(std::min(4 * part, 0.5 + 0.5 * part), 0.05);
}

double RateControl::predictedBits(const PictureWork& work, int quantizer) const {
    return work.codedBlocks(quantizer) * (work.key ? keyComplexity_ : interComplexity_) / step(quantizer);
}

int RateControl::finestWithin(double allowed, const PictureWork& work, int finest) const {
    int quantizer = finest;
    while (quantizer < coarsestQuantizer && predictedBits(work, quantizer) > allowed)
        ++quantizer;
    return quantizer;
}

bool RateControl::movesWhatIsShown() const {
    const bool isMotion = pictures_ > 0 && codedBlocks_ * motionPart > pictures_ * allBlocks_;
    const bool isCopied =
        isCopying_ ? copies_ * 2 > pictures_ : interComplexity_ * copiedPart < keyComplexity_;
    return finestKey_ < quality_ && isMotion && isCopied && excess_ < codedBlocks_;
}

bool RateControl::finerKeyIsDue() const {
    return !isCopying_ && pictures_ * 2 >= framesPerSecond_ && movesWhatIsShown();
}

/// The quantizer unless the ceiling makes the picture coarser.
int RateControl::target(const PictureWork& work) const {
    if (work.key && movesWhatIsShown()) return finestKey_;
    if (work.isCopy) return quality_ + copyCoarser;
    // What is shown is finer than its copies were coded.
    return isCopying_ ? quality_ : std::max(quality_, work.finest);
}

int RateControl::quantizerFor(const PictureWork& work) const {
    const double allowed = work.key ? std::max(allowance(), fill_ * spentAtOnce) : allowance();
    return finestWithin(allowed, work, target(work));
}

int RateControl::quantizerWhenIdle(const PictureWork& work) const {
    return finestWithin(std::max(fill_, 0.0) * spentAtOnce, work, quality_);
}

bool RateControl::isStrained() const {
    if (codedBlocks_ == 0) return wasStrained_;
    return excess_ > codedBlocks_ * (wasStrained_ ? strainEnds : strainBegins);
}

void RateControl::noteMotion(const PictureWork& work, int quantizer) {
    if (work.key) {
        wasStrained_ = isStrained();
        isCopying_ = movesWhatIsShown();
        allBlocks_ = work.changed;
        pictures_ = copies_ = codedBlocks_ = excess_ = 0;
        return;
    }
    const int blocks = work.codedBlocks(quantizer);
    ++pictures_;
    if (work.isCopy) ++copies_;
    codedBlocks_ += blocks;
    excess_ += std::int64_t{blocks} * (quantizer - std::max(target(work), quality_));
}

void RateControl::coded(const PictureWork& work, int quantizer, std::int64_t bits) {
    fill_ -= static_cast<double>(bits);
    const int blocks = work.codedBlocks(quantizer);
    noteMotion(work, quantizer);
    if (blocks < minSampledBlocks) return;
    double& complexity = work.key ? keyComplexity_ : interComplexity_;
    complexity = (complexity + static_cast<double>(bits) * step(quantizer) / blocks) / 2;
}

}  // namespace lumicrate::media
