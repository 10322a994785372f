// SPDX-License-Identifier: GPL-3.0-or-later
// PseudoCatalogue: a language for tests, made of the English texts.
#pragma once

#include "Support/Text.h"

#include <QString>
#include <memory>

namespace lumicrate::app {

/// Whether a tag names a language that PseudoCatalogue supplies: "en-XA" or "ar-XB".
bool isPseudoLanguage(const QString& tag);

/// "Stop {}" becomes "[Šţöþ {} one]": readable, with accents on all letters, about 40 % longer, in brackets.
/// So texts show where they are cut off, and texts that aren't in the catalogue show their plain letters.
class PseudoCatalogue final : public Catalogue {
 public:
    PseudoCatalogue(std::unique_ptr<const Catalogue> english, bool rightToLeft)
        : english_(std::move(english)), rightToLeft_(rightToLeft) {}

    std::optional<std::string> find(const std::string& context, const std::string& text,
                                    std::optional<int> count) const override;
    std::string decimalPoint() const override { return english_->decimalPoint(); }

 private:
    std::unique_ptr<const Catalogue> english_;
    bool rightToLeft_;
};

}  // namespace lumicrate::app
