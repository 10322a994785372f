// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/HevcMotion.h"

#include "Linux/Media/Encoding/HevcContexts.h"

#include <algorithm>
#include <cstdlib>

namespace lumicrate::media {

namespace {

using Vector = std::optional<HevcVector>;

/// An Exp-Golomb code of the first order.
void codeDistance(CabacWriter& cabac, std::uint32_t value) {
    int length = 1;
    for (; value >= 1U << length; ++length) {
        value -= 1U << length;
        cabac.bypass(1, 1);
    }
    cabac.bypass(0, 1);
    cabac.bypass(value, length);
}

int bitsOf(int difference) {
    int bits = 1;
    for (int rest = std::abs(difference); rest > 0; rest /= 2)
        bits += 2;
    return bits;
}

int bitsOf(HevcVector vector, HevcVector predictor) {
    return bitsOf(vector.x - predictor.x) + bitsOf(vector.y - predictor.y);
}

/// The difference of two vectors in quarters of pixels.
void codeDifference(CabacWriter& cabac, HevcVector vector, HevcVector predictor) {
    const std::array<int, 2> differences{4 * (vector.x - predictor.x), 4 * (vector.y - predictor.y)};
    for (const int each : differences)
        cabac.bin(hevc::vectorContexts, each != 0);
    for (const int each : differences) {
        if (each != 0) cabac.bin(hevc::vectorContexts + 1, true);  // a quarter is never coded
    }
    for (const int each : differences) {
        if (each == 0) continue;
        codeDistance(cabac, static_cast<std::uint32_t>(std::abs(each) - 2));
        cabac.bypass(each < 0 ? 1 : 0, 1);
    }
}

}  // namespace

HevcMotion::HevcMotion(int columns, int rows)
    : columns_(columns),
      rows_(rows),
      blocks_(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows)) {}

void HevcMotion::begin(int candidates) {
    candidates_ = candidates;
    std::fill(blocks_.begin(), blocks_.end(), Block());
}

void HevcMotion::set(int x, int y, int side, const Vector& vector) {
    const Block block{vector ? State::moving : State::still, vector.value_or(HevcVector())};
    for (int row = y; row < std::min(y + side, rows_); ++row)
        std::fill_n(blocks_.begin() + std::ptrdiff_t{row} * columns_ + x, std::min(side, columns_ - x),
                    block);
}

Vector HevcMotion::moving(int x, int y) const {
    if (!isCoded(x, y) || at(x, y).state != State::moving) return std::nullopt;
    return at(x, y).vector;
}

/// Left, above, above on the right, below on the left, above on the left; the same as another one only where
/// that is not compared. Then blocks at rest.
int HevcMotion::candidate(int x, int y, int side, HevcVector vector) const {
    const Vector left = moving(x - 1, y + side - 1);
    const Vector above = moving(x + side - 1, y - 1);
    Vector right = moving(x + side, y - 1);
    Vector below = moving(x - 1, y + side);
    Vector corner = moving(x - 1, y - 1);
    std::array<HevcVector, maxCandidates> list{};
    int count = 0;
    const auto add = [&](const Vector& each) {
        if (each) list[static_cast<std::size_t>(count++)] = *each;
    };
    add(left);
    if (above != left) add(above);
    if (right != above) add(right);
    if (below != left) add(below);
    if (corner != left && corner != above && count < 4) add(corner);
    const auto end = list.begin() + candidates_;
    const auto found = std::find(list.begin(), end, vector);
    return found == end ? -1 : static_cast<int>(found - list.begin());
}

void HevcMotion::codeCandidate(CabacWriter& cabac, int number) const {
    for (int i = 0; i < candidates_ - 1; ++i) {
        if (i == 0) {
            cabac.bin(hevc::candidateContext, number > 0);
        } else {
            cabac.bypass(number > i ? 1 : 0, 1);
        }
        if (number == i) break;
    }
}

std::array<HevcVector, 2> HevcMotion::predictors(int x, int y, int side) const {
    Vector left = moving(x - 1, y + side);
    if (!left) left = moving(x - 1, y + side - 1);
    Vector above = moving(x + side, y - 1);
    if (!above) above = moving(x + side - 1, y - 1);
    if (!above) above = moving(x - 1, y - 1);
    if (!left) return {above.value_or(HevcVector()), HevcVector()};
    return {*left, above && *above != *left ? *above : HevcVector()};
}

void HevcMotion::codeVector(CabacWriter& cabac, int x, int y, int side, HevcVector vector) const {
    const auto [first, second] = predictors(x, y, side);
    const bool isSecond = bitsOf(vector, second) < bitsOf(vector, first);
    codeDifference(cabac, vector, isSecond ? second : first);
    cabac.bin(hevc::predictorContext, isSecond);
}

}  // namespace lumicrate::media
