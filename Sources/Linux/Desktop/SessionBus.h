// SPDX-License-Identifier: GPL-3.0-or-later
// The user's D-Bus session bus: whether there is one, and the service by which a running instance of the
// program is controlled.
#pragma once

#include "Linux/Desktop/ApplicationInterface.h"
#include "Linux/Desktop/BusInterface.h"

#include <QObject>
#include <QVariant>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::desktop {

/// Check this before using QDBusConnection::sessionBus(): without an address the D-Bus library would start a
/// bus of its own.
bool sessionBusExists();

/// The name of the program's own interface `member` of this version: "org.lumicrate.Lumicrate.Recorder1".
std::string ownInterfaceName(const std::string& member);

/// The service `applicationId` with one object, `applicationObjectPath`, which has
/// org.freedesktop.Application and interfaces of our own. Main thread; needs a running Qt event loop.
class BusService {
 public:
    enum class Outcome {
        claimed,  ///< this process now owns the name
        taken,    ///< another process owns the name
        noBus,    ///< there is no session bus
    };

    BusService(std::vector<BusInterface> interfaces, ApplicationInterface application);
    /// Releases the name.
    ~BusService();
    BusService(const BusService&) = delete;
    BusService& operator=(const BusService&) = delete;

    /// Requests the name. Once it is claimed, the event loop calls the methods.
    Outcome claim();
    /// Sends a signal of an interface. Does nothing unless the name is claimed.
    void send(const std::string& interface, const std::string& event, const QVariantList& arguments) const;
    /// Sends PropertiesChanged with these values.
    void announce(const std::string& interface, const QVariantMap& values) const;

 private:
    class Object;

    std::unique_ptr<Object> object_;
    bool claimed_ = false;
};

/// Calls a method of the running instance and waits for its reply. False if no instance can be reached.
/// Throws BusError when it refuses.
bool callRunningInstance(const std::string& interface, const std::string& method,
                         const QVariantList& arguments = {});

/// The properties of the running instance. Nothing if no instance can be reached.
std::optional<QVariantMap> runningInstanceProperties(const std::string& interface);

/// Follows the properties of the running instance. Main thread; needs a running Qt event loop.
class InstanceWatch final : public QObject {
    Q_OBJECT

 public:
    /// `changed` receives the announced values, `ended` is called once when the instance is gone.
    InstanceWatch(const std::string& interface, std::function<void(const QVariantMap&)> changed,
                  std::function<void()> ended);

 private Q_SLOTS:
    void receive(const QString& interface, const QVariantMap& values);
    void endWithService();

 private:
    QString interface_;
    std::function<void(const QVariantMap&)> changed_;
    std::function<void()> ended_;
};

}  // namespace lumicrate::desktop
