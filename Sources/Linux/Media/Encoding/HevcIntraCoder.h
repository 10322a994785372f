// SPDX-License-Identifier: GPL-3.0-or-later
// HevcIntraCoder: codes blocks of 8 × 8 pixels from the pixels around them, for what is new in a picture.
//
// A block of text is better divided: a quarter of 4 × 4 pixels is coded with or without a transform,
// whichever takes fewer bits. Strokes of a pixel or two take fewer without.
#pragma once

#include "Linux/Media/Encoding/CabacWriter.h"
#include "Linux/Media/Encoding/HevcIntra.h"
#include "Linux/Media/Encoding/HevcMotion.h"
#include "Linux/Media/Encoding/HevcPlanes.h"
#include "Linux/Media/Encoding/HevcResidual.h"

#include <array>
#include <optional>
#include <vector>

namespace lumicrate::media {

class HevcIntraCoder {
 public:
    /// Of the pictures; `log2Tree` is that of the side of the largest block.
    HevcIntraCoder(int width, int height, int log2Tree);

    /// Begins a picture. `coded` says which blocks are coded already, and must outlive it.
    void begin(HevcPlanes& picture, const HevcMotion& coded, int quantizer);
    /// Codes the block of 8 × 8 pixels at that place, from the syntax of its parts on, and puts what a
    /// decoder shows into the picture.
    void code(CabacWriter& cabac, const HevcBlock& source, int x, int y);
    /// Predicts a block of 16 or 32 pixels of one colour, of which `source` is a part, and puts the
    /// prediction into the picture. None if it is not close enough alone.
    std::optional<hevc::IntraMode> predictFlat(const HevcBlock& source, int x, int y, int side);
    /// Codes that block.
    void codeFlat(CabacWriter& cabac, int x, int y, hevc::IntraMode mode);

 private:
    struct Part {
        hevc::IntraMode mode = hevc::IntraMode::mean;
        hevc::Transform transform = hevc::Transform::cosine;
        bool isCoded = false;
        hevc::Square levels;
        double cost = 0;
    };
    struct Choice {
        bool isDivided = false;
        std::array<Part, 4> luma;  ///< one, or those of the quarters
        std::array<Part, 2> chroma;
        double cost = 0;
    };

    bool isAvailable(int x, int y) const;
    hevc::IntraEdges edges(std::size_t plane, int x, int y, int side) const;
    hevc::IntraMode modeAt(int x, int y) const;
    hevc::IntraModeCode modeCode(int x, int y, hevc::IntraMode mode) const;
    void setMode(int x, int y, int side, hevc::IntraMode mode);
    Part choosePart(std::size_t plane, const std::uint8_t* source, int sourceStride, int x, int y, int side,
                    std::uint8_t* decoded);
    void tryTransform(Part& part, const hevc::Square& difference, const std::uint8_t* source,
                      int sourceStride, int side, hevc::Transform transform, int quantizer,
                      const std::uint8_t* predicted, std::uint8_t* decoded) const;
    void chooseParts(Choice& choice, const HevcBlock& source, int x, int y);
    void chooseChroma(Choice& choice, const HevcBlock& source, int x, int y);
    void codeModes(CabacWriter& cabac, const Choice& choice, int x, int y);

    int columns_;  ///< of 4 × 4 pixels
    int rows_;
    int tree_;
    std::vector<hevc::IntraMode> modes_;
    HevcPlanes* picture_ = nullptr;
    const HevcMotion* coded_ = nullptr;
    int quantizer_ = 0;
    double bitCost_ = 0;  ///< of a bit, in squared differences
    int blockX_ = 0;      ///< of the block being coded
    int blockY_ = 0;
    int quarters_ = 0;  ///< of it, that are coded already
};

}  // namespace lumicrate::media
