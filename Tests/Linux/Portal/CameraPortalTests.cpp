// SPDX-License-Identifier: GPL-3.0-or-later
// Access to cameras from a sandbox, by a portal on a private session bus.
#include "Linux/PipeWire/Devices.h"
#include "Linux/Portal/CameraPortal.h"
#include "Support/Error.h"
#include "Tests/Linux/Desktop/EventLoop.h"
#include "Tests/Linux/PipeWire/VirtualCamera.h"
#include "Tests/Stage/SoundServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <algorithm>
#include <future>

namespace lumicrate::portal {
namespace {

using test::await;
using testing::SizeIs;

/// Answers as the desktop's portal does.
class Portal final : public QDBusVirtualObject {
 public:
    explicit Portal(QDBusConnection bus) : bus_(std::move(bus)) {
        bus_.registerVirtualObject(objectPath, this);
        bus_.registerService(service);
    }
    ~Portal() override { bus_.unregisterService(service); }

    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& call, const QDBusConnection& bus) override {
        if (call.member() == QStringLiteral("Get"))
            return bus.send(call.createReply(QVariant::fromValue(QDBusVariant(true))));
        if (call.member() == QStringLiteral("OpenPipeWireRemote"))
            return bus.send(call.createReply(QVariant::fromValue(connectToServer())));
        const auto options = qdbus_cast<QVariantMap>(call.arguments().last());
        const QString sender = call.service().mid(1).replace('.', '_');
        const QString path = objectPath + "/request/" + sender + "/" + options["handle_token"].toString();
        if (response) {
            QDBusMessage answer =
                QDBusMessage::createSignal(path, "org.freedesktop.portal.Request", "Response");
            answer << *response << QVariantMap();
            bus.send(answer);  // before the reply, which a client must expect
        }
        return bus.send(call.createReply(QVariant::fromValue(QDBusObjectPath(path))));
    }

    std::optional<uint> response;  ///< none: the user does not answer

 private:
    static QDBusUnixFileDescriptor connectToServer() {
        const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{AF_UNIX, {}};
        const std::string path = std::string(std::getenv("XDG_RUNTIME_DIR")) + "/pipewire-0";
        std::ranges::copy(path, address.sun_path);
        EXPECT_EQ(::connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        QDBusUnixFileDescriptor result;
        result.giveFileDescriptor(descriptor);
        return result;
    }

    QDBusConnection bus_;
};

TEST(CameraPortalTests, TheUsersAnswerDecidesWhetherCamerasAreListed) {
    int count = 0;
    const QCoreApplication application(count, nullptr);
    const stage::SoundServer server;
    const stage::VirtualCamera camera({.name = "front", .description = "Front"});
    QTimer pulse;
    pulse.start(5);
    CameraPortal cameras;
    const pipewire::CameraAccess access{[&] { return cameras.isCameraPresent(); },
                                        [&](auto completion) { cameras.requestAccess(completion); },
                                        CameraPortal::openRemote};
    // On another thread, because the portal is on this one.
    const auto listed = [](const pipewire::Devices& devices) {
        auto list = std::async(std::launch::async, [&] { return devices.cameras(); });
        EXPECT_TRUE(
            await([&] { return list.wait_for(std::chrono::milliseconds(1)) == std::future_status::ready; }));
        return list.get();
    };
    const auto outcome = [&](std::optional<uint> response, bool portalEnds = false) {
        auto portal =
            std::make_unique<Portal>(QDBusConnection::connectToBus(QDBusConnection::SessionBus, "p"));
        portal->response = response;
        pipewire::Devices devices(access);
        EXPECT_EQ(listed(devices), (std::vector<CaptureDevice>{{"", "Camera"}}));
        std::optional<bool> granted;
        devices.requestAccessForVideo([&](bool answer) { granted = answer; });
        if (portalEnds) QTimer::singleShot(100, [&] { portal.reset(); });
        EXPECT_TRUE(await([&] { return granted.has_value(); }));
        EXPECT_EQ(devices.authorizationStatusForVideo(),
                  *granted ? AVAuthorizationStatus::authorized : AVAuthorizationStatus::denied);
        return listed(devices);
    };
    EXPECT_EQ(outcome(0), (std::vector<CaptureDevice>{{"front", "Front"}}));
    EXPECT_THAT(outcome(1), SizeIs(0));
    EXPECT_THAT(outcome(std::nullopt, true), SizeIs(0));
    EXPECT_THROW(CameraPortal::openRemote(), PlatformError) << "without a portal";
}

}  // namespace
}  // namespace lumicrate::portal
