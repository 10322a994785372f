#include "Linux/Media/MovieFile/MovieRecovery.h"

#include "Linux/Media/Files/OutputFile.h"
#include "Linux/Media/IsoBmff/UnfinishedMovie.h"
#include "Linux/Media/MovieFile/MovieCompletion.h"
#include "Support/Error.h"

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

/// What an entry of the list has come to.
enum class Outcome {
    untouched,  ///< it may still be written
    completed,
    settled,  ///< there is nothing to complete
    damaged,  ///< there is, but nobody can tell what
};

bool hasSamples(const UnfinishedMovie& movie) {
    return !std::all_of(movie.tracks.begin(), movie.tracks.end(), std::mem_fn(&SampleTable::isEmpty));
}

Outcome recover(const RecoveryList::Movie& entry) {
    std::optional<OutputFile> file = OutputFile::open(entry.path);
    if (!file) return Outcome::untouched;
    // What the copying of a movie may have left.
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

std::vector<RecoveredMovie> recoverMovies(const RecoveryList& unfinished) {
    std::vector<RecoveredMovie> recovered;
    for (const RecoveryList::Movie& entry : unfinished.list()) {
        std::error_code unknown;
        const auto type = std::filesystem::symlink_status(entry.path, unknown).type();
        const bool gone = type != std::filesystem::file_type::regular;
        try {
            const Outcome outcome = gone ? Outcome::settled : recover(entry);
            if (outcome == Outcome::completed) recovered.push_back({entry.path, nullptr});
            if (outcome == Outcome::damaged) recovered.push_back({entry.path, tooDamaged()});
            // A file that is about to be created is not there yet.
            const bool keep =
                outcome == Outcome::untouched || (gone && unfinished.isRecent(entry.identifier));
            if (!keep) unfinished.remove(entry.identifier);
        } catch (...) {
            recovered.push_back({entry.path, std::current_exception()});
        }
    }
    return recovered;
}

}  // namespace lumicrate::media
