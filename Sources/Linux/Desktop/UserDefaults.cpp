// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Desktop/UserDefaults.h"

#include "Linux/Desktop/FolderWatch.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <QCoreApplication>
#include <QStandardPaths>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QVariant>
#include <memory>
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

/// Notifies the observers when the file differs from the contents known to this process.
class UserDefaults::Watch {
 public:
    explicit Watch(const UserDefaults& defaults)
        : defaults_(&defaults),
          known_(defaults.contents()),
          folder_(std::filesystem::path(defaults.settings_.fileName().toStdString()).parent_path()) {
        folder_.setOnChange([this](const lumicrate::FolderChanges&) { update(); });
    }

    /// Called after a write by this process, which must not be reported as a change.
    void updateKnown() { known_ = defaults_->contents(); }
    /// Called when the defaults are destroyed, which their observers may outlive.
    void detach() { defaults_ = nullptr; }

 private:
    void update() {
        if (defaults_ == nullptr) return;
        Contents now = defaults_->contents();
        if (now == known_) return;
        known_ = std::move(now);
        // Keeps this object alive if the last observer unsubscribes while it is notified.
        QTimer::singleShot(0, QCoreApplication::instance(), [alive = defaults_->watch_.lock()] {});
        defaults_->changes_.notify();
    }

    const UserDefaults* defaults_;
    Contents known_;
    FolderWatch folder_;
};

UserDefaults::UserDefaults() : settings_(userFile(), QSettings::IniFormat) {}

UserDefaults::UserDefaults(const std::filesystem::path& file)
    : settings_(QString::fromStdString(file.string()), QSettings::IniFormat) {}

UserDefaults::~UserDefaults() {
    if (const auto watch = watch_.lock()) watch->detach();
}

void UserDefaults::registerDefaults(const Registration& fallbacks) {
    for (const auto& [key, fallback] : fallbacks)
        registered_.insert_or_assign(key, fallback);
}

std::optional<DefaultsValue> UserDefaults::value(std::string_view key) const {
    settings_.sync();
    const QVariant stored = settings_.value(qtKey(key));
    // QSettings reads an unquoted text with commas as a list; people write such texts by hand.
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
    // NaN and numbers outside the range of integers count as 0.
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
    change(qtKey(key), toVariant(value));
}

void UserDefaults::removeObject(std::string_view key) {
    change(qtKey(key), {});
}

void UserDefaults::change(const QString& key, const QVariant& value) {
    settings_.sync();
    const QVariant before = settings_.value(key);
    put(key, value);
    try {
        save();
    } catch (const PlatformError&) {
        put(key, before);
        throw;
    }
    if (const auto watch = watch_.lock()) watch->updateKnown();
    changes_.notify();
}

void UserDefaults::put(const QString& key, const QVariant& value) {
    if (value.isValid()) {
        settings_.setValue(key, value);
    } else {
        settings_.remove(key);
    }
}

Subscription UserDefaults::observe(std::function<void()> changed) const {
    auto watch = watch_.lock();
    if (!watch && QCoreApplication::instance() != nullptr) {
        try {
            watch = std::make_shared<Watch>(*this);
            watch_ = watch;
        } catch (const PlatformError&) {
            // No inotify instances left: changes by other processes go unnoticed.
            log(LogArea::desktop, "the settings file cannot be watched");
        }
    }
    auto subscription = std::make_shared<Subscription>(changes_.add(std::move(changed)));
    return Subscription([subscription, watch = std::move(watch)]() mutable {
        subscription.reset();
        watch.reset();
    });
}

UserDefaults::Contents UserDefaults::contents() const {
    settings_.sync();
    Contents contents;
    for (const QString& key : settings_.allKeys())
        contents.insert(key, settings_.value(key));
    return contents;
}

void UserDefaults::save() {
    settings_.sync();
    // The status of a QSettings object never returns to NoError, even if only a malformed line was read once.
    // A new object shows whether the file can be written now, and retries what is pending.
    QSettings again(settings_.fileName(), QSettings::IniFormat);
    again.sync();
    if (again.status() == QSettings::AccessError) {
        throw PlatformError(
            localized("The settings file couldn't be written: {}", {settings_.fileName().toStdString()}));
    }
}

}  // namespace lumicrate::desktop
