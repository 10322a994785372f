// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/PseudoCatalogue.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace lumicrate::app {

namespace {

constexpr std::string_view upperLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr std::u16string_view accentedUpper = u"ÀƁÇÐÉƑĜĤÎĴĶĻṀÑÖÞɊŔŠŢÛṼŴẊÝŽ";
constexpr std::string_view lowerLetters = "abcdefghijklmnopqrstuvwxyz";
constexpr std::u16string_view accentedLower = u"åƀçðéƒĝĥîĵķļɱñöþɋŕšţûṽŵẋýž";

QChar accented(QChar letter) {
    const char plain = letter.toLatin1();
    if (const auto at = upperLetters.find(plain); at != std::string_view::npos) return accentedUpper[at];
    if (const auto at = lowerLetters.find(plain); at != std::string_view::npos) return accentedLower[at];
    return letter;
}

/// Accents outside of placeholders: "{}", "{0}".
QString withAccents(const QString& text) {
    QString result;
    bool inPlaceholder = false;
    for (const QChar each : text) {
        inPlaceholder = each == u'{' || (inPlaceholder && each != u'}');
        result += inPlaceholder ? each : accented(each);
    }
    return result;
}

/// Words of together 40 % of the length, at least one letter, so that long texts can be wrapped.
QString padding(qsizetype length) {
    QString words;
    const auto needed = std::max<qsizetype>(length * 2 / 5, 1);
    while (words.size() < needed)
        words += words.size() % 6 == 0 ? u' ' : u'ö';
    return words;
}

}  // namespace

bool isPseudoLanguage(const QString& tag) {
    return tag == QLatin1String("en-XA") || tag == QLatin1String("ar-XB");
}

std::optional<std::string> PseudoCatalogue::find(const std::string& context, const std::string& text,
                                                 std::optional<int> count) const {
    const std::optional<std::string> english = english_->find(context, text, count);
    // Patterns of dates have letters with a meaning.
    if (!english || context == "date") return english;
    const QString plain = QString::fromStdString(*english);
    constexpr QChar leftToRightIsolate(0x2066);
    constexpr QChar endOfIsolate(0x2069);
    if (context == "size") return (leftToRightIsolate + plain + endOfIsolate).toStdString();
    const QString result = u'[' + withAccents(plain) + padding(plain.size()) + u']';
    constexpr QChar rightToLeftMark(0x200f);
    return (rightToLeft_ ? rightToLeftMark + result + rightToLeftMark : result).toStdString();
}

}  // namespace lumicrate::app
