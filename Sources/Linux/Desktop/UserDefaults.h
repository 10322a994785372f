// UserDefaults: the preferences in one settings file under the user's configuration folder.
#pragma once

#include "Platform/NSUserDefaults.h"

#include <QSettings>
#include <filesystem>
#include <map>

namespace lumicrate::desktop {

/// The file is plain text, KEY=VALUE below "[General]". Several processes may read and write it at once:
/// every write is merged into what is on disk, and reads see what others wrote.
class UserDefaults final : public NSUserDefaults {
 public:
    /// Lumicrate/lumicrate.conf in the user's configuration folder.
    UserDefaults();
    explicit UserDefaults(const std::filesystem::path& file);

    void registerDefaults(const Registration& fallbacks) override;
    bool boolForKey(std::string_view key) const override;
    std::int64_t integerForKey(std::string_view key) const override;
    double doubleForKey(std::string_view key) const override;
    std::optional<std::string> stringForKey(std::string_view key) const override;
    void set(std::string_view key, const DefaultsValue& value) override;
    void removeObject(std::string_view key) override;
    Subscription observe(std::function<void()> changed) const override;

 private:
    std::optional<DefaultsValue> value(std::string_view key) const;
    void save();

    QSettings settings_;
    std::map<std::string, DefaultsValue, std::less<>> registered_;
    mutable Observers<> changes_;
};

}  // namespace lumicrate::desktop
