// SPDX-License-Identifier: GPL-3.0-or-later
// The adaptive contexts of HEVC's syntax elements, as far as our own coder writes them: where each element's
// begin, and their initial values (ITU-T H.265, 9.3.2.2).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace lumicrate::media::hevc {

inline constexpr std::size_t splitContexts = 0;
inline constexpr std::size_t skipContexts = 3;
inline constexpr std::size_t intraContext = 6;
inline constexpr std::size_t wholeContext = 7;
inline constexpr std::size_t mergeContext = 8;
inline constexpr std::size_t lumaContexts = 9;
inline constexpr std::size_t chromaContext = 11;
inline constexpr std::size_t lastXContexts = 12;
inline constexpr std::size_t lastYContexts = 30;
inline constexpr std::size_t groupContexts = 48;
inline constexpr std::size_t coefficientContexts = 52;
inline constexpr std::size_t aboveOneContexts = 94;
inline constexpr std::size_t aboveTwoContexts = 118;
inline constexpr std::size_t candidateContext = 124;
inline constexpr std::size_t vectorContexts = 125;
inline constexpr std::size_t predictorContext = 127;
inline constexpr std::size_t anyCodedContext = 128;
inline constexpr std::size_t likelyModeContext = 129;
inline constexpr std::size_t chromaModeContext = 130;
inline constexpr std::size_t plainContexts = 131;

using InitialContexts = std::array<std::uint8_t, 133>;

/// Of slices predicted from one picture.
inline constexpr InitialContexts predictedContexts{
    107, 139, 126,  // split
    197, 185, 201,  // skipped
    149,            // predicted from its own picture
    154,            // not divided into parts
    110,            // motion of a neighbour
    153, 111,       // luma is coded: in a part, in the whole block
    149,            // chroma is coded
    // last coefficient: column
    125, 110, 94, 110, 95, 79, 125, 111, 110, 78, 110, 111, 111, 95, 94, 108, 123, 108,
    // row
    125, 110, 94, 110, 95, 79, 125, 111, 110, 78, 110, 111, 111, 95, 94, 108, 123, 108,
    // group of coefficients is coded
    121, 140, 61, 154,
    // coefficient is not zero: luma
    155, 154, 139, 153, 139, 123, 123, 63, 153, 166, 183, 140, 136, 153, 154, 166, 183, 140, 136, 153, 154,
    166, 183, 140, 136, 153, 154,
    // chroma
    170, 153, 123, 123, 107, 121, 107, 121, 167, 151, 183, 140, 151, 183, 140,
    // above one
    154, 196, 196, 167, 154, 152, 167, 182, 182, 134, 149, 136, 153, 121, 136, 137, 169, 194, 166, 167, 154,
    167, 137, 182,
    // above two
    107, 167, 91, 122, 107, 167,
    122,       // which neighbour's motion
    140, 198,  // difference of vectors: not zero, above one
    168,       // which predictor of a vector
    79,        // anything is coded
    154,       // one of the three likely modes
    152,       // another mode of chroma
    139, 139   // without a transform: luma, chroma
};

/// Of slices of a key picture.
inline constexpr InitialContexts keyContexts{
    139, 141, 157,  //
    154, 154, 154,  // no blocks are skipped
    154,            //
    184,            //
    154,            //
    111, 141,       //
    94,             //
    110, 110, 124, 125, 140, 153, 125, 127, 140, 109, 111, 143, 127, 111, 79,  108, 123, 63,  110, 110,
    124, 125, 140, 153, 125, 127, 140, 109, 111, 143, 127, 111, 79,  108, 123, 63,  91,  171, 134, 141,  //
    111, 111, 125, 110, 110, 94,  124, 108, 124, 107, 125, 141, 179, 153, 125, 107, 125, 141, 179, 153,
    125, 107, 125, 141, 179, 153, 125,  //
    140, 139, 182, 182, 152, 136, 152, 136, 153, 136, 139, 111, 136, 139, 111, 140, 92,  137, 138, 140,
    152, 138, 139, 153, 74,  149, 92,  139, 107, 122, 152, 140, 179, 166, 182, 140, 227, 122, 197,  //
    138, 153, 136, 167, 152, 152,                                                                   //
    154,       // no motion
    154, 154,  //
    154,       //
    154,       //
    184,       //
    63,        //
    139, 139};

}  // namespace lumicrate::media::hevc
