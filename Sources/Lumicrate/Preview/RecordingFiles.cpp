// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Preview/RecordingFiles.h"

#include "Lumicrate/Library/DerivedFiles.h"
#include "Support/Error.h"
#include "Support/Text.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace lumicrate {

namespace {

/// All white space and line ends in Unicode, as UTF-8.
constexpr std::array<std::string_view, 25> spaces = {
    "\t",     "\n",     "\v",     "\f",     "\r",     " ",      "\u0085", "\u00A0", "\u1680",
    "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005", "\u2006", "\u2007", "\u2008",
    "\u2009", "\u200A", "\u2028", "\u2029", "\u202F", "\u205F", "\u3000"};

std::string_view trimmed(std::string_view text) {
    const auto lengthOf = [](auto matches) {
        const auto found = std::find_if(spaces.begin(), spaces.end(), matches);
        return found == spaces.end() ? 0 : found->size();
    };
    while (const auto length = lengthOf([&](std::string_view space) { return text.starts_with(space); }))
        text.remove_prefix(length);
    while (const auto length = lengthOf([&](std::string_view space) { return text.ends_with(space); }))
        text.remove_suffix(length);
    return text;
}

}  // namespace

std::string describeRecording(const std::filesystem::path& url, const AVAssetSummary& summary,
                              std::optional<std::uintmax_t> size) {
    constexpr std::string_view separator = " · ";
    std::string line;
    if (const auto& shown = summary.videoSize) line += formatPixels(*shown, 1).append(separator);
    line += formatElapsed(summary.duration);
    line += separator;
    if (size) line += formatByteCount(*size).append(separator);
    return line + lowercaseExtension(url);
}

std::string cleanedName(std::string_view typed) {
    std::string name(trimmed(typed));
    const auto isForbidden = [](char each) { return each == '/' || each == ':' || each == '\0'; };
    std::replace_if(name.begin(), name.end(), isForbidden, '-');
    return name;
}

std::optional<std::filesystem::path> RecordingFiles::rename(const std::filesystem::path& url,
                                                            std::string_view typed) const {
    const std::string name = cleanedName(typed);
    if (name.empty() || name == url.stem().string()) return std::nullopt;
    // It would be a hidden file, which the list does not show.
    if (name.starts_with('.'))
        throw LocalizedError(localized("The name of a recording can't begin with a dot."));
    const std::filesystem::path destination = url.parent_path() / (name + url.extension().string());
    if (files_.fileExists(destination))
        throw LocalizedError(localized("There's already a recording called “{}”.", {name}));
    try {
        files_.moveItem(url, destination);
    } catch (const LocalizedError& error) {
        throw LocalizedError(localized("Couldn't rename the recording: ") + error.what());
    }
    notifications_.post(recordingsChangedNotification);
    return destination;
}

void RecordingFiles::moveToTrash(const std::filesystem::path& url) const {
    try {
        files_.trashItem(url);
    } catch (const LocalizedError& error) {
        throw LocalizedError(localized("Couldn't move the recording to the Trash: ") + error.what());
    }
    notifications_.post(recordingsChangedNotification);
}

}  // namespace lumicrate
