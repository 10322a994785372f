#include "Lumicrate/Library/TemporaryFile.h"

#include "Lumicrate/Library/FileNames.h"
#include "Support/Error.h"

namespace lumicrate {

TemporaryFile::TemporaryFile(NSFileManager& files, const std::filesystem::path& url, std::string_view purpose)
    : files_(files), url_(temporaryURL(url, purpose)) {}

TemporaryFile::~TemporaryFile() {
    try {
        if (files_.fileExists(url_)) files_.removeItem(url_);
    } catch (const LocalizedError&) {
        // What went wrong before is what the user hears.
    }
}

void TemporaryFile::replace(const std::filesystem::path& url) {
    files_.replaceItem(url, url_);
}

std::filesystem::path TemporaryFile::moveTo(const std::filesystem::path& wanted) {
    std::filesystem::path name = uniqueURL(files_, wanted);
    files_.moveItem(url_, name);
    return name;
}

}  // namespace lumicrate
