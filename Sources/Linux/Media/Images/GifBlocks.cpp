// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Images/GifBlocks.h"

#include "Support/Error.h"

#include <gif_lib.h>

#include <array>
#include <memory>
#include <new>
#include <utility>

namespace lumicrate::media {

namespace {

struct FreeColors {
    void operator()(ColorMapObject* map) const noexcept { GifFreeMapObject(map); }
};
using ColorMap = std::unique_ptr<ColorMapObject, FreeColors>;

[[noreturn]] void fail(int error) {
    if (error == E_GIF_ERR_NOT_ENOUGH_MEM) throw std::bad_alloc();
    throw PlatformError(localized("The GIF couldn't be made."), error);
}

/// The palette's colours, and one more for transparency.
ColorMap colorMapOf(const Palette& palette) {
    const int count = 1 << GifBitSize(static_cast<int>(palette.colors().size()) + 1);
    ColorMap map(GifMakeMapObject(count, nullptr));
    if (!map) throw std::bad_alloc();
    GifColorType* to = map->Colors;
    for (const Color& color : palette.colors()) {
        *to++ = {static_cast<GifByteType>(color[0]), static_cast<GifByteType>(color[1]),
                 static_cast<GifByteType>(color[2])};
    }
    return map;
}

}  // namespace

GifBlocks::GifBlocks(std::vector<std::uint8_t>& bytes) : bytes_(bytes) {
    int error = 0;
    gif_ = EGifOpen(this, write, &error);
    if (gif_ == nullptr) fail(error);
    EGifSetGifVersion(gif_, true);
}

GifBlocks::~GifBlocks() {
    if (gif_ != nullptr) EGifCloseFile(gif_, nullptr);
}

void GifBlocks::begin(int width, int height, const Palette& palette) {
    constexpr int bitsOfChannel = 8;
    check(EGifPutScreenDesc(gif_, width, height, bitsOfChannel, 0, colorMapOf(palette).get()));
    constexpr char application[] = "NETSCAPE2.0";
    constexpr std::array<GifByteType, 3> endlessRepetition{1, 0, 0};
    check(EGifPutExtensionLeader(gif_, APPLICATION_EXT_FUNC_CODE));
    check(EGifPutExtensionBlock(gif_, sizeof application - 1, application));
    check(EGifPutExtensionBlock(gif_, endlessRepetition.size(), endlessRepetition.data()));
    check(EGifPutExtensionTrailer(gif_));
}

void GifBlocks::append(const IndexedFrame& frame, int hundredths) {
    // The frame stays under the next one, and has a transparent colour.
    const GraphicsControlBlock control{DISPOSE_DO_NOT, false, hundredths,
                                       static_cast<int>(frame.palette->colors().size())};
    std::array<GifByteType, 4> packed{};
    EGifGCBToExtension(&control, packed.data());
    check(EGifPutExtension(gif_, GRAPHICS_EXT_FUNC_CODE, packed.size(), packed.data()));

    const ColorMap own = frame.isFirstPalette ? nullptr : colorMapOf(*frame.palette);
    check(EGifPutImageDesc(gif_, frame.area.x, frame.area.y, frame.area.width, frame.area.height, false,
                           own.get()));
    indices_ = frame.indices;  // giflib modifies what it compresses
    check(EGifPutLine(gif_, indices_.data(), static_cast<int>(indices_.size())));
    // giflib keeps a copy of the map and leaks it when the next frame has none.
    GifFreeMapObject(std::exchange(gif_->Image.ColorMap, nullptr));
}

void GifBlocks::finish() {
    int error = 0;
    if (EGifCloseFile(std::exchange(gif_, nullptr), &error) == GIF_ERROR) {
        if (failure_) std::rethrow_exception(failure_);
        fail(error);
    }
}

int GifBlocks::write(GifFileType* gif, const unsigned char* bytes, int size) noexcept {
    auto& self = *static_cast<GifBlocks*>(gif->UserData);
    try {
        self.bytes_.insert(self.bytes_.end(), bytes, bytes + size);
        return size;
    } catch (...) {
        self.failure_ = std::current_exception();
        return 0;
    }
}

void GifBlocks::check(int result) {
    if (result == GIF_OK) return;
    if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
    fail(gif_->Error);
}

}  // namespace lumicrate::media
