// SPDX-License-Identifier: GPL-3.0-or-later
// Appearance: what the desktop's settings portal says about colours, contrast and motion.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace lumicrate::portal {

enum class ColorScheme : std::uint8_t { noPreference, dark, light };

/// sRGB, each component from 0 to 1.
struct AccentColor {
    double red = 0;
    double green = 0;
    double blue = 0;

    bool operator==(const AccentColor&) const = default;
};

struct AppearanceSettings {
    ColorScheme colorScheme = ColorScheme::noPreference;
    std::optional<AccentColor> accentColor = {};
    bool highContrast = false;  ///< asked for by the portal's own setting or that of GNOME
    bool reducedMotion =
        false;  ///< asked for by the portal's own setting, or animations are off in GNOME or KDE

    bool operator==(const AppearanceSettings&) const = default;
};

/// Follows the settings while it exists. Main thread, with a running Qt event loop.
///
/// It calls the portal on QDBusConnection::sessionBus(), as Qt itself does, because it must not be the first
/// caller on the portals' own connection; see Registry.
class Appearance {
 public:
    /// `changed` is called at every change of settings(), and may destroy this. The settings have their
    /// default values until the portal has answered, and for everything that the desktop does not say.
    explicit Appearance(std::function<void(const AppearanceSettings& settings)> changed);
    ~Appearance();
    Appearance(const Appearance&) = delete;
    Appearance& operator=(const Appearance&) = delete;

    const AppearanceSettings& settings() const;

 private:
    class Follower;

    std::unique_ptr<Follower> follower_;
};

}  // namespace lumicrate::portal
