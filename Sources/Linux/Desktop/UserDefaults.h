// SPDX-License-Identifier: GPL-3.0-or-later
// UserDefaults: the preferences, stored in one file in the user's configuration folder.
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

/// The file is plain text, KEY=VALUE below "[General]". Several processes may use it at the same time: a
/// write is merged with the current file, and reads see the writes of other processes. If a write fails, the
/// old value stays.
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
    /// Changes by other processes are reported within half a second, provided that Qt's event loop runs. The
    /// file is only watched while there are observers.
    Subscription observe(std::function<void()> changed) const override;

 private:
    using Contents = QHash<QString, QVariant>;

    class Watch;

    std::optional<DefaultsValue> value(std::string_view key) const;
    void change(const QString& key, const QVariant& value);
    void put(const QString& key, const QVariant& value);
    void save();
    Contents contents() const;

    mutable QSettings settings_;  ///< mutable: reading synchronizes with the file
    std::map<std::string, DefaultsValue, std::less<>> registered_;
    mutable Observers<> changes_;
    mutable std::weak_ptr<Watch> watch_;  ///< owned by the observers' subscriptions
};

}  // namespace lumicrate::desktop
