// SPDX-License-Identifier: GPL-3.0-or-later
// org.freedesktop.Application, the interface by which desktops start and control a program that can be
// activated on D-Bus: both of its ends.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <variant>
#include <vector>

class QDBusConnection;
class QDBusMessage;
class QString;

namespace lumicrate::desktop {

/// What a desktop asks of the program.
struct ApplicationCall {
    struct Activate {};  ///< come to the front
    struct Open {
        std::vector<std::filesystem::path> files;
    };
    struct Action {
        std::string name;  ///< of an action in the desktop entry: "record-area"
    };

    std::variant<Activate, Open, Action> request;
    /// Identifies the click that caused the call, so that windows may take the focus and the launcher's
    /// feedback ends; empty if unknown.
    std::string startupId;
};

/// The startup identifier that the program was started with, by $DESKTOP_STARTUP_ID or
/// $XDG_ACTIVATION_TOKEN. Qt removes the variable when its application object is created.
std::string ownStartupId();

/// Makes the running instance do it, and waits for its reply. False if no instance can be reached.
bool callRunningApplication(const ApplicationCall& call);

/// The service's end. Main thread.
class ApplicationInterface {
 public:
    /// `hasAction` says whether there is an action with that name. `handle` is called after the reply has
    /// been sent, because the caller may be the desktop's panel, which must not wait for windows.
    ApplicationInterface(std::function<bool(const std::string& name)> hasAction,
                         std::function<void(const ApplicationCall& call)> handle);

    /// XML of the interface.
    static QString introspection();
    /// Replies to `message` if it is a call of this interface; false otherwise. Files that are not local, and
    /// unknown actions, are answered with an error.
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) const;

 private:
    std::function<bool(const std::string& name)> hasAction_;
    std::function<void(const ApplicationCall& call)> handle_;
};

}  // namespace lumicrate::desktop
