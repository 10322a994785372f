// SPDX-License-Identifier: GPL-3.0-or-later
// BusInterface: a D-Bus interface as a table, from which its calls are dispatched and its introspection data
// are made, so that the two cannot differ.
#pragma once

#include "Support/Error.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QVariant>
#include <functional>
#include <string>
#include <vector>

namespace lumicrate::desktop {

/// What a call is refused with: an error name such as "org.freedesktop.DBus.Error.InvalidArgs", and a
/// sentence.
class BusError : public LocalizedError {
 public:
    BusError(std::string errorName, const std::string& sentence)
        : LocalizedError(sentence), name(std::move(errorName)) {}
    const std::string name;

    static constexpr const char* invalidArguments = "org.freedesktop.DBus.Error.InvalidArgs";
    static constexpr const char* failed = "org.freedesktop.DBus.Error.Failed";
};

/// Main thread. Types are D-Bus signatures of one complete type: "s", "a{sv}".
struct BusInterface {
    struct Argument {
        std::string name, type;
    };
    /// Methods reply nothing. `call` may throw BusError, or LocalizedError for BusError::failed.
    struct Method {
        std::string name, description;
        std::vector<Argument> arguments;
        std::function<void(const QVariantList&)> call;
    };
    struct Property {
        std::string name, type, description;
        std::function<QVariant()> read;
        /// PropertiesChanged announces it.
        bool isAnnounced = true;
    };
    struct Event {  ///< a signal
        std::string name, description;
        std::vector<Argument> arguments;
    };

    std::string name, description;
    std::vector<Method> methods;
    std::vector<Property> properties;
    std::vector<Event> events;

    /// The element <interface>, with the descriptions as comments. Ends with a line end.
    std::string introspection() const;
    /// Answers a call of the interface, or of org.freedesktop.DBus.Properties for it. False for other calls.
    bool handle(const QDBusMessage& call, const QDBusConnection& connection) const;
    /// What PropertiesChanged announces, by name.
    QVariantMap announced() const;

 private:
    QDBusMessage answer(const QDBusMessage& call) const;
    QDBusMessage answerProperties(const QDBusMessage& call) const;
};

/// A complete introspection document with one interface.
std::string introspectionDocument(const BusInterface& interface);

}  // namespace lumicrate::desktop
