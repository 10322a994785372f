// Texts on their way to widgets.
#pragma once

#include "Support/Text.h"

#include <QString>
#include <string_view>

namespace lumicrate::views {

inline QString qtText(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

/// A text for people, in their language. Widgets have a `tr` of their own, which knows nothing of it.
inline QString localizedText(std::string_view text) {
    return qtText(localized(text));
}

}  // namespace lumicrate::views
