#include "Linux/Desktop/UserDefaults.h"

#include "Linux/Desktop/FolderWatch.h"
#include "Support/Error.h"

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

/// Tells the observers when the file has other contents than this process knows.
class UserDefaults::Watch {
 public:
    explicit Watch(const UserDefaults& defaults)
        : defaults_(&defaults),
          known_(defaults.contents()),
          folder_(std::filesystem::path(defaults.settings_.fileName().toStdString()).parent_path()) {
        folder_.setOnChange([this](const lumicrate::FolderChanges&) { look(); });
    }

    /// What this process itself wrote is no news.
    void learn() { known_ = defaults_->contents(); }
    /// The defaults go, which observers may outlive.
    void end() { defaults_ = nullptr; }

 private:
    void look() {
        if (defaults_ == nullptr) return;
        Contents now = defaults_->contents();
        if (now == known_) return;
        known_ = std::move(now);
        // The last observer may go when it is told, but this must not go in the middle of it.
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
    if (const auto watch = watch_.lock()) watch->end();
}

void UserDefaults::registerDefaults(const Registration& fallbacks) {
    for (const auto& [key, fallback] : fallbacks)
        registered_.insert_or_assign(key, fallback);
}

std::optional<DefaultsValue> UserDefaults::value(std::string_view key) const {
    settings_.sync();
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
    if (const auto watch = watch_.lock()) watch->learn();
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
            // The system has nothing left to watch with: then only what is changed here is told.
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
    // A settings object never forgets that something once went wrong, be it a line that makes no sense, as
    // somebody typed it, or a disk that was full. A new one tries again what is still to be written.
    QSettings again(settings_.fileName(), QSettings::IniFormat);
    again.sync();
    if (again.status() == QSettings::AccessError) {
        throw PlatformError(localized("The settings file couldn't be written: ") +
                            settings_.fileName().toStdString());
    }
}

}  // namespace lumicrate::desktop
