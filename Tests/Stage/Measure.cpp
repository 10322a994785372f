#include "Tests/Stage/Measure.h"

#include <algorithm>
#include <cmath>
#include <limits>
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
    std::size_t silent = quiet;  // what comes before the first sample counts as silence
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
    // At most a second is looked at; the peak is as wide as the reciprocal of that, so half of it is a safe
    // first step.
    const auto window = samples.first(std::min(samples.size(), static_cast<std::size_t>(sampleRate)));
    const auto amplitude = [&](double frequency) { return toneAmplitude(window, sampleRate, frequency); };
    double best = lowest;
    double step =
        std::max(0.5 * sampleRate / static_cast<double>(std::max<std::size_t>(window.size(), 1)), 5.0);
    // A short piece first, for the coarse search: its peak is wide.
    const auto piece = window.first(std::min(window.size(), static_cast<std::size_t>(sampleRate / 10)));
    double strongest = -1;
    for (double frequency = lowest; frequency <= highest; frequency += step) {
        const double here = toneAmplitude(piece, sampleRate, frequency);
        if (here > strongest) {
            strongest = here;
            best = frequency;
        }
    }
    for (; step > 0.005; step /= 2) {
        for (const double candidate : {best - step, best + step}) {
            if (amplitude(candidate) > amplitude(best)) best = candidate;
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

void requireSameSize(const Plane& one, const Plane& other) {
    if (one.width != other.width || one.height != other.height) {
        throw std::invalid_argument("Pictures of different sizes cannot be compared");
    }
}

}  // namespace

double structuralSimilarity(const Plane& one, const Plane& other) {
    requireSameSize(one, other);
    if (one.width < window || one.height < window) throw std::invalid_argument("The pictures are too small");
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

double peakSignalToNoise(const Plane& one, const Plane& other) {
    requireSameSize(one, other);
    double sum = 0;
    for (int y = 0; y < one.height; ++y) {
        for (int x = 0; x < one.width; ++x) {
            const double difference = one.at(x, y) - other.at(x, y);
            sum += difference * difference;
        }
    }
    if (sum == 0) return std::numeric_limits<double>::infinity();
    return 10 * std::log10(255.0 * 255.0 * one.width * one.height / sum);
}

}  // namespace lumicrate::stage
