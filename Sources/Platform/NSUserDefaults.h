// The per-user preferences store.
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

/// A value of the store, in one of the types that are stored.
using DefaultsValue = std::variant<bool, std::int64_t, double, std::string>;

/// Typed reads and writes by key. Main thread only; no read fails.
///
/// A read looks for a value that the user set, then for a registered one. A value of another type is
/// converted where that makes sense ("1", "true" and "yes" are true, "30" is the integer 30, any number is a
/// text); where it does not, the read gives the type's empty value: false, 0, 0.0 or no text.
class NSUserDefaults {
 public:
    using Registration = std::vector<std::pair<std::string, DefaultsValue>>;

    virtual ~NSUserDefaults() = default;

    /// Fallbacks for keys that the user never set; they are kept in memory only. Later calls add to earlier
    /// ones.
    virtual void registerDefaults(const Registration& fallbacks) = 0;

    virtual bool boolForKey(std::string_view key) const = 0;
    virtual std::int64_t integerForKey(std::string_view key) const = 0;
    virtual double doubleForKey(std::string_view key) const = 0;
    virtual std::optional<std::string> stringForKey(std::string_view key) const = 0;

    /// Stores a value durably. Throws PlatformError when it cannot be written.
    virtual void set(std::string_view key, const DefaultsValue& value) = 0;
    /// Forgets what the user set; the registered value answers again. Throws like set.
    virtual void removeObject(std::string_view key) = 0;

    /// `changed` is called after a value was set or removed here, and soon after the store was changed by
    /// somebody else; not necessarily once for each value.
    [[nodiscard]] virtual Subscription observe(std::function<void()> changed) const = 0;
};

}  // namespace lumicrate
