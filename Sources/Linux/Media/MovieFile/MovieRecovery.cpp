// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/MovieFile/MovieRecovery.h"

#include "Linux/Media/Files/AtomicFile.h"
#include "Linux/Media/Files/Failure.h"
#include "Linux/Media/Files/OutputFile.h"
#include "Linux/Media/IsoBmff/UnfinishedMovie.h"
#include "Linux/Media/MovieFile/MovieCompletion.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string_view>
#include <system_error>
#include <variant>

namespace lumicrate::media {

namespace {

using isobmff::MovieIdentifier;
using isobmff::SampleTable;
using isobmff::UnfinishedMovie;

constexpr const char* cannotWriteList =
    translatable("The list of unfinished recordings couldn't be written:");

/// What entries of every version begin with, and what this version adds.
constexpr std::string_view signature = "lumicrate unfinished movie ";
constexpr std::string_view version = "1\n";
constexpr std::size_t maxEntrySize = signature.size() + version.size() + PATH_MAX;

constexpr std::string_view digits = "0123456789abcdef";

/// Nothing for a name that is not an entry's.
std::optional<MovieIdentifier> identifierOf(std::string_view name) {
    MovieIdentifier identifier{};
    if (name.size() != 2 * identifier.size()) return std::nullopt;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const std::size_t digit = digits.find(name[i]);
        if (digit == std::string_view::npos) return std::nullopt;
        identifier[i / 2] = static_cast<std::uint8_t>(identifier[i / 2] << 4 | digit);
    }
    return identifier;
}

/// The content of an entry's file.
struct Reading {
    std::optional<std::filesystem::path> movie;
    /// It has no content and never will have.
    bool isUnusable = false;
};

Reading unusable() {
    return {std::nullopt, true};
}

/// It can't be read now, or only by a later version.
Reading unknown() {
    return {std::nullopt, false};
}

Reading parse(std::string_view content) {
    if (!content.starts_with(signature)) return unusable();
    content.remove_prefix(signature.size());
    if (!content.starts_with(version)) return content.find('\n') == content.npos ? unusable() : unknown();
    content.remove_prefix(version.size());
    if (!content.starts_with('/') || content.find('\0') != content.size() - 1) return unusable();
    content.remove_suffix(1);
    return {std::filesystem::path(content), false};
}

Reading readEntry(const std::filesystem::path& path) {
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
    if (!file.isOpen()) return errno == ELOOP ? unusable() : unknown();
    struct stat status {};
    if (fstat(file.get(), &status) != 0) return unknown();
    if (!S_ISREG(status.st_mode)) return unusable();
    std::string content(maxEntrySize + 1, '\0');
    const std::span bytes(reinterpret_cast<std::uint8_t*>(content.data()), content.size());
    const std::int64_t size = readAll(file, 0, bytes);
    if (size < 0) return unknown();
    if (static_cast<std::size_t>(size) > maxEntrySize) return unusable();
    return parse(std::string_view(content).substr(0, static_cast<std::size_t>(size)));
}

/// Paths of recordings are private.
void makePrivateFolder(const std::filesystem::path& folder) {
    std::error_code error;
    if (std::filesystem::create_directories(folder, error))
        std::filesystem::permissions(folder, std::filesystem::perms::owner_all, error);
    if (error) failForPath(cannotWriteList, folder, error.value());
}

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

std::string hexadecimal(const MovieIdentifier& identifier) {
    std::string text;
    for (const std::uint8_t byte : identifier) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

void RecoveryList::add(const MovieIdentifier& identifier, const std::filesystem::path& path) const {
    std::error_code error;
    const std::string movie = std::filesystem::absolute(path, error).string();
    if (error) failForPath(cannotWriteList, folder_, error.value());
    if (movie.size() >= PATH_MAX) failForPath(cannotWriteList, folder_, ENAMETOOLONG);
    std::string content = std::string(signature) + std::string(version) + movie;
    content += '\0';

    makePrivateFolder(folder_);
    const std::span bytes(reinterpret_cast<const std::uint8_t*>(content.data()), content.size());
    const std::filesystem::path entry = entryPath(identifier);
    AtomicFile::replace(entry, "." + entry.filename().string() + ".new", cannotWriteList,
                        [&](const FileDescriptor& file) {
                            if (const int failure = writeAll(file, 0, bytes); failure != 0)
                                failForPath(cannotWriteList, folder_, failure);
                        });
}

void RecoveryList::remove(const MovieIdentifier& identifier) const noexcept {
    unlink(entryPath(identifier).c_str());
}

std::vector<RecoveryList::Movie> RecoveryList::list() const {
    std::vector<Movie> movies;
    std::error_code error;
    std::filesystem::directory_iterator each(folder_, error);
    for (; !error && each != std::filesystem::directory_iterator(); each.increment(error)) {
        const auto identifier = identifierOf(each->path().filename().string());
        if (!identifier) continue;
        const Reading reading = readEntry(each->path());
        if (reading.movie) movies.push_back({*identifier, *reading.movie});
        if (reading.isUnusable) unlink(each->path().c_str());
    }
    return movies;
}

bool RecoveryList::isRecent(const MovieIdentifier& identifier) const {
    std::error_code error;
    const auto made = std::filesystem::last_write_time(entryPath(identifier), error);
    return !error && std::filesystem::file_time_type::clock::now() - made < std::chrono::minutes(1);
}

std::filesystem::path RecoveryList::entryPath(const MovieIdentifier& identifier) const {
    return folder_ / hexadecimal(identifier);
}

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
