#include "Benchmarks/Inspection.h"

#include "Tests/Stage/Measure.h"
#include "Tests/Stage/Scene/FrameNumber.h"

#include <algorithm>
#include <iterator>

namespace lumicrate::bench {

Arrivals inspect(stage::MovieProbe& probe) {
    Arrivals arrivals;
    arrivals.pictures = probe.visitPictures([&](const stage::Picture& picture) {
        if (const auto number = stage::FrameNumber::read(picture.luma())) {
            arrivals.shown.try_emplace(*number, picture.time);
        } else {
            ++arrivals.unreadable;
        }
        return true;
    });
    return arrivals;
}

std::vector<int> spread(const Arrivals& arrivals, int count) {
    std::vector<int> numbers;
    for (int i = 1; i <= count && arrivals.shown.size() > static_cast<std::size_t>(count) + 2; ++i) {
        const auto place = static_cast<std::ptrdiff_t>(arrivals.shown.size()) * i / (count + 1);
        numbers.push_back(std::next(arrivals.shown.begin(), place)->first);
    }
    return numbers;
}

double similarity(const stage::MovieProbe& probe, const stage::Picture& picture, const Screen& screen) {
    const auto with = [&](Matrix matrix) {
        const auto luma = screen.luma(matrix);
        const stage::Plane reference{luma.data(), screen.width(), screen.width(), screen.height(), 1};
        return stage::structuralSimilarity(picture.luma(), reference);
    };
    const auto& named = probe.videoTrack().colorMatrix;
    if (named == "bt709") return with(Matrix::Bt709);
    return std::max(with(Matrix::Bt601), with(Matrix::Bt709));
}

}  // namespace lumicrate::bench
