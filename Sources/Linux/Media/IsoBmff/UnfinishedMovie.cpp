// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/IsoBmff/UnfinishedMovie.h"

#include "Linux/Media/IsoBmff/HeaderFile.h"
#include "Linux/Media/IsoBmff/RecordingReader.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

namespace lumicrate::isobmff {

namespace {

constexpr std::uint64_t maxEmptyIndex = 64U << 10;
constexpr std::uint64_t maxFragmentIndex = 4U << 20;
/// A sample with a later time is damaged.
constexpr std::uint64_t maxMovieSeconds = 366ULL * 24 * 60 * 60;

struct Mark {
    Brand brand = Brand::mpeg4;
    MovieIdentifier identifier{};
    std::uint64_t end = 0;
};

/// The file as a sequence of boxes.
class BoxFile {
 public:
    explicit BoxFile(const ByteSource& bytes) : bytes_(bytes) {}

    std::uint64_t size() const { return bytes_.size(); }

    std::optional<std::vector<std::uint8_t>> read(std::uint64_t start, std::uint64_t length) const {
        if (start > size() || length > size() - start) return std::nullopt;
        std::vector<std::uint8_t> content(length);
        if (!bytes_.read(start, content)) return std::nullopt;
        return content;
    }

    /// The box that begins there; nothing unless it is complete.
    std::optional<FileBox> boxAt(std::uint64_t start) const {
        const auto header = read(start, boxHeaderSize);
        if (!header) return std::nullopt;
        BoxReader reader(*header);
        std::uint64_t size = reader.u32();
        FileBox box{reader.u32(), start, start + boxHeaderSize, 0};
        if (size == 1) {
            const auto large = read(box.content, largeBoxHeaderSize - boxHeaderSize);
            if (!large) return std::nullopt;
            size = BoxReader(*large).u64();
            box.content = start + largeBoxHeaderSize;
        }
        if (size < box.content - start || size > bytes_.size() - start) return std::nullopt;
        box.end = start + size;
        return box;
    }

    /// Whether the rest of the file can be the beginning of an incomplete box of this type.
    bool isCutOff(std::uint64_t start, std::string_view type) const {
        const std::uint64_t left = size() - start;
        const auto header = read(start, std::min<std::uint64_t>(left, boxHeaderSize));
        if (!header) return false;
        if (left < boxHeaderSize) return true;
        BoxReader reader(*header);
        const std::uint32_t boxSize = reader.u32();
        return reader.u32() == fourCC(type) && boxSize > left;
    }

 private:
    const ByteSource& bytes_;
};

std::optional<Mark> readMark(const BoxFile& file) {
    for (const Brand brand : {Brand::mpeg4, Brand::quickTime, Brand::m4a}) {
        Mark mark;
        mark.brand = brand;
        const std::vector<std::uint8_t> expected = makeMark(brand, mark.identifier);
        const auto found = file.read(0, expected.size());
        if (!found) continue;
        const auto identifier = found->end() - static_cast<std::ptrdiff_t>(mark.identifier.size());
        if (!std::equal(found->begin(), identifier, expected.begin())) continue;
        std::copy(identifier, found->end(), mark.identifier.begin());
        mark.end = found->size();
        return mark;
    }
    return std::nullopt;
}

/// Whether index and media are there, in either order.
bool isFinished(const BoxFile& file, std::uint64_t start) {
    bool index = false;
    bool media = false;
    while (!index || !media) {
        const auto box = file.boxAt(start);
        if (!box) return false;
        if (box->is("moov") && !index) {
            index = true;
        } else if (box->is("mdat") && !media) {
            media = true;
        } else if (!box->is("free")) {
            return false;
        }
        start = box->end;
    }
    return true;
}

/// The content of the empty index.
std::optional<std::vector<std::uint8_t>> readIndexBox(const BoxFile& file, const FileBox& box) {
    if (!box.is("moov") || box.size() > maxEmptyIndex) return std::nullopt;
    auto content = file.read(box.content, box.end - box.content);
    if (!content || !announcesFragments(BoxReader(*content))) return std::nullopt;
    return content;
}

/// The end of the room, which has several boxes while it is being grown.
std::uint64_t endOfRoom(const BoxFile& file, std::uint64_t room) {
    std::uint64_t end = room;
    for (auto box = file.boxAt(end); box && box->is("free"); box = file.boxAt(end))
        end = box->end;
    require(end > room && end % blockSize == 0);
    return end;
}

/// Collects the samples of all fragments.
class FragmentWalk {
 public:
    FragmentWalk(const BoxFile& file, std::span<const SampleDefaults> defaults, UnfinishedMovie& movie)
        : file_(file), defaults_(defaults), movie_(movie) {}

    void run() {
        std::uint64_t start = movie_.layout.media;
        for (;;) {
            const auto index = file_.boxAt(start);
            if (!index || !index->is("moof") || index->size() > maxFragmentIndex) break;
            const auto media = file_.boxAt(index->end);
            if (!media || !media->is("mdat")) break;
            start = media->end;
            add(*index, *media);
        }
        movie_.mediaEnd = isTail(start) ? start : file_.size();
    }

 private:
    /// Adds a fragment, unless it is damaged.
    void add(const FileBox& index, const FileBox& media) {
        const auto bytes = file_.read(index.start, index.size());
        if (!bytes) return;
        const auto fragment = readFragmentIndex(*bytes, media.end - media.content, defaults_);
        if (!fragment || fragment->sequence <= sequence_) return;
        const auto& runs = fragment->runs;
        if (!std::all_of(runs.begin(), runs.end(), [this](const auto& run) { return follows(run); })) return;
        sequence_ = fragment->sequence;
        for (const FragmentRun& run : runs)
            movie_.tracks[run.track].addRun(index.start + run.offset, timeOf(run), run.samples);
    }

    std::int64_t timeOf(const FragmentRun& run) const {
        const std::uint32_t leadIn = movie_.description.tracks[run.track].leadIn;
        return static_cast<std::int64_t>(run.decodeTime) - leadIn;
    }

    /// Whether the run begins after the track's last sample, no later than the longest possible duration.
    bool follows(const FragmentRun& run) const {
        const std::uint32_t timescale = movie_.description.tracks[run.track].timescale;
        if (run.decodeTime / timescale > maxMovieSeconds) return false;
        const SampleTable& table = movie_.tracks[run.track];
        if (table.isEmpty()) return true;
        const std::int64_t passed = timeOf(run) - table.lastTime();
        return passed > 0 && passed <= std::numeric_limits<std::uint32_t>::max();
    }

    /// Whether only an interrupted write follows: a part of a fragment, or an index at the end of the file.
    bool isTail(std::uint64_t start) const {
        const auto box = file_.boxAt(start);
        if (!box) return file_.isCutOff(start, "moof") || file_.isCutOff(start, "moov");
        if (box->is("moov")) return true;
        return box->is("moof") && (box->end == file_.size() || file_.isCutOff(box->end, "mdat"));
    }

    const BoxFile& file_;
    std::span<const SampleDefaults> defaults_;
    UnfinishedMovie& movie_;
    std::uint32_t sequence_ = 0;
};

UnfinishedMovie readUnfinished(const BoxFile& file, const Mark& mark, const FileBox& indexBox,
                               const BoxReader& indexContent) {
    EmptyIndex index = readEmptyIndex(mark.brand, indexContent);
    UnfinishedMovie movie;
    movie.description = std::move(index.description);
    movie.identifier = mark.identifier;
    movie.layout = {indexBox.start, indexBox.end, endOfRoom(file, indexBox.end)};
    movie.tracks.resize(movie.description.tracks.size());
    FragmentWalk(file, index.defaults, movie).run();
    return movie;
}

}  // namespace

MovieReading readUnfinishedMovie(const ByteSource& bytes) {
    const BoxFile file(bytes);
    const auto mark = readMark(file);
    if (!mark) return ForeignFile();
    try {
        const auto first = file.boxAt(mark->end);
        if (!first) return ForeignFile();
        if (const auto index = readIndexBox(file, *first))
            return readUnfinished(file, *mark, *first, BoxReader(*index));
    } catch (const Malformed&) {
        return ForeignFile();
    }
    if (isFinished(file, mark->end)) return FinishedMovie{mark->identifier};
    return ForeignFile();
}

}  // namespace lumicrate::isobmff
