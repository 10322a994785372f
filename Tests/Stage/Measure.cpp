// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Stage/Measure.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>

namespace lumicrate::stage {

std::optional<std::size_t> onset(std::span<const float> samples, float threshold, std::size_t from) {
    for (std::size_t i = from; i < samples.size(); ++i) {
        if (std::abs(samples[i]) > threshold) return i;
    }
    return std::nullopt;
}

std::vector<std::size_t> onsets(std::span<const float> samples, float threshold, std::size_t quiet) {
    std::vector<std::size_t> found;
    std::size_t silent = quiet;  // before the first sample there is silence
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (std::abs(samples[i]) <= threshold) {
            ++silent;
            continue;
        }
        if (silent >= quiet) found.push_back(i);
        silent = 0;
    }
    return found;
}

double toneAmplitude(std::span<const float> samples, int sampleRate, double frequency) {
    if (samples.empty()) return 0;
    const double angle = 2 * std::numbers::pi * frequency / sampleRate;
    const double coefficient = 2 * std::cos(angle);
    double last = 0;
    double beforeLast = 0;
    for (const float sample : samples) {
        const double next = sample + coefficient * last - beforeLast;
        beforeLast = last;
        last = next;
    }
    const double power = last * last + beforeLast * beforeLast - coefficient * last * beforeLast;
    return 2 * std::sqrt(std::max(power, 0.0)) / static_cast<double>(samples.size());
}

double toneFrequency(std::span<const float> samples, int sampleRate, double lowest, double highest) {
    // A coarse search over a tenth of a second, whose peak is 10 Hz wide, then bisection over one second.
    const auto second = samples.first(std::min(samples.size(), static_cast<std::size_t>(sampleRate)));
    const auto piece = second.first(std::min(second.size(), static_cast<std::size_t>(sampleRate / 10)));
    double step = 5;
    double best = 0;
    double strongest = -1;
    for (double frequency = lowest; frequency <= highest; frequency += step) {
        const double amplitude = toneAmplitude(piece, sampleRate, frequency);
        if (amplitude > strongest) {
            strongest = amplitude;
            best = frequency;
        }
    }
    for (; step > 0.005; step /= 2) {
        for (const double candidate : {best - step, best + step}) {
            if (toneAmplitude(second, sampleRate, candidate) > toneAmplitude(second, sampleRate, best))
                best = candidate;
        }
    }
    return best;
}

double loudness(std::span<const float> samples) {
    double sum = 0;
    for (const float sample : samples) {
        sum += static_cast<double>(sample) * sample;
    }
    return samples.empty() ? 0 : std::sqrt(sum / static_cast<double>(samples.size()));
}

namespace {

constexpr int window = 8;

double similarityOfWindow(const Plane& one, const Plane& other, int left, int top) {
    long sumOne = 0;
    long sumOther = 0;
    long squareOne = 0;
    long squareOther = 0;
    long product = 0;
    for (int y = top; y < top + window; ++y) {
        for (int x = left; x < left + window; ++x) {
            const long a = one.at(x, y);
            const long b = other.at(x, y);
            sumOne += a;
            sumOther += b;
            squareOne += a * a;
            squareOther += b * b;
            product += a * b;
        }
    }
    constexpr double count = window * window;
    constexpr double c1 = (0.01 * 255) * (0.01 * 255);
    constexpr double c2 = (0.03 * 255) * (0.03 * 255);
    const double meanOne = static_cast<double>(sumOne) / count;
    const double meanOther = static_cast<double>(sumOther) / count;
    const double varianceOne = static_cast<double>(squareOne) / count - meanOne * meanOne;
    const double varianceOther = static_cast<double>(squareOther) / count - meanOther * meanOther;
    const double covariance = static_cast<double>(product) / count - meanOne * meanOther;
    return (2 * meanOne * meanOther + c1) * (2 * covariance + c2) /
           ((meanOne * meanOne + meanOther * meanOther + c1) * (varianceOne + varianceOther + c2));
}

}  // namespace

double structuralSimilarity(const Plane& one, const Plane& other) {
    if (one.width != other.width || one.height != other.height || one.width < window || one.height < window)
        throw std::invalid_argument("Pictures of these sizes cannot be compared");
    double sum = 0;
    long count = 0;
    for (int top = 0; top + window <= one.height; top += window / 2) {
        for (int left = 0; left + window <= one.width; left += window / 2) {
            sum += similarityOfWindow(one, other, left, top);
            ++count;
        }
    }
    return sum / static_cast<double>(count);
}

}  // namespace lumicrate::stage
