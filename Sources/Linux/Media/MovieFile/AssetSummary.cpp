#include "Linux/Media/MovieFile/AssetSummary.h"

#include "Linux/Media/Files/FileDescriptor.h"
#include "Linux/Media/IsoBmff/MovieSummary.h"
#include "Linux/Media/MovieFile/ForeignSummary.h"
#include "Support/Error.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <variant>

namespace lumicrate::media {

namespace {

using isobmff::fourCC;
using isobmff::FourCC;

/// `why` is a sentence's end, already localized.
[[noreturn]] void fail(const std::filesystem::path& url, const std::string& why, int code = 0) {
    throw PlatformError("“" + url.filename().string() + "” " + localized("couldn't be read:") + " " + why,
                        code);
}

[[noreturn]] void failWithSystemCode(const std::filesystem::path& url, int code) {
    fail(url, std::generic_category().message(code) + ".", code);
}

class MovieSource final : public isobmff::ByteSource {
 public:
    explicit MovieSource(const std::filesystem::path& url) : url_(url) {
        // What is no file at all must not make anybody wait.
        file_ = FileDescriptor(open(url.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
        struct stat status {};
        if (!file_.isOpen() || fstat(file_.get(), &status) != 0) failWithSystemCode(url, errno);
        if (S_ISDIR(status.st_mode)) failWithSystemCode(url, EISDIR);
        if (!S_ISREG(status.st_mode)) fail(url, localized("it isn't a movie."));
        size_ = static_cast<std::uint64_t>(status.st_size);
    }

    std::uint64_t size() const override { return size_; }
    bool read(std::uint64_t offset, std::span<std::uint8_t> into) const override {
        const std::int64_t count = readAll(file_, offset, into);
        if (count < 0) failWithSystemCode(url_, static_cast<int>(-count));
        return static_cast<std::size_t>(count) == into.size();
    }

 private:
    const std::filesystem::path& url_;
    FileDescriptor file_;
    std::uint64_t size_ = 0;
};

std::string letters(FourCC type) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text += static_cast<char>(type >> shift & 0xFF);
    return text;
}

AVAssetSummary toAsset(const isobmff::MovieSummary& movie) {
    AVAssetSummary asset;
    asset.duration = movie.duration;
    for (const isobmff::TrackSummary& each : movie.tracks) {
        if (each.kind == fourCC("soun")) ++asset.audioTracks;
        if (each.kind != fourCC("vide") || asset.videoSize) continue;
        asset.videoSize = Size{each.width, each.height};
        asset.videoSubtype = letters(each.format);
    }
    return asset;
}

}  // namespace

AVAssetSummary summaryOfMovie(const std::filesystem::path& url) {
    const MovieSource source(url);
    if (source.size() == 0) fail(url, localized("it is empty."));
    const isobmff::SummaryReading reading = isobmff::readMovieSummary(source);
    if (const auto* movie = std::get_if<isobmff::MovieSummary>(&reading)) return toAsset(*movie);
    if (std::holds_alternative<isobmff::CutOffMovie>(reading)) fail(url, localized("it is cut off."));
    if (const auto foreign = summaryOfForeignMovie(url)) return *foreign;
    fail(url, localized("it isn't a movie."));
}

}  // namespace lumicrate::media
