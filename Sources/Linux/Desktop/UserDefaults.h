// UserDefaults: the preferences in one settings file under the user's configuration folder.
#pragma once

#include "Platform/NSUserDefaults.h"

#include <QHash>
#include <QSettings>
#include <QString>
#include <QVariant>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace lumicrate::desktop {

/// The file is plain text, KEY=VALUE below "[General]". Several processes may read and write it at once:
/// every write is merged into what is on disk, and reads see what others wrote. A value that could not be
/// written is as it was before.
class UserDefaults final : public NSUserDefaults {
 public:
    /// Lumicrate/lumicrate.conf in the user's configuration folder.
    UserDefaults();
    explicit UserDefaults(const std::filesystem::path& file);
    ~UserDefaults() override;
    UserDefaults(const UserDefaults&) = delete;
    UserDefaults& operator=(const UserDefaults&) = delete;

    void registerDefaults(const Registration& fallbacks) override;
    bool boolForKey(std::string_view key) const override;
    std::int64_t integerForKey(std::string_view key) const override;
    double doubleForKey(std::string_view key) const override;
    std::optional<std::string> stringForKey(std::string_view key) const override;
    void set(std::string_view key, const DefaultsValue& value) override;
    void removeObject(std::string_view key) override;
    /// Of what others change, an observer hears within half a second, where Qt's event loop runs. The file is
    /// watched only while there are observers.
    Subscription observe(std::function<void()> changed) const override;

 private:
    using Contents = QHash<QString, QVariant>;

    class Watch;

    std::optional<DefaultsValue> value(std::string_view key) const;
    void change(const QString& key, const QVariant& value);
    void put(const QString& key, const QVariant& value);
    void save();
    Contents contents() const;

    mutable QSettings settings_;  ///< reading looks for what others wrote
    std::map<std::string, DefaultsValue, std::less<>> registered_;
    mutable Observers<> changes_;
    mutable std::weak_ptr<Watch> watch_;  ///< the observers'
};

}  // namespace lumicrate::desktop
