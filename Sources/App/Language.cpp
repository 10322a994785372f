// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/Language.h"

#include "App/PseudoCatalogue.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>
#include <memory>
#include <utility>

// The resource of a static library. Outside of any namespace, as the macro asks for.
static void initializeTranslations() {
    Q_INIT_RESOURCE(Translations);
}

namespace lumicrate::app {

namespace {

constexpr const char* englishTag = "en";

/// A catalogue of Resources/Translations.
class CompiledCatalogue final : public Catalogue {
 public:
    CompiledCatalogue(std::unique_ptr<const QTranslator> translator, QString decimalPoint)
        : translator_(std::move(translator)), decimalPoint_(decimalPoint.toStdString()) {}

    std::optional<std::string> find(const std::string& context, const std::string& text,
                                    std::optional<int> count) const override {
        const QString found = translator_->translate(
            "", text.c_str(), context.empty() ? nullptr : context.c_str(), count.value_or(-1));
        if (found.isEmpty()) return std::nullopt;
        return found.toStdString();
    }
    std::string decimalPoint() const override { return decimalPoint_; }

 private:
    std::unique_ptr<const QTranslator> translator_;
    std::string decimalPoint_;
};

std::unique_ptr<const QTranslator> translatorFor(const QString& tag) {
    auto translator = std::make_unique<QTranslator>();
    const bool isThere = translator->load(QStringLiteral(":/Translations/%1.qm").arg(tag));
    return isThere ? std::move(translator) : nullptr;
}

/// The value of the first variable that is set, by which the C library chooses the locale of a category.
QByteArray localeName(const char* category) {
    for (const char* const variable : {"LC_ALL", category, "LANG"}) {
        if (const QByteArray value = qgetenv(variable); !value.isEmpty()) return value;
    }
    return {};
}

/// Numbers and dates may have another locale than the texts, unless the settings name no real one.
QLocale formatsFor(const QString& tag) {
    const QByteArray name = localeName("LC_NUMERIC");
    if (!name.isEmpty() && name != "POSIX" && name != "C" && !name.startsWith("C.")) return QLocale::system();
    return tag == QLatin1String(englishTag) ? QLocale::c() : QLocale(tag);
}

/// The language in use.
QString& current() {
    static QString tag;
    return tag;
}

bool isRightToLeft(const QString& tag) {
    return QLocale(tag).textDirection() == Qt::RightToLeft;
}

bool tryLanguage(const QString& tag) {
    const bool isPseudo = isPseudoLanguage(tag);
    auto translator = translatorFor(isPseudo ? QLatin1String(englishTag) : tag);
    if (!translator) return false;
    const QLocale formats = formatsFor(isPseudo ? QLatin1String(englishTag) : tag);
    QLocale::setDefault(formats);
    std::unique_ptr<const Catalogue> catalogue =
        std::make_unique<CompiledCatalogue>(std::move(translator), formats.decimalPoint());
    if (isPseudo) catalogue = std::make_unique<PseudoCatalogue>(std::move(catalogue), isRightToLeft(tag));
    setCatalogue(std::move(catalogue));
    current() = tag;
    log(LogArea::ui, "language: ", tag.toStdString());
    return true;
}

}  // namespace

void useLanguage(const QString& tag) {
    initializeTranslations();
    if (!tryLanguage(tag) && !tryLanguage(tag.section(QLatin1Char('-'), 0, 0)))
        tryLanguage(QLatin1String(englishTag));
}

void useLanguageOfDesktop() {
    initializeTranslations();
    // A script that sets LC_ALL=C expects English, whatever LANGUAGE is.
    const QByteArray name = localeName("LC_MESSAGES");
    if (name != "C" && name != "POSIX") {
        for (const QString& tag : QLocale::system().uiLanguages()) {
            if (tryLanguage(tag)) return;
        }
    }
    tryLanguage(QLatin1String(englishTag));
}

void applyLanguage(QApplication& application) {
    auto* const translator = new QTranslator(&application);
    const QString folder = QLibraryInfo::path(QLibraryInfo::TranslationsPath);
    if (translator->load(QLocale(current()), QStringLiteral("qtbase"), QStringLiteral("_"), folder))
        QCoreApplication::installTranslator(translator);
    // Last: an installed translator of Qt changes the direction as well.
    QApplication::setLayoutDirection(isRightToLeft(current()) ? Qt::RightToLeft : Qt::LeftToRight);
}

}  // namespace lumicrate::app
