// The running program on a real session bus, and what it hears of the desktop's look there.

#include "Linux/Desktop/Appearance.h"
#include "Linux/Desktop/SessionBus.h"
#include "Tests/Linux/Desktop/EventLoop.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QObject>
#include <future>

namespace lumicrate::desktop {

/// The desktop's side of org.freedesktop.portal.Settings.
class SettingsPortal : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

 public:
    unsigned scheme = 0;

    void change(unsigned next) {
        scheme = next;
        Q_EMIT SettingChanged("org.freedesktop.appearance", "accent-color", QDBusVariant(1U - next));
        Q_EMIT SettingChanged("org.freedesktop.appearance", "color-scheme", QDBusVariant(next));
    }

 public Q_SLOTS:
    QDBusVariant Read(const QString& space, const QString& key) const {
        const bool known = space == "org.freedesktop.appearance" && key == "color-scheme";
        return QDBusVariant(QVariant::fromValue(QDBusVariant(known ? scheme : 77U)));
    }

 Q_SIGNALS:
    void SettingChanged(const QString& space, const QString& key, const QDBusVariant& value);
};

namespace {

using test::await;

/// Asks from another thread, as another process would, while this one's loop answers.
std::optional<std::string> ask(const std::string& method) {
    std::future<std::optional<std::string>> answer =
        std::async(std::launch::async, [&] { return callRunningInstance(method); });
    EXPECT_TRUE(
        await([&] { return answer.wait_for(std::chrono::milliseconds(1)) == std::future_status::ready; }));
    return answer.get();
}

/// The loop turns without being woken.
class SessionBusTests : public testing::Test {
 protected:
    SessionBusTests() { pulse_.start(5); }

 private:
    QTimer pulse_;
};

TEST_F(SessionBusTests, OnlyOneProgramIsTheOneThatRuns) {
    int toggled = 0;
    std::vector<BusService::Method> methods{{"Toggle", false,
                                             [&] {
                                                 ++toggled;
                                                 return std::string();
                                             }},
                                            {"Status", true, [] { return std::string("“fine”"); }}};
    EXPECT_EQ(ask("Toggle"), std::nullopt);
    {
        BusService first(methods);
        ASSERT_EQ(first.claim(), BusService::Outcome::claimed);
        EXPECT_EQ(ask("Toggle"), "");
        EXPECT_EQ(toggled, 1);
        EXPECT_EQ(ask("Status"), "“fine”");
        EXPECT_EQ(ask("Nonsense"), std::nullopt);
    }
    EXPECT_EQ(ask("Toggle"), std::nullopt);
    BusService next(methods);
    EXPECT_EQ(next.claim(), BusService::Outcome::claimed);
}

TEST_F(SessionBusTests, TheLookOfTheDesktopIsFollowed) {
    QDBusConnection desktop = QDBusConnection::connectToBus(QDBusConnection::SessionBus, "desktop");
    SettingsPortal portal;
    portal.scheme = 1;
    desktop.registerObject("/org/freedesktop/portal/desktop", &portal,
                           QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals);
    ASSERT_TRUE(desktop.registerService("org.freedesktop.portal.Desktop"));
    std::vector<bool> looks;
    const Appearance appearance([&](bool dark) { looks.push_back(dark); });
    ASSERT_TRUE(await([&] { return looks.size() == 1; }));
    portal.change(2);
    ASSERT_TRUE(await([&] { return looks.size() == 2; }));
    portal.change(0);
    portal.change(1);
    ASSERT_TRUE(await([&] { return looks.size() == 3; }));
    EXPECT_EQ(looks, (std::vector<bool>{true, false, true}));
    desktop.unregisterService("org.freedesktop.portal.Desktop");
}

}  // namespace
}  // namespace lumicrate::desktop

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

#include "SessionBusTests.moc"
