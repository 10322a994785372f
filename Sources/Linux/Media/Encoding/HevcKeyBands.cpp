// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/HevcKeyBands.h"

#include "Support/Log.h"

#include <algorithm>
#include <bit>

namespace lumicrate::media {

namespace {

constexpr int bandHeight = 64;
constexpr int macroblock = 16;
constexpr std::size_t bytesOfLength = 4;

int differingBits(std::span<const std::uint8_t> one, std::span<const std::uint8_t> other) {
    if (one.size() != other.size()) return -1;
    int count = 0;
    for (std::size_t i = 0; i < one.size(); ++i)
        count += std::popcount(static_cast<unsigned>(one[i] ^ other[i]));
    return count;
}

}  // namespace

HevcKeyBands::HevcKeyBands(const x265_api& library, const x265_param& parameters,
                           const HevcSequence& sequence, std::vector<std::uint8_t> pictureSet)
    : library_(library), parameters_(parameters), sequence_(sequence), pictureSet_(std::move(pictureSet)) {
    // A slice begins with a row of the largest blocks, and libx265 codes no picture smaller than one.
    if (bandHeight % (1 << sequence.log2Tree) != 0) return;
    const int count = parameters.sourceHeight / bandHeight;
    for (int i = 0; i < count; ++i) {
        const int top = i * bandHeight;
        bands_.push_back({top, i + 1 < count ? bandHeight : parameters.sourceHeight - top, true, 0, {}, {}});
    }
}

void HevcKeyBands::note(std::span<const std::uint8_t> constantBlocks) {
    const auto columns = static_cast<std::size_t>((parameters_.sourceWidth + macroblock - 1) / macroblock);
    for (Band& band : bands_) {
        const std::size_t begin = static_cast<std::size_t>(band.top / macroblock) * columns;
        const std::size_t end =
            static_cast<std::size_t>((band.top + band.height + macroblock - 1) / macroblock) * columns;
        if (end > constantBlocks.size()) {
            band.isChanged = true;
            continue;
        }
        const auto flags = constantBlocks.subspan(begin, end - begin);
        band.isChanged = band.isChanged || std::find(flags.begin(), flags.end(), 0) != flags.end();
    }
}

bool HevcKeyBands::open(Encoder& encoder, int height) const {
    x265_param parameters = parameters_;
    parameters.sourceHeight = height;
    encoder.library = {library_.encoder_open(&parameters), library_.encoder_close};
    x265_nal* units = nullptr;
    std::uint32_t count = 0;
    if (!encoder.library || library_.encoder_headers(encoder.library.get(), &units, &count) < 0) return false;
    std::span<const std::uint8_t> sequence;
    std::span<const std::uint8_t> picture;
    for (const x265_nal& unit : std::span(units, count)) {
        const auto body = std::span<const std::uint8_t>(unit.payload, unit.sizeBytes).subspan(bytesOfLength);
        if (unit.type == NAL_UNIT_SPS) sequence = body;
        if (unit.type == NAL_UNIT_PPS) picture = body;
    }
    const std::optional<HevcSequence> parsed = parseHevcSequence(sequence, picture);
    if (!parsed) return false;
    encoder.sequence = *parsed;
    // The slices are decoded with the parameter sets of the whole picture. Without wavefronts, which libx265
    // does not use for a single row of blocks, such a row is coded the same.
    const bool isSingleRow = height <= 1 << sequence_.log2Tree;
    const bool differs = parsed->wavefronts != sequence_.wavefronts;
    return parsed->log2Tree == sequence_.log2Tree && parsed->width == sequence_.width &&
           differingBits(picture, pictureSet_) == (differs ? 1 : 0) && (isSingleRow || !differs);
}

bool HevcKeyBands::codeBand(Band& band, const PlanarPicture& picture, int quantizer) {
    const bool isLast = &band == &bands_.back();
    Encoder& encoder = isLast ? last_ : upper_;
    if (!encoder.library && !open(encoder, band.height)) return false;
    x265_picture input;
    x265_picture decoded;
    library_.picture_init(&parameters_, &input);
    library_.picture_init(&parameters_, &decoded);
    for (std::size_t i = 0; i < 3; ++i) {
        const int top = i == 0 ? band.top : band.top / 2;
        input.planes[i] =
            const_cast<std::uint8_t*>(picture.planes[i] + std::ptrdiff_t{top} * picture.strides[i]);
        input.stride[i] = picture.strides[i];
    }
    input.bitDepth = 8;
    input.sliceType = X265_TYPE_IDR;
    input.forceqp = quantizer + 1;
    x265_nal* units = nullptr;
    std::uint32_t count = 0;
    if (library_.encoder_encode(encoder.library.get(), &units, &count, &input, &decoded) <= 0 || count != 1)
        return false;
    const auto slice = std::span<const std::uint8_t>(units->payload, units->sizeBytes).subspan(bytesOfLength);
    band.slice.clear();
    if (!appendBand(band.slice, slice, encoder.sequence, sequence_, band.top)) return false;
    for (std::size_t i = 0; i < 3; ++i) {
        const int width = i == 0 ? sequence_.width : sequence_.width / 2;
        const int height = ((band.height + 7) & ~7) / (i == 0 ? 1 : 2);
        band.decoded[i].resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
        const auto* plane = static_cast<const std::uint8_t*>(decoded.planes[i]);
        for (int row = 0; row < height; ++row)
            std::copy_n(plane + std::ptrdiff_t{row} * decoded.stride[i], width,
                        band.decoded[i].begin() + std::ptrdiff_t{row} * width);
    }
    band.quantizer = quantizer;
    band.isChanged = false;
    return true;
}

bool HevcKeyBands::code(const PlanarPicture& picture, int quantizer, std::vector<std::uint8_t>& sample) {
    int coded = 0;
    for (Band& band : bands_) {
        if (!band.isChanged && band.quantizer <= quantizer) continue;
        if (!codeBand(band, picture, quantizer)) {
            bands_.clear();  // never again
            return false;
        }
        ++coded;
    }
    for (const Band& band : bands_)
        sample.insert(sample.end(), band.slice.begin(), band.slice.end());
    log(LogArea::encoder, "key picture: ", coded, " of ", bands_.size(), " bands coded");
    return true;
}

void HevcKeyBands::setReference(HevcPatchCoder& patches) const {
    for (const Band& band : bands_) {
        std::array<DecodedPlane, 3> planes;
        for (std::size_t i = 0; i < 3; ++i)
            planes[i] = {band.decoded[i].data(), i == 0 ? sequence_.width : sequence_.width / 2};
        patches.setReference(planes, band.top, (band.height + 7) & ~7);
    }
}

}  // namespace lumicrate::media
