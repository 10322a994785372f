// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Preview/SmallCopy.h"

#include "Lumicrate/Library/DerivedFiles.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <algorithm>
#include <cmath>

namespace lumicrate {

namespace {

/// The part of the limit that is aimed at.
constexpr double aim = 0.965;
/// With fewer bits than this part of those of good quality, text is hard to read: better smaller pictures.
constexpr double legiblePart = 0.25;
/// The same for the smallest pictures, where nothing is left to give up.
constexpr double minPart = 0.1;
/// Bytes change as these powers of the rate and of the side of the pictures.
constexpr double byRate = 0.6;
constexpr double bySide = 1.7;
constexpr double minFps = 10;
constexpr double minScale = 0.3;
/// A picture's and a sound packet's share of the container, with the room that is kept for the index.
constexpr double bytesOfPicture = 48;
constexpr double soundPackets = 48000 / 1024.0;  // per second
constexpr double bytesOfPacket = 24;
constexpr double bytesOfHead = 12'000;

/// Sound gets about a fifth of few bits, and never more than it needs. `rate` is of the whole file.
void chooseSound(double rate, CompactEncoding& encoding) {
    encoding.soundChannels = rate < 400e3 ? 1 : 2;
    encoding.soundBitRate = rate < 200e3 ? 32'000 : rate < 400e3 ? 48'000 : rate < 800e3 ? 64'000 : 96'000;
}

int rateOfSoundAlone(double bytes, double duration) {
    constexpr double min = 24e3;
    constexpr double max = 128e3;
    const double rate = ((bytes - bytesOfHead) / duration - soundPackets * bytesOfPacket) * 8;
    return static_cast<int>(std::clamp(rate, min, max));
}

[[noreturn]] void failAsTooLong(double seconds, std::uint64_t maxBytes) {
    throw LocalizedError(localized("The recording is too long: only about {} of it fit into {}.",
                                   {formatElapsed(std::max(seconds, 0.0)), formatByteCount(maxBytes)}));
}

/// Parts of the work, from 0 to 1.
LongWork partOf(const LongWork& work, double from, double to) {
    return {[&work, from, to](double part) { work.reach(from + (to - from) * part); }, work.stop};
}

}  // namespace

std::optional<CompactEncoding> reducedEncoding(const CompactEncoding& full, double part) {
    CompactEncoding reduced = full;
    double kept = 1;                                                 // of the bytes
    const auto missing = [&] { return kept * legiblePart / part; };  // this many times too many
    if (missing() > 1) {
        reduced.maxFps =
            std::max(full.maxFps * std::pow(missing(), -1 / byRate), std::min(minFps, full.maxFps));
        kept *= std::pow(reduced.maxFps / full.maxFps, byRate);
    }
    if (missing() > 1) {
        const double scale = std::max(std::pow(missing(), -1 / bySide), minScale);
        reduced.maxSize = {full.maxSize.width * scale, full.maxSize.height * scale};
        kept *= std::pow(scale, bySide);
    }
    if (missing() > legiblePart / minPart) return std::nullopt;
    if (full.goodVideoBitRate) reduced.goodVideoBitRate = static_cast<int>(kept * *full.goodVideoBitRate);
    return reduced;
}

std::filesystem::path SmallCopy::save(const std::filesystem::path& url,
                                      const std::filesystem::path& destination, std::uint64_t maxBytes,
                                      const LongWork& work) const {
    if (!destination.empty() && files_.fileExists(destination))
        throw LocalizedError(localized("There is already a file with that name."));
    std::filesystem::path wanted = destination;
    if (wanted.empty()) {
        const bool isSound = !assets_.summary(url).videoSize;
        wanted = url.parent_path() / url.stem();
        wanted += isSound ? "_small.m4a" : "_small.mp4";
    }
    TemporaryFile temporary(files_, wanted, "small");
    encode(url, temporary.url(), maxBytes, work);
    work.reach(1);
    if (destination.empty()) return temporary.moveTo(wanted);
    files_.moveItem(temporary.url(), destination);
    return destination;
}

void SmallCopy::encode(const std::filesystem::path& url, const std::filesystem::path& to,
                       std::uint64_t maxBytes, const LongWork& work) const {
    constexpr double endOfFirst = 0.35;
    constexpr double endOfSecond = 0.9;
    const AVAssetSummary summary = assets_.summary(url);
    const double duration = summary.duration;
    if (!(duration > 0)) throw PlatformError(localized("The file couldn't be read because it is damaged."));
    const auto limit = static_cast<double>(maxBytes);
    CompactEncoding encoding;
    if (summary.videoSize) {
        const double scale = std::min(
            1.0, encoding.maxSize.width / std::max(summary.videoSize->width, summary.videoSize->height));
        encoding.maxSize = {summary.videoSize->width * scale, summary.videoSize->height * scale};
    }
    chooseSound(limit * 8 / duration, encoding);
    if (!summary.videoSize) encoding.soundBitRate = rateOfSoundAlone(limit * aim, duration);
    const double soundRate = summary.audioTracks > 0 ? encoding.soundBitRate : 0;
    const double sound =
        summary.audioTracks > 0 ? duration * (encoding.soundBitRate / 8.0 + soundPackets * bytesOfPacket) : 0;
    if (sound + bytesOfHead > limit) failAsTooLong(duration * (limit - bytesOfHead) / sound, maxBytes);

    const CompactResult first =
        exporter_.exportCompact(url, to, encoding, 2 * maxBytes, partOf(work, 0, endOfFirst));
    const bool isWhole = first.part >= 1;
    log(LogArea::library, "small copy in good quality: ", first.bytes, " bytes, pictures ",
        first.pictureBytes, " for ", first.part);
    if (isWhole && first.bytes <= maxBytes) return;
    if (isWhole) files_.removeItem(to);

    const double pictures =
        std::min<double>(static_cast<double>(assets_.pictureTimes(url).size()), duration * encoding.maxFps);
    const double others = isWhole ? static_cast<double>(first.bytes - first.pictureBytes)
                                  : sound + bytesOfHead + pictures * bytesOfPicture;
    const double needed = static_cast<double>(first.pictureBytes) / first.part;
    double room = limit * aim - others;
    encoding.goodVideoBitRate = static_cast<int>(std::min(needed * 8 / duration, 1e9));
    const auto reduced = room > 0 ? reducedEncoding(encoding, room / needed) : std::nullopt;
    if (!reduced) failAsTooLong(duration * std::min(room / needed / minPart, 0.9), maxBytes);
    encoding = *reduced;
    double done = endOfFirst;
    for (const double end : {endOfSecond, 1.0}) {
        encoding.videoBitRate = static_cast<int>(room * 8 / duration);
        const CompactResult result =
            exporter_.exportCompact(url, to, encoding, 2 * maxBytes, partOf(work, done, end));
        log(LogArea::library, "small copy with ", *encoding.videoBitRate, " + ", soundRate,
            " bit/s: ", result.bytes, " bytes");
        if (result.part >= 1 && result.bytes <= maxBytes) return;
        if (result.part >= 1) files_.removeItem(to);
        // Only the pictures can become smaller. A few large ones, as of a still screen, miss their rate by
        // far.
        const double made = static_cast<double>(result.pictureBytes) / result.part;
        room *= 0.97 * std::min(room / made, 0.98);
        done = end;
    }
    throw LocalizedError(localized("The recording couldn't be made that small."));
}

}  // namespace lumicrate
