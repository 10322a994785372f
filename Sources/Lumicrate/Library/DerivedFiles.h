// SPDX-License-Identifier: GPL-3.0-or-later
// DerivedFiles: names of files that are made from a recording, and the temporary file in which one is made.
#pragma once

#include "Platform/AVAssetWriter.h"
#include "Platform/NSFileManager.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace lumicrate {

/// `wanted` if no file has that name; otherwise the first free name with "_2", "_3" … before the extension:
/// "a_2.mp4" for "a.mp4".
std::filesystem::path uniqueURL(const NSFileManager& files, const std::filesystem::path& wanted);

/// A new hidden name beside `url`, with its extension: ".mix-1B0E….mov" for the purpose "mix".
std::filesystem::path temporaryURL(const std::filesystem::path& url, std::string_view purpose);

/// The extension in lower case, without its dot: "mp4" for "a.MP4".
std::string lowercaseExtension(const std::filesystem::path& url);

/// The container for the extension: QuickTime for "mov", MPEG-4 audio for "m4a", MPEG-4 for all others.
AVFileType fileTypeOf(const std::filesystem::path& url);

/// A new random UUID (RFC 9562, version 4), in upper case.
std::string newUUID();

/// The path as the user would write it: "~/Videos/a.mp4" inside the home folder, unchanged elsewhere.
std::string displayPath(const std::filesystem::path& path, const std::filesystem::path& home);

/// Reserves a temporary name beside a movie, and deletes the file of that name unless it was put in its
/// final place. The file itself is created by the caller. Any thread.
class TemporaryFile {
 public:
    /// The name is temporaryURL(url, purpose).
    TemporaryFile(NSFileManager& files, const std::filesystem::path& url, std::string_view purpose);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::filesystem::path& url() const { return url_; }
    /// Replaces the file at `url` in one step. Throws PlatformError.
    void replace(const std::filesystem::path& url);
    /// Renames the file to uniqueURL(wanted) and returns that name. Throws PlatformError.
    std::filesystem::path moveTo(const std::filesystem::path& wanted);

 private:
    NSFileManager& files_;
    std::filesystem::path url_;
};

}  // namespace lumicrate
