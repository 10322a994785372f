// SPDX-License-Identifier: GPL-3.0-or-later
// Measurements that tests and benchmarks take on sound and pictures.
#pragma once

#include "Tests/Stage/Picture.h"

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace lumicrate::stage {

/// The first sample of each burst: louder than the threshold, after at least `quiet` samples that are not.
std::vector<std::size_t> onsets(std::span<const float> samples, float threshold, std::size_t quiet);
/// The first sample at or after `from` that is louder than the threshold.
std::optional<std::size_t> onset(std::span<const float> samples, float threshold, std::size_t from = 0);

/// The peak amplitude of one frequency, by Goertzel's algorithm. A full-scale sine has 1.
double toneAmplitude(std::span<const float> samples, int sampleRate, double frequency);
/// The frequency of the strongest tone between two frequencies, to about a hundredth of a hertz for a clean
/// tone of at least a tenth of a second.
double toneFrequency(std::span<const float> samples, int sampleRate, double lowest = 50,
                     double highest = 8000);
/// Root mean square.
double loudness(std::span<const float> samples);

/// Mean structural similarity of two planes of one size, over windows of 8 × 8 samples that overlap by half;
/// 1 when they are equal. Throws std::invalid_argument when the sizes differ or are smaller than a window.
double structuralSimilarity(const Plane& one, const Plane& other);

}  // namespace lumicrate::stage
