// RecoveryList: which recordings are being written, known on disk, so that the next start can complete
// those that a crash has cut off.
#pragma once

#include "Linux/Media/IsoBmff/MovieDescription.h"

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate::media {

/// Two digits a byte.
std::string hexadecimal(const isobmff::MovieIdentifier& identifier);

/// A folder with one small file a recording: its name is the recording's identifier in hexadecimal digits,
/// its content a line with the format's version, the absolute path of the movie, and a zero byte, by which a
/// torn file is known. Any number of processes may use the folder at once.
class RecoveryList {
 public:
    struct Movie {
        isobmff::MovieIdentifier identifier{};
        std::filesystem::path path;

        bool operator==(const Movie&) const = default;
    };
    class Entry;

    /// The folder is made with the first entry.
    explicit RecoveryList(std::filesystem::path folder) : folder_(std::move(folder)) {}

    /// Returns when the entry would outlast a power cut. An entry of the same identifier is replaced. Throws
    /// PlatformError.
    void add(const isobmff::MovieIdentifier& identifier, const std::filesystem::path& path) const;
    /// An entry that is not there may be removed too.
    void remove(const isobmff::MovieIdentifier& identifier) const noexcept;
    /// All entries, also those of recordings that are still running, in no order. Files there that are not
    /// of this kind are passed over; those with the name of an entry but no usable content are deleted.
    std::vector<Movie> list() const;
    /// Whether an entry was made within the last minute: its movie may be about to be created.
    bool isRecent(const isobmff::MovieIdentifier& identifier) const;

 private:
    std::filesystem::path entryPath(const isobmff::MovieIdentifier& identifier) const;

    std::filesystem::path folder_;
};

/// The entry of a recording that this process writes. It stays when the object goes, however that happens;
/// only done() removes it.
class RecoveryList::Entry {
 public:
    /// Throws PlatformError.
    Entry(RecoveryList movies, const isobmff::MovieIdentifier& identifier, const std::filesystem::path& path)
        : movies_(std::move(movies)), identifier_(identifier) {
        movies_.add(identifier_, path);
    }

    /// The movie is complete, or was deleted on purpose.
    void done() noexcept { movies_.remove(identifier_); }

 private:
    RecoveryList movies_;
    isobmff::MovieIdentifier identifier_;
};

}  // namespace lumicrate::media
