#include "Linux/Media/Images/YuvColors.h"

#include <algorithm>
#include <cmath>

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace lumicrate::media {

namespace {

constexpr int fractionBits = 16;

/// What red and blue weigh in the luma.
struct LumaWeights {
    double red;
    double blue;
};

LumaWeights weightsOf(int colorSpace) {
    switch (colorSpace) {
        case AVCOL_SPC_BT709:
            return {0.2126, 0.0722};
        case AVCOL_SPC_FCC:
            return {0.30, 0.11};
        case AVCOL_SPC_SMPTE240M:
            return {0.212, 0.087};
        case AVCOL_SPC_BT2020_NCL:
            return {0.2627, 0.0593};
        default:  // BT.601
            return {0.299, 0.114};
    }
}

int fixed(double number) {
    return static_cast<int>(std::lround(number * (1 << fractionBits)));
}

std::uint8_t toByte(int number) {
    return static_cast<std::uint8_t>(std::clamp(number >> fractionBits, 0, 255));
}

}  // namespace

YuvColors::YuvColors(int colorSpace, bool fullRange) {
    const auto [red, blue] = weightsOf(colorSpace);
    const double green = 1 - red - blue;
    const double luma = fullRange ? 1 : 255.0 / 219;
    const double chroma = fullRange ? 1 : 255.0 / 224;
    lumaGain_ = fixed(luma);
    lumaOffset_ = (1 << (fractionBits - 1)) - (fullRange ? 0 : 16 * lumaGain_);
    crToRed_ = fixed(2 * (1 - red) * chroma);
    cbToBlue_ = fixed(2 * (1 - blue) * chroma);
    cbToGreen_ = fixed(2 * (1 - blue) * blue / green * chroma);
    crToGreen_ = fixed(2 * (1 - red) * red / green * chroma);
}

void YuvColors::convertRow(const std::uint8_t* y, const std::uint8_t* cb, const std::uint8_t* cr, int width,
                           std::uint8_t* rgb, std::ptrdiff_t step) const {
    for (int x = 0; x < width; ++x, rgb += step) {
        const int luma = y[x] * lumaGain_ + lumaOffset_;
        const int blueness = cb[x] - 128;
        const int redness = cr[x] - 128;
        rgb[0] = toByte(luma + redness * crToRed_);
        rgb[1] = toByte(luma - blueness * cbToGreen_ - redness * crToGreen_);
        rgb[2] = toByte(luma + blueness * cbToBlue_);
    }
}

}  // namespace lumicrate::media
