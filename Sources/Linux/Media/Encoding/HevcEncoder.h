// SPDX-License-Identifier: GPL-3.0-or-later
// HevcEncoder: encodes pictures in HEVC, Main profile, with libx265.
#pragma once

#include "Linux/Media/Encoding/HevcKeyBands.h"
#include "Linux/Media/Encoding/HevcPatchCoder.h"
#include "Linux/Media/Encoding/VideoEncoder.h"

#include <x265.h>

#include <memory>
#include <string>
#include <vector>

namespace lumicrate::media {

/// libx265 cannot be told which blocks are unchanged and analyses them all. HevcPatchCoder codes the pictures
/// in which little changed, or which were scrolled; libx265 then goes on from its own last picture, which
/// decoders keep. While nothing else changes, HevcKeyBands and HevcPatchCoder code the key pictures too, from
/// which libx265 cannot go on: the next picture in which more changes is a key picture again.
class HevcEncoder final : public VideoEncoder {
 public:
    /// Minimum coded width and height, pixels.
    static constexpr int minSide = 16;

    /// Throws PlatformError when the encoder cannot be set up.
    explicit HevcEncoder(const Settings& settings);

 private:
    void fillParameters();
    void tuneForScreens();
    void readHeaders();
    void splitChroma(const CVPixelBuffer& picture);
    static bool isFullOfText(const CVPixelBuffer& picture);
    static int changedBlocks(const Order& order);
    bool isPatch(const Order& order) const;
    bool isOwnKey(const Order& order) const;
    bool isCalm(const Order& order) const;
    bool codePatch(const Order& order);
    bool codeBands(const Order& order);
    void codeAnew(const Order& order);
    bool canContinue(const Order& order) const override;
    std::span<const std::uint8_t> code(const Order& order) override;

    const x265_api& library_;
    /// The number of threads as text; the parameters point to it.
    std::string threads_;
    std::unique_ptr<x265_param, void (*)(x265_param*)> parameters_;
    std::unique_ptr<x265_encoder, void (*)(x265_encoder*)> encoder_;
    std::vector<std::uint8_t> cb_;
    std::vector<std::uint8_t> cr_;
    std::vector<std::uint8_t> sample_;
    std::optional<HevcSequence> sequence_;
    std::optional<HevcPatchCoder> patches_;  ///< none where it does not support what libx265 writes
    std::optional<HevcKeyBands> bands_;
    /// What libx265 keeps of its last picture, until it codes the next one.
    std::array<DecodedPlane, 3> decoded_{};
    int lastNumber_ = -1;  ///< of the last picture in the stream, from 0 for a key picture
    /// Of the last one coded by libx265; none if decoders do not have it.
    std::optional<int> numberAnew_;
    bool isRenumbered_ = false;           ///< libx265's own numbers are others since the first patch
    std::int64_t calmSince_ = 0;          ///< the time of the last picture in which more changed
    std::optional<std::int64_t> anewAt_;  ///< the time of the last one coded by libx265
};

}  // namespace lumicrate::media
