// SPDX-License-Identifier: GPL-3.0-or-later
// The user's D-Bus session bus: whether there is one, and the service by which a running instance of the
// program is controlled.
#pragma once

#include "Linux/Desktop/ApplicationInterface.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::desktop {

/// Check this before using QDBusConnection::sessionBus(): without an address the D-Bus library would start a
/// bus of its own.
bool sessionBusExists();

/// The service `applicationId` with one object, `applicationObjectPath`. It has org.freedesktop.Application,
/// and an interface with the name of the service. The latter's methods have no argument or one string, and
/// return nothing or one string. Main thread; needs a running Qt event loop.
class BusService {
 public:
    /// `call` receives the argument of a method that takes one, and otherwise nothing. Its result is the
    /// reply of a method with `replies`, and ignored otherwise.
    struct Method {
        std::string name;  ///< "Toggle"
        bool takesText = false;
        bool replies = false;
        std::function<std::string(const std::string& argument)> call;
    };
    enum class Outcome {
        claimed,  ///< this process now owns the name
        taken,    ///< another process owns the name
        noBus,    ///< there is no session bus
    };

    BusService(std::vector<Method> methods, ApplicationInterface application);
    /// Releases the name.
    ~BusService();
    BusService(const BusService&) = delete;
    BusService& operator=(const BusService&) = delete;

    /// Requests the name. Once it is claimed, the event loop calls the methods.
    Outcome claim();

 private:
    class Object;

    std::unique_ptr<Object> object_;
    bool claimed_ = false;
};

/// Calls a method of the running instance and waits for its reply, which is empty for methods without one.
/// Nothing if no instance can be reached.
std::optional<std::string> callRunningInstance(const std::string& method,
                                               const std::optional<std::string>& argument = std::nullopt);

}  // namespace lumicrate::desktop
