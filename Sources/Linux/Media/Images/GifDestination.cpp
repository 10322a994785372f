// SPDX-License-Identifier: GPL-3.0-or-later
// GifDestination: the CGImageDestination of ImageIO that writes an animated GIF file.
#include "Linux/Media/Files/AtomicFile.h"
#include "Linux/Media/Images/FrameQuantizer.h"
#include "Linux/Media/Images/ImageIO.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <gif_lib.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <exception>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace lumicrate::media {

namespace {

constexpr std::size_t bytesAtOnce = 1 << 18;

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

/// Encodes an animated GIF with giflib. Appends to `bytes`, which the owner may empty between calls. One
/// thread at a time. Throws PlatformError.
class GifBlocks {
 public:
    explicit GifBlocks(std::vector<std::uint8_t>& bytes);
    ~GifBlocks();
    GifBlocks(const GifBlocks&) = delete;
    GifBlocks& operator=(const GifBlocks&) = delete;

    /// A GIF that loops forever, with the first frame's palette. At most 65535 pixels in each direction.
    void begin(int width, int height, const Palette& palette);
    void append(const IndexedFrame& frame, int hundredths);
    /// Nothing may be appended after that.
    void finish();

 private:
    static int write(GifFileType* gif, const unsigned char* bytes, int size) noexcept;
    void check(int result);

    std::vector<std::uint8_t>& bytes_;
    std::exception_ptr failure_;  // from the callback, which must not throw into C
    GifFileType* gif_ = nullptr;
    std::vector<std::uint8_t> indices_;
};

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

/// Writes the file image by image. GIF counts hundredths of a second. The total duration of all images so far
/// is rounded, not each delay: at 12 images a second the delays are 8, 9, 8, 8, 9 … hundredths, and 60 images
/// last 5.00 s. Every image becomes a frame, if only of one transparent pixel.
class GifDestination final : public CGImageDestination {
 public:
    /// Creates the file. Throws PlatformError.
    GifDestination(const std::filesystem::path& url, double quality) : file_(url), quantizer_(quality) {}

    /// All images must have the size of the first, at most 65535 pixels in each direction.
    void addImage(const CGImage& image, CMTime delay) override;
    std::uint64_t size() const override {
        constexpr std::uint64_t trailer = 1;
        return written_ + bytes_.size() + trailer;
    }
    void finalize() override;

 private:
    int roundedDelay(CMTime delay);
    void flush();

    AtomicFile file_;
    std::vector<std::uint8_t> bytes_;  // not yet written
    GifBlocks blocks_{bytes_};
    std::uint64_t written_ = 0;
    FrameQuantizer quantizer_;
    CMTime elapsed_ = CMTime::zero();
    std::int64_t elapsedHundredths_ = 0;
};

void GifDestination::addImage(const CGImage& image, CMTime delay) {
    const bool isFirst = elapsed_ == CMTime::zero();
    const IndexedFrame& frame = quantizer_.add(image);
    if (isFirst) blocks_.begin(image.width, image.height, *frame.palette);
    blocks_.append(frame, roundedDelay(delay));
    if (bytes_.size() >= bytesAtOnce) flush();
}

void GifDestination::finalize() {
    if (elapsed_ == CMTime::zero()) throw PlatformError(localized("The movie has no pictures."));
    blocks_.finish();
    flush();
    file_.publish();
    log(LogArea::movie, "published a GIF of ", elapsed_.seconds(), " s, ", written_, " bytes");
}

int GifDestination::roundedDelay(CMTime delay) {
    constexpr std::int64_t longest = 0xffff;
    elapsed_ = elapsed_ + delay;
    const std::int64_t rounded = std::min(elapsed_.converted(100) - elapsedHundredths_, longest);
    elapsedHundredths_ += rounded;
    return static_cast<int>(rounded);
}

void GifDestination::flush() {
    file_.write(written_, bytes_);
    written_ += bytes_.size();
    bytes_.clear();
}

}  // namespace

std::unique_ptr<CGImageDestination> makeGIF(const std::filesystem::path& url, double quality) {
    return std::make_unique<GifDestination>(url, quality);
}

}  // namespace lumicrate::media
