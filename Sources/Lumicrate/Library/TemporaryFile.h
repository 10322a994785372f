// TemporaryFile: a hidden file in which something new is made beside what it is made of.
#pragma once

#include "Platform/NSFileManager.h"

#include <filesystem>
#include <string_view>

namespace lumicrate {

/// A name for the file, and its deletion unless it has been given a place of its own. Any thread.
class TemporaryFile {
 public:
    /// Beside `url` and with its extension; see temporaryURL. Nothing is created.
    TemporaryFile(NSFileManager& files, const std::filesystem::path& url, std::string_view purpose);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::filesystem::path& url() const { return url_; }
    /// Puts it in the place of a file, in a single step. Throws PlatformError.
    void replace(const std::filesystem::path& url);
    /// Gives it its name: `wanted`, or what uniqueURL makes of that. Gives the name. Throws PlatformError.
    std::filesystem::path moveTo(const std::filesystem::path& wanted);

 private:
    NSFileManager& files_;
    std::filesystem::path url_;
};

}  // namespace lumicrate
