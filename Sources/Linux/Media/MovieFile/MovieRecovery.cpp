// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/MovieFile/MovieRecovery.h"

#include "Linux/Media/Files/OutputFile.h"
#include "Linux/Media/IsoBmff/UnfinishedMovie.h"
#include "Linux/Media/MovieFile/MovieCompletion.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <system_error>
#include <variant>

namespace lumicrate::media {

namespace {

using isobmff::FinishedMovie;
using isobmff::SampleTable;
using isobmff::UnfinishedMovie;

class FileSource final : public isobmff::ByteSource {
 public:
    explicit FileSource(const OutputFile& file) : file_(file) {}

    std::uint64_t size() const override { return file_.size(); }
    bool read(std::uint64_t offset, std::span<std::uint8_t> into) const override {
        return file_.read(offset, into) == into.size();
    }

 private:
    const OutputFile& file_;
};

/// What became of an entry of the list.
enum class Outcome {
    untouched,  ///< another process is writing it
    completed,
    settled,  ///< there is nothing to complete
    damaged,  ///< there is, but it can't be read
};

const char* nameOf(Outcome outcome) {
    switch (outcome) {
        case Outcome::untouched:
            return "another process is writing the movie";
        case Outcome::completed:
            return "completed a movie";
        case Outcome::settled:
            return "nothing to complete";
        case Outcome::damaged:
            return "a movie is too damaged";
    }
    return "";
}

bool hasSamples(const UnfinishedMovie& movie) {
    return !std::all_of(movie.tracks.begin(), movie.tracks.end(), std::mem_fn(&SampleTable::isEmpty));
}

Outcome recover(const RecoveryList::Movie& entry) {
    std::optional<OutputFile> file = OutputFile::open(entry.path);
    if (!file) return Outcome::untouched;
    // An interrupted copy by completeMovie().
    std::error_code ignored;
    std::filesystem::remove(entry.path.parent_path() / temporaryName(*file, entry.identifier), ignored);

    const isobmff::MovieReading reading = readUnfinishedMovie(FileSource(*file));
    const auto* movie = std::get_if<UnfinishedMovie>(&reading);
    if (movie == nullptr || movie->identifier != entry.identifier) return Outcome::settled;
    if (movie->mediaEnd == movie->layout.media) {
        file->remove();
        return Outcome::settled;
    }
    if (!hasSamples(*movie)) return Outcome::damaged;
    completeMovie(*file, *movie, IndexPlace::front);
    return Outcome::completed;
}

std::exception_ptr tooDamaged() {
    return std::make_exception_ptr(PlatformError(localized("It is too damaged.")));
}

}  // namespace

std::vector<RecoveredMovie> recoverMovies(const RecoveryList& recordings) {
    std::vector<RecoveredMovie> recovered;
    for (const RecoveryList::Movie& entry : recordings.list()) {
        std::error_code unknown;
        const auto type = std::filesystem::symlink_status(entry.path, unknown).type();
        const bool gone = type != std::filesystem::file_type::regular;
        try {
            const Outcome outcome = gone ? Outcome::settled : recover(entry);
            if (outcome == Outcome::completed) recovered.push_back({entry.path, nullptr});
            if (outcome == Outcome::damaged) recovered.push_back({entry.path, tooDamaged()});
            // The entry comes before its file, which may be about to be created.
            log(LogArea::movie, "recovery: ", nameOf(outcome));
            const bool keep =
                outcome == Outcome::untouched || (gone && recordings.isRecent(entry.identifier));
            if (!keep) recordings.remove(entry.identifier);
        } catch (...) {
            recovered.push_back({entry.path, std::current_exception()});
        }
    }
    return recovered;
}

}  // namespace lumicrate::media
