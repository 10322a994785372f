#include "Linux/Desktop/UserDefaults.h"

#include "Support/Error.h"

#include <QByteArray>
#include <QStandardPaths>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <algorithm>
#include <utility>

namespace lumicrate::desktop {

namespace {

QString userFile() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/Lumicrate/lumicrate.conf");
}

QString qtKey(std::string_view key) {
    return QString::fromUtf8(key.data(), static_cast<qsizetype>(key.size()));
}

QVariant toVariant(const DefaultsValue& value) {
    struct {
        QVariant operator()(bool flag) const { return flag; }
        QVariant operator()(std::int64_t number) const { return static_cast<qlonglong>(number); }
        QVariant operator()(double number) const { return number; }
        QVariant operator()(const std::string& text) const { return QString::fromStdString(text); }
    } const convert;
    return std::visit(convert, value);
}

QString toText(const DefaultsValue& value) {
    return toVariant(value).toString();
}

bool isTrue(const QString& text) {
    const QString word = text.trimmed().toLower();
    if (word == QStringLiteral("true") || word == QStringLiteral("yes")) return true;
    return word.toDouble() != 0;
}

}  // namespace

UserDefaults::UserDefaults() : settings_(userFile(), QSettings::IniFormat) {}

UserDefaults::UserDefaults(const std::filesystem::path& file)
    : settings_(QString::fromStdString(file.string()), QSettings::IniFormat) {}

void UserDefaults::registerDefaults(const Registration& fallbacks) {
    for (const auto& [key, fallback] : fallbacks)
        registered_.insert_or_assign(key, fallback);
}

std::optional<DefaultsValue> UserDefaults::value(std::string_view key) const {
    const QVariant stored = settings_.value(qtKey(key));
    // An unquoted text with commas, as people write it by hand, is read as a list.
    if (stored.typeId() == QMetaType::QStringList)
        return stored.toStringList().join(QStringLiteral(", ")).toStdString();
    if (stored.isValid()) return stored.toString().toStdString();
    if (const auto fallback = registered_.find(key); fallback != registered_.end()) return fallback->second;
    return std::nullopt;
}

bool UserDefaults::boolForKey(std::string_view key) const {
    const auto found = value(key);
    return found && isTrue(toText(*found));
}

std::int64_t UserDefaults::integerForKey(std::string_view key) const {
    const auto found = value(key);
    if (!found) return 0;
    bool whole = false;
    const qlonglong number = toText(*found).trimmed().toLongLong(&whole);
    return whole ? number : static_cast<std::int64_t>(doubleForKey(key));
}

double UserDefaults::doubleForKey(std::string_view key) const {
    const auto found = value(key);
    if (!found) return 0;
    // A number too large for an integer, or none at all, counts as no number.
    constexpr double limit = 9e15;
    const double number = toText(*found).trimmed().toDouble();
    return number >= -limit && number <= limit ? number : 0;
}

std::optional<std::string> UserDefaults::stringForKey(std::string_view key) const {
    const auto found = value(key);
    if (!found) return std::nullopt;
    return toText(*found).toStdString();
}

void UserDefaults::set(std::string_view key, const DefaultsValue& value) {
    settings_.setValue(qtKey(key), toVariant(value));
    save();
    changes_.notify();
}

void UserDefaults::removeObject(std::string_view key) {
    settings_.remove(qtKey(key));
    save();
    changes_.notify();
}

Subscription UserDefaults::observe(std::function<void()> changed) const {
    return changes_.add(std::move(changed));
}

void UserDefaults::save() {
    settings_.sync();
    QSettings::Status status = settings_.status();
    if (status == QSettings::FormatError) {
        // A line that makes no sense, as somebody typed it, keeps nothing from being written; but it hides
        // whether that went well. What is still to be written is tried again here.
        QSettings again(settings_.fileName(), QSettings::IniFormat);
        again.sync();
        status = again.status();
    }
    if (status == QSettings::AccessError) {
        throw PlatformError(localized("The settings file couldn't be written: ") +
                            settings_.fileName().toStdString());
    }
}

}  // namespace lumicrate::desktop
