// SPDX-License-Identifier: GPL-3.0-or-later
// NotificationCenter: named notifications between parts that do not know each other. Main thread only.
#pragma once

#include "Support/Published.h"

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace lumicrate {

/// Posted when a recording has been saved; its object is the saved file.
inline constexpr std::string_view recordingSavedNotification = "Lumicrate.recordingSaved";
/// Posted, without an object, when a file of the library was trimmed, renamed or moved to the Trash.
inline constexpr std::string_view recordingsChangedNotification = "Lumicrate.recordingsChanged";

class NotificationCenter {
 public:
    using Object = std::optional<std::filesystem::path>;
    using Handler = std::function<void(const Object&)>;

    [[nodiscard]] Subscription observe(std::string_view name, Handler handler) {
        return observers_[std::string(name)].add(std::move(handler));
    }

    /// Calls every handler of `name` before it returns.
    void post(std::string_view name, const Object& object = std::nullopt) const {
        if (const auto found = observers_.find(name); found != observers_.end()) found->second.notify(object);
    }

 private:
    std::map<std::string, Observers<const Object&>, std::less<>> observers_;
};

}  // namespace lumicrate
