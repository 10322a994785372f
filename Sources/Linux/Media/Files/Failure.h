// SPDX-License-Identifier: GPL-3.0-or-later
// Error texts of the media code: a localized sentence followed by the system's reason.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace lumicrate::media {

/// Throws PlatformError: `sentence` (not yet localized, without a full stop) and the reason for `error`, a
/// negative code of the FFmpeg libraries. AVERROR(errno) makes one of a system error number.
[[noreturn]] void failWithCode(std::string_view sentence, int error);

/// The same about a file: `sentence` (not yet localized, ending in a colon), the path in quotes and the
/// reason for the system error number `error`.
[[noreturn]] void failForPath(std::string_view sentence, const std::filesystem::path& path, int error);

/// The reason alone, without a full stop.
std::string reasonFor(int error);

/// Returns `result`, or throws as failWithCode() does when it is negative.
int checked(int result, std::string_view sentence);

}  // namespace lumicrate::media
