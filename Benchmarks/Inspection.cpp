// SPDX-License-Identifier: GPL-3.0-or-later
#include "Benchmarks/Inspection.h"

#include "Tests/Stage/Measure.h"
#include "Tests/Stage/Scene/FrameNumber.h"

#include <algorithm>
#include <iterator>

namespace lumicrate::bench {

Arrivals inspect(stage::MovieProbe& probe, double scale) {
    Arrivals arrivals;
    arrivals.pictures = probe.visitPictures([&](const stage::Picture& picture) {
        if (const auto number = stage::FrameNumber::read(picture.luma(), scale)) {
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
    // Codecs have even sizes only, so one column or row more is normal.
    auto shown = picture.luma();
    if (shown.width - screen.width() == 1) --shown.width;
    if (shown.height - screen.height() == 1) --shown.height;
    const auto& track = probe.videoTrack();
    const Range range = track.colorRange == "pc" ? Range::Full : Range::Limited;
    const auto with = [&](Matrix matrix) {
        const auto luma = screen.luma(matrix, range);
        const stage::Plane reference{luma.data(), screen.width(), screen.width(), screen.height(), 1};
        return stage::structuralSimilarity(shown, reference);
    };
    if (track.colorMatrix == "bt709") return with(Matrix::Bt709);
    return std::max(with(Matrix::Bt601), with(Matrix::Bt709));
}

}  // namespace lumicrate::bench
