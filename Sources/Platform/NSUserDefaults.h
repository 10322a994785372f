// SPDX-License-Identifier: GPL-3.0-or-later
// NSUserDefaults: the preferences of the user.
#pragma once

#include "Support/Published.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace lumicrate {

/// A stored value.
using DefaultsValue = std::variant<bool, std::int64_t, double, std::string>;

/// Typed reads and writes by key. Main thread only; reads never fail.
///
/// A read returns the value that the user set, or else the registered one. A value of another type is
/// converted if possible ("1", "true" and "yes" are true, "30" is the integer 30, any number is a text);
/// otherwise the read returns false, 0, 0.0 or no text.
class NSUserDefaults {
 public:
    using Registration = std::vector<std::pair<std::string, DefaultsValue>>;

    virtual ~NSUserDefaults() = default;

    /// Registers fallbacks, which are kept in memory only. Later calls add to earlier ones.
    virtual void registerDefaults(const Registration& fallbacks) = 0;

    virtual bool boolForKey(std::string_view key) const = 0;
    virtual std::int64_t integerForKey(std::string_view key) const = 0;
    virtual double doubleForKey(std::string_view key) const = 0;
    virtual std::optional<std::string> stringForKey(std::string_view key) const = 0;

    /// Stores a value persistently. Throws PlatformError if it cannot be written.
    virtual void set(std::string_view key, const DefaultsValue& value) = 0;
    /// Removes the stored value, so that reads return the registered one. Throws like set.
    virtual void removeObject(std::string_view key) = 0;

    /// `changed` is called after a value was set or removed, and soon after another process changed the
    /// store; not necessarily once for each value.
    [[nodiscard]] virtual Subscription observe(std::function<void()> changed) const = 0;
};

}  // namespace lumicrate
