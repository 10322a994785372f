// How files that are made of recordings are named.
#pragma once

#include "Platform/AVAssetWriter.h"
#include "Platform/NSFileManager.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace lumicrate {

/// `wanted` if nothing is there; else the first free one with "_2", "_3" … before its extension.
std::filesystem::path uniqueURL(const NSFileManager& files, const std::filesystem::path& wanted);

/// A new hidden file beside `url`, with its extension: ".mix-1B0E….mov" for the purpose "mix".
std::filesystem::path temporaryURL(const std::filesystem::path& url, std::string_view purpose);

/// The extension without its dot, in lower case.
std::string lowercaseExtension(const std::filesystem::path& url);

/// The container that goes with the extension: QuickTime for "mov", MPEG-4 with sound alone for "m4a", MPEG-4
/// for all others.
AVFileType fileTypeOf(const std::filesystem::path& url);

/// A new random universally unique identifier (RFC 9562, version 4), in capitals.
std::string newUUID();

}  // namespace lumicrate
