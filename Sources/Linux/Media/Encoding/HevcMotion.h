// SPDX-License-Identifier: GPL-3.0-or-later
// HevcMotion: the motion of a picture's blocks, and its syntax in HEVC (ITU-T H.265, 7.3.8.6 and 8.5.3.2).
//
// A vector is coded relative to those of the blocks around, or as the same as one of them. All are whole
// pixels of the one reference picture.
#pragma once

#include "Linux/Media/Encoding/CabacWriter.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace lumicrate::media {

/// Pixels from a block to where its prediction is in the reference picture.
struct HevcVector {
    std::int16_t x = 0;
    std::int16_t y = 0;
    bool operator==(const HevcVector&) const = default;
};

class HevcMotion {
 public:
    /// How many candidates a slice has whose blocks move, and one in which all are at rest.
    static constexpr int maxCandidates = 5;

    /// Size in blocks of 8 × 8 pixels, in which all places are given.
    HevcMotion(int columns, int rows);

    /// Begins a picture. `candidates` is 1 or maxCandidates.
    void begin(int candidates);
    /// Records a coded block of `side` × `side`; without a vector if it is predicted from its own picture.
    void set(int x, int y, int side, const std::optional<HevcVector>& vector);
    bool isCoded(int x, int y) const {
        return x >= 0 && y >= 0 && x < columns_ && y < rows_ && at(x, y).state != State::later;
    }
    /// Which candidate of the block at that place has a vector; negative if none has.
    int candidate(int x, int y, int side, HevcVector vector) const;
    /// Codes the number of a candidate.
    void codeCandidate(CabacWriter& cabac, int number) const;
    /// Codes the vector of the block at that place.
    void codeVector(CabacWriter& cabac, int x, int y, int side, HevcVector vector) const;

 private:
    enum class State : std::uint8_t { later, still, moving };
    struct Block {
        State state = State::later;  ///< `still` is predicted from its own picture
        HevcVector vector;
    };
    const Block& at(int x, int y) const {
        return blocks_[static_cast<std::size_t>(y) * static_cast<std::size_t>(columns_) +
                       static_cast<std::size_t>(x)];
    }
    std::optional<HevcVector> moving(int x, int y) const;
    std::array<HevcVector, 2> predictors(int x, int y, int side) const;

    int columns_;
    int rows_;
    int candidates_ = 1;
    std::vector<Block> blocks_;
};

}  // namespace lumicrate::media
