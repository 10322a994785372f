// SPDX-License-Identifier: GPL-3.0-or-later
// QtText: converts texts and dates for widgets.
#pragma once

#include "Support/Text.h"

#include <QString>
#include <chrono>
#include <string>
#include <string_view>

namespace lumicrate::views {

inline QString qtText(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

/// A user-visible text in the user's language. Widgets' own tr() does not use our catalogue.
inline QString localizedText(std::string_view text) {
    return qtText(localized(text));
}

/// "5 May 2024, 14:03", in the user's language and time zone.
std::string formatDate(std::chrono::system_clock::time_point moment);

}  // namespace lumicrate::views
