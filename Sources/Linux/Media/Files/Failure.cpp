// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Files/Failure.h"

#include "Support/Error.h"

#include <array>
#include <string>

extern "C" {
#include <libavutil/error.h>
}

namespace lumicrate::media {

std::string reasonFor(int error) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> reason{};
    av_strerror(error, reason.data(), reason.size());
    return reason.data();
}

void failWithCode(std::string_view sentence, int error) {
    throw PlatformError(localized("{}: {}.", {localized(sentence), reasonFor(error)}), AVUNERROR(error));
}

void failForPath(std::string_view sentence, const std::filesystem::path& path, int error) {
    const std::string reason = reasonFor(AVERROR(error));
    throw PlatformError(localized("{} “{}”: {}.", {localized(sentence), path.string(), reason}), error);
}

int checked(int result, std::string_view sentence) {
    if (result < 0) failWithCode(sentence, result);
    return result;
}

}  // namespace lumicrate::media
