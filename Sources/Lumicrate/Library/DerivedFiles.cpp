// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Library/DerivedFiles.h"

#include "Support/Error.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <random>

namespace lumicrate {

std::filesystem::path uniqueURL(const NSFileManager& files, const std::filesystem::path& wanted) {
    std::filesystem::path candidate = wanted;
    for (int n = 2; files.fileExists(candidate); ++n) {
        std::filesystem::path name = wanted.stem();
        name += "_" + std::to_string(n);
        name += wanted.extension();
        candidate = wanted.parent_path() / name;
    }
    return candidate;
}

std::filesystem::path temporaryURL(const std::filesystem::path& url, std::string_view purpose) {
    std::filesystem::path name = ".";
    name += purpose;
    name += "-" + newUUID();
    name += url.extension();
    return url.parent_path() / name;
}

std::string lowercaseExtension(const std::filesystem::path& url) {
    std::string extension = url.extension().string();
    if (!extension.empty()) extension.erase(0, 1);
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return extension;
}

AVFileType fileTypeOf(const std::filesystem::path& url) {
    const std::string extension = lowercaseExtension(url);
    if (extension == "mov") return AVFileType::quickTimeMovie;
    if (extension == "m4a") return AVFileType::appleM4A;
    return AVFileType::mpeg4;
}

std::string newUUID() {
    std::random_device random;
    std::array<std::uint8_t, 16> bytes{};
    std::generate(bytes.begin(), bytes.end(), [&random] { return static_cast<std::uint8_t>(random()); });
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // the version
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // the variant
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02X", bytes[i]);
        text += digits.data();
    }
    return text;
}

std::string displayPath(const std::filesystem::path& path, const std::filesystem::path& home) {
    const std::filesystem::path inside = path.lexically_relative(home);
    const bool outside = home.empty() || inside.empty() || *inside.begin() == "..";
    if (outside) return path.string();
    return inside == "." ? "~" : "~/" + inside.string();
}

TemporaryFile::TemporaryFile(NSFileManager& files, const std::filesystem::path& url, std::string_view purpose)
    : files_(files), url_(temporaryURL(url, purpose)) {}

TemporaryFile::~TemporaryFile() {
    try {
        if (files_.fileExists(url_)) files_.removeItem(url_);
    } catch (const LocalizedError&) {
        // The user is shown the earlier error that left the file here.
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
