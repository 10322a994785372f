// SPDX-License-Identifier: GPL-3.0-or-later
// MovieRecovery: which recordings are being written, noted on disk, and how those that a crash cut off are
// completed.
//
// What keeps a recording from being lost, in order:
//
//   RecoveryList     MovieFile notes the recording before it creates the file.
//   MovieFile        writes the media in fragments; the file can be played at any time.
//   MovieCompletion  adds the index: MovieFile::finish() calls it, or, after a crash, MovieRecovery.
//   MovieRecovery    at the next start: completes the movies that are still in the list.
#pragma once

#include "Linux/Media/IsoBmff/MovieDescription.h"

#include <exception>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate::media {

/// Two hexadecimal digits a byte.
std::string hexadecimal(const isobmff::MovieIdentifier& identifier);

/// A folder with one small file for each recording. Its name is the recording's identifier in hexadecimal;
/// its content a line with the format's version, the movie's absolute path, and a zero byte that shows that
/// the content is complete. Any number of processes may use the folder at once.
class RecoveryList {
 public:
    struct Movie {
        isobmff::MovieIdentifier identifier{};
        std::filesystem::path path;

        bool operator==(const Movie&) const = default;
    };
    class Entry;

    /// The folder is created with the first entry.
    explicit RecoveryList(std::filesystem::path folder) : folder_(std::move(folder)) {}

    /// Returns when the entry would survive a power cut. Replaces an entry of the same identifier. Throws
    /// PlatformError.
    void add(const isobmff::MovieIdentifier& identifier, const std::filesystem::path& path) const;
    /// Does nothing if there is no such entry.
    void remove(const isobmff::MovieIdentifier& identifier) const noexcept;
    /// All entries in no particular order, including those of recordings that are still running. Ignores
    /// other files in the folder; deletes files with the name of an entry but without usable content.
    std::vector<Movie> list() const;
    /// Whether the entry was made within the last minute, so that its movie may be about to be created.
    bool isRecent(const isobmff::MovieIdentifier& identifier) const;

 private:
    std::filesystem::path entryPath(const isobmff::MovieIdentifier& identifier) const;

    std::filesystem::path folder_;
};

/// The entry of a recording that this process writes. It stays when the object is destroyed; only done()
/// removes it.
class RecoveryList::Entry {
 public:
    /// Throws PlatformError.
    Entry(RecoveryList list, const isobmff::MovieIdentifier& identifier, const std::filesystem::path& path)
        : list_(std::move(list)), identifier_(identifier) {
        list_.add(identifier_, path);
    }

    /// The movie is complete, or was deleted on purpose.
    void done() noexcept { list_.remove(identifier_); }

 private:
    RecoveryList list_;
    isobmff::MovieIdentifier identifier_;
};

struct RecoveredMovie {
    std::filesystem::path path;
    /// Why it could not be completed, or null. The file then stays as it is, and recovery is tried again the
    /// next time unless the file is too damaged.
    std::exception_ptr error;
};

/// Completes, in place, every movie of the list that nobody is writing any more, and returns those that the
/// user should hear about. Deletes a movie in which nothing was recorded. Leaves alone movies that another
/// process is writing, and files that are not the ones that were begun.
std::vector<RecoveredMovie> recoverMovies(const RecoveryList& recordings);

}  // namespace lumicrate::media
