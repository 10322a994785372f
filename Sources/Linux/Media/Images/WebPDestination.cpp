// SPDX-License-Identifier: GPL-3.0-or-later
// WebPDestination: the CGImageDestination of ImageIO that writes an animated WebP file.
//
// The file is a RIFF container: a header, then a chunk for each frame with its place, its duration and a
// picture, which libwebp encodes. Only what changes is drawn: a frame is the rectangle around all changed
// blocks, and the blocks in it that did not change are transparent. While nothing changes, the last frame
// lasts longer.
#include "Linux/Media/Files/AtomicFile.h"
#include "Linux/Media/Files/Failure.h"
#include "Linux/Media/Images/ImageIO.h"
#include "Linux/Media/Images/Palette.h"
#include "Linux/Media/Libav.h"
#include "Support/Error.h"
#include "Support/Geometry.h"
#include "Support/Log.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

extern "C" {
#include <libavutil/opt.h>
}

namespace lumicrate::media {

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::string_view cannotEncode = translatable("The animation couldn't be made");
/// The library's quality factors for the lowest and the highest quality.
constexpr double minFactor = 30;
constexpr double maxFactor = 88;
/// From 0, fast, to 6, small.
constexpr int effort = 3;
/// Differences of a pixel that are not drawn, for the lowest and the highest quality: those of six and three
/// steps in each channel, because the pictures of movies are never quite the same.
constexpr int mostInvisible = 252;
constexpr int leastInvisible = 63;
constexpr int block = 16;

void append(Bytes& bytes, std::string_view text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
}

/// Little endian.
void append(Bytes& bytes, std::uint64_t number, int size) {
    for (int i = 0; i < size; ++i)
        bytes.push_back(static_cast<std::uint8_t>(number >> (8 * i) & 0xFF));
}

std::uint32_t numberAt(std::span<const std::uint8_t> bytes) {
    return std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
           std::uint32_t{bytes[3]} << 24;
}

/// The chunks of a single picture's file, without those of its container.
Bytes pictureChunks(std::span<const std::uint8_t> file) {
    constexpr std::size_t riffHeader = 12;
    constexpr std::size_t chunkHeader = 8;
    Bytes chunks;
    for (std::size_t at = riffHeader; at + chunkHeader <= file.size();) {
        const std::size_t content = numberAt(file.subspan(at + 4));
        const std::size_t size = std::min(chunkHeader + content + content % 2, file.size() - at);
        if (file[at + 3] != 'X')  // "VP8X"
            chunks.insert(chunks.end(), file.begin() + static_cast<std::ptrdiff_t>(at),
                          file.begin() + static_cast<std::ptrdiff_t>(at + size));
        at += size;
    }
    return chunks;
}

/// Finds the blocks of each picture that must be drawn again.
class ChangedBlocks {
 public:
    explicit ChangedBlocks(double quality)
        : invisible_(static_cast<int>(std::lround(std::lerp(mostInvisible, leastInvisible, quality)))) {}

    /// The rectangle around the changed blocks; nothing without any. Its position is even.
    std::optional<PixelRect> find(const CGImage& image);
    /// Whether the block that contains a pixel has changed.
    bool hasChanged(int x, int y) const { return changed_[index(x / block, y / block)]; }

 private:
    std::size_t index(int column, int row) const { return static_cast<std::size_t>(row * columns_ + column); }
    bool differs(const CGImage& image, const PixelRect& area) const;

    int invisible_;
    int columns_ = 0;
    std::vector<bool> changed_;
    CGImage drawn_;  // each block as it was when it was drawn
};

bool ChangedBlocks::differs(const CGImage& image, const PixelRect& area) const {
    if (drawn_.pixels.empty()) return true;
    for (int y = area.y; y < area.maxY(); ++y) {
        const auto row = static_cast<std::size_t>(y * image.width + area.x) * 3;
        for (std::size_t i = row; i < row + static_cast<std::size_t>(area.width) * 3; i += 3) {
            if (difference(colorAt(&image.pixels[i]), colorAt(&drawn_.pixels[i])) > invisible_) return true;
        }
    }
    return false;
}

std::optional<PixelRect> ChangedBlocks::find(const CGImage& image) {
    columns_ = (image.width + block - 1) / block;
    const int rows = (image.height + block - 1) / block;
    changed_.assign(static_cast<std::size_t>(columns_ * rows), false);
    int left = image.width, right = 0, top = image.height, bottom = 0;
    for (int y = 0; y < image.height; y += block) {
        for (int x = 0; x < image.width; x += block) {
            const PixelRect area{x, y, std::min(block, image.width - x), std::min(block, image.height - y)};
            if (!differs(image, area)) continue;
            changed_[index(x / block, y / block)] = true;
            left = std::min(left, x);
            right = std::max(right, area.maxX());
            top = std::min(top, y);
            bottom = area.maxY();
        }
    }
    if (bottom == 0) return std::nullopt;
    if (drawn_.pixels.empty()) drawn_ = image;
    for (int y = top; y < bottom; ++y) {
        for (int x = left; x < right; ++x) {
            if (!hasChanged(x, y)) continue;
            const auto at = static_cast<std::ptrdiff_t>(y * image.width + x) * 3;
            std::copy_n(image.pixels.begin() + at, 3, drawn_.pixels.begin() + at);
        }
    }
    return PixelRect{left, top, right - left, bottom - top};
}

/// One thread. Throws PlatformError.
class PictureEncoder {
 public:
    explicit PictureEncoder(double quality) : factor_(std::lerp(minFactor, maxFactor, quality)) {}

    /// The chunks of a picture of `area`, in which the blocks that did not change are transparent.
    Bytes encode(const CGImage& image, const PixelRect& area, const ChangedBlocks& blocks);

 private:
    void prepare(const PixelRect& area);

    double factor_;
    OwnedCodec encoder_;
    OwnedFrame frame_ = makeFrame();
    OwnedPacket packet_ = makePacket();
};

void PictureEncoder::prepare(const PixelRect& area) {
    if (encoder_ && encoder_->width == area.width && encoder_->height == area.height) return;
    const AVCodec* codec = avcodec_find_encoder_by_name("libwebp");
    if (codec == nullptr) failWithCode(cannotEncode, AVERROR_ENCODER_NOT_FOUND);
    encoder_.reset(avcodec_alloc_context3(codec));
    if (!encoder_) throw std::bad_alloc();
    encoder_->width = area.width;
    encoder_->height = area.height;
    encoder_->pix_fmt = AV_PIX_FMT_RGB32;
    encoder_->time_base = {1, 1};
    encoder_->compression_level = effort;
    av_opt_set_double(encoder_->priv_data, "quality", factor_, 0);
    av_opt_set(encoder_->priv_data, "preset", "text", 0);
    checked(avcodec_open2(encoder_.get(), codec, nullptr), cannotEncode);
}

Bytes PictureEncoder::encode(const CGImage& image, const PixelRect& area, const ChangedBlocks& blocks) {
    prepare(area);
    av_frame_unref(frame_.get());
    frame_->format = encoder_->pix_fmt;
    frame_->width = area.width;
    frame_->height = area.height;
    checked(av_frame_get_buffer(frame_.get(), 0), cannotEncode);
    for (int y = 0; y < area.height; ++y) {
        auto* to =
            reinterpret_cast<std::uint32_t*>(frame_->data[0] + std::ptrdiff_t{y} * frame_->linesize[0]);
        const std::uint8_t* from =
            &image.pixels[static_cast<std::size_t>((area.y + y) * image.width + area.x) * 3];
        for (int x = 0; x < area.width; ++x, from += 3) {
            const std::uint32_t alpha = blocks.hasChanged(area.x + x, area.y + y) ? 0xFF000000 : 0;
            *to++ = alpha | std::uint32_t{from[0]} << 16 | std::uint32_t{from[1]} << 8 | from[2];
        }
    }
    checked(avcodec_send_frame(encoder_.get(), frame_.get()), cannotEncode);
    checked(avcodec_receive_packet(encoder_.get(), packet_.get()), cannotEncode);
    Bytes chunks = pictureChunks({packet_->data, static_cast<std::size_t>(packet_->size)});
    av_packet_unref(packet_.get());
    return chunks;
}

/// Durations are whole milliseconds. As in a GIF, the time of all images so far is rounded, not each of them.
class WebPDestination final : public CGImageDestination {
 public:
    /// Creates the file. Throws PlatformError.
    WebPDestination(const std::filesystem::path& url, double quality)
        : file_(url), blocks_(quality), encoder_(quality) {}

    /// All images must have the size of the first, at most 16383 pixels in each direction.
    void addImage(const CGImage& image, CMTime delay) override;
    std::uint64_t size() const override { return written_ + frameSize(); }
    void finalize() override;

 private:
    static constexpr std::size_t frameHeader = 8 + 16;

    std::size_t frameSize() const { return pending_.empty() ? 0 : frameHeader + pending_.size(); }
    void begin(const CGImage& image);
    void writePending();
    void write(const Bytes& bytes);

    AtomicFile file_;
    ChangedBlocks blocks_;
    PictureEncoder encoder_;
    std::uint64_t written_ = 0;
    Bytes pending_;  // the picture of the last frame, which is written when its duration is known
    PixelRect area_;
    std::int64_t begin_ = 0;  // of that frame, ms
    CMTime elapsed_ = CMTime::zero();
};

void WebPDestination::begin(const CGImage& image) {
    Bytes head;
    append(head, "RIFF");
    append(head, 0, 4);  // the size, written at the end
    append(head, "WEBPVP8X");
    append(head, 10, 4);
    constexpr std::uint64_t isAnimation = 0x02, hasAlpha = 0x10;
    append(head, isAnimation | hasAlpha, 4);
    append(head, static_cast<std::uint64_t>(image.width - 1), 3);
    append(head, static_cast<std::uint64_t>(image.height - 1), 3);
    append(head, "ANIM");
    append(head, 6, 4);
    append(head, 0, 4);  // background
    append(head, 0, 2);  // endless repetition
    write(head);
}

void WebPDestination::addImage(const CGImage& image, CMTime delay) {
    if (written_ == 0) begin(image);
    if (const auto area = blocks_.find(image)) {
        writePending();
        pending_ = encoder_.encode(image, *area, blocks_);
        area_ = *area;
    }
    elapsed_ = elapsed_ + delay;
}

void WebPDestination::writePending() {
    if (pending_.empty()) return;
    const std::int64_t end = elapsed_.converted(1000);
    Bytes frame;
    append(frame, "ANMF");
    append(frame, frameSize() - 8, 4);
    for (const int number : {area_.x / 2, area_.y / 2, area_.width - 1, area_.height - 1})
        append(frame, static_cast<std::uint64_t>(number), 3);
    constexpr std::int64_t longest = 0xffffff;
    append(frame, static_cast<std::uint64_t>(std::min(end - begin_, longest)), 3);
    append(frame, 0, 1);  // drawn over what was shown, which stays
    write(frame);
    write(pending_);
    pending_.clear();
    begin_ = end;
}

void WebPDestination::finalize() {
    if (written_ == 0) throw PlatformError(localized("The movie has no pictures."));
    writePending();
    Bytes size;
    constexpr std::uint64_t sizeAt = 4;
    append(size, written_ - sizeAt - 4, 4);
    file_.write(sizeAt, size);
    file_.publish();
    log(LogArea::movie, "published a WebP animation of ", elapsed_.seconds(), " s, ", written_, " bytes");
}

void WebPDestination::write(const Bytes& bytes) {
    file_.write(written_, bytes);
    written_ += bytes.size();
}

}  // namespace

std::unique_ptr<CGImageDestination> makeWebP(const std::filesystem::path& url, double quality) {
    return std::make_unique<WebPDestination>(url, quality);
}

}  // namespace lumicrate::media
