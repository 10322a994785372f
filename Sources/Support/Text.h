// SPDX-License-Identifier: GPL-3.0-or-later
// User-visible texts and number formats.
#pragma once

#include "Support/Geometry.h"

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace lumicrate {

/// Supplies the texts of one language. Called from any thread.
class Catalogue {
 public:
    Catalogue() = default;
    Catalogue(const Catalogue&) = delete;
    Catalogue& operator=(const Catalogue&) = delete;
    virtual ~Catalogue() = default;

    /// The translation of an English text; nullopt if there is none. `context` is empty unless the text was
    /// given one. With `count`, `text` is the singular, and the form for that number is returned.
    virtual std::optional<std::string> find(const std::string& context, const std::string& text,
                                            std::optional<int> count) const = 0;
    /// Between a whole number and its fraction: "." or ",".
    virtual std::string decimalPoint() const = 0;
};

/// Without a catalogue, texts are in English. Call this before there are other threads.
void setCatalogue(std::unique_ptr<const Catalogue> catalogue);

/// The text in the user's language. Every user-visible text passes through here; the texts are collected
/// from the arguments of these functions, which therefore must be literals.
std::string localized(std::string_view text);

/// With values in the placeholders: "{}" is the next value, "{1}" the second one, so that a translation can
/// change their order. localized("Version {}", {"1.2"}) is "Version 1.2".
std::string localized(std::string_view text, std::initializer_list<std::string_view> values);

/// For an English text that needs several translations, or that has to be told how it is used:
/// localizedIn("key", "Space").
std::string localizedIn(std::string_view context, std::string_view text);

/// The form for a number, which replaces "{}": localizedPlural("{} picture", "{} pictures", 3) is
/// "3 pictures". `count` must not be negative.
std::string localizedPlural(std::string_view one, std::string_view many, int count);

/// Marks a literal that is given to localized() later, for example in a table of constants.
constexpr const char* translatable(const char* text) {
    return text;
}
/// The same for localizedIn().
constexpr const char* translatableIn(const char* /*context*/, const char* text) {
    return text;
}

/// Replaces the placeholders of a text that is localized already.
std::string filledIn(std::string_view text, std::initializer_list<std::string_view> values);

/// Elapsed seconds, truncated: "01:05" below an hour, "1:02:05" above. `seconds` must be finite.
std::string formatElapsed(double seconds);

/// Elapsed seconds, truncated, always with hours: "00:01:05", "100:00:00". `seconds` must be finite.
std::string formatClock(double seconds);

/// A size in points as pixels: "1920 × 1080". `scale` is the number of pixels per point.
std::string formatPixels(const Size& points, double scale);

/// With one digit after the decimal point of the language: "3.4" or "3,4".
std::string formatTenths(double value);

/// A number of bytes in a suitable unit: "812 kB", "3.4 MB", "1.2 GB". For people: it depends on the
/// language.
std::string formatByteCount(std::uintmax_t bytes);

}  // namespace lumicrate
