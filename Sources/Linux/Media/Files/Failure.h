// The sentences of what goes wrong below: a localized beginning and the system's own reason.
#pragma once

#include <string>
#include <string_view>

namespace lumicrate::media {

/// Throws PlatformError: `sentence` (not yet localized), without its full stop, followed by the reason of
/// `error`, a negative code of the FFmpeg libraries (which is how they report the system's codes too).
[[noreturn]] void failWithCode(std::string_view sentence, int error);

/// The reason itself, without a full stop.
std::string reasonFor(int error);

/// Gives `result` back unless it is an error.
int checked(int result, std::string_view sentence);

}  // namespace lumicrate::media
