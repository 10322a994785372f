// Activities against a screen saver service on a real session bus.

#include "Linux/Desktop/ProcessInfo.h"
#include "Tests/Linux/Desktop/EventLoop.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>

namespace lumicrate::desktop {

/// The desktop's side of org.freedesktop.ScreenSaver.
class ScreenSaver : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.ScreenSaver")

 public:
    QString lastReason;
    std::vector<unsigned> inhibited;
    std::vector<unsigned> released;

 public Q_SLOTS:
    unsigned Inhibit(const QString&, const QString& reason) {
        lastReason = reason;
        inhibited.push_back(static_cast<unsigned>(41 + inhibited.size()));
        Q_EMIT changed();
        return inhibited.back();
    }
    void UnInhibit(unsigned cookie) {
        released.push_back(cookie);
        Q_EMIT changed();
    }

 Q_SIGNALS:
    void changed();
};

namespace {

using test::await;

constexpr const char* service = "org.freedesktop.ScreenSaver";

class InhibitionTests : public testing::Test {
 protected:
    void SetUp() override {
        desktop.registerObject("/org/freedesktop/ScreenSaver", &saver, QDBusConnection::ExportAllSlots);
        ASSERT_TRUE(desktop.registerService(service));
    }
    void TearDown() override { desktop.unregisterService(service); }

    ScreenSaver saver;
    QDBusConnection desktop = QDBusConnection::connectToBus(QDBusConnection::SessionBus, "desktop");
    ProcessInfo process;
};

TEST_F(InhibitionTests, LastsAsLongAsTheActivity) {
    auto activity = process.beginActivity(NSProcessInfo::activityUserInitiatedDisplayAwake,
                                          "Screen recording in progress");
    ASSERT_TRUE(await([&] { return saver.inhibited.size() == 1; }));
    EXPECT_EQ(saver.lastReason, "Screen recording in progress");

    // The reply is on its way; the activity may end before or after it, the cookie comes back either way.
    activity.reset();
    ASSERT_TRUE(await([&] { return saver.released.size() == 1; }));
    EXPECT_EQ(saver.released, saver.inhibited);
}

TEST_F(InhibitionTests, EndedBeforeTheReplyIsReleasedAllTheSame) {
    process.beginActivity(NSProcessInfo::activityUserInitiatedDisplayAwake, "short").reset();
    ASSERT_TRUE(await([&] { return saver.released.size() == 1; }));
    EXPECT_EQ(saver.released, saver.inhibited);
}

TEST_F(InhibitionTests, AnActivityThatLeavesTheDisplayAloneAsksNothing) {
    const auto quiet = process.beginActivity(0x00FFFFFF, "quiet");
    const auto loud = process.beginActivity(NSProcessInfo::activityUserInitiatedDisplayAwake, "loud");
    ASSERT_TRUE(await([&] { return !saver.inhibited.empty(); }));
    EXPECT_EQ(saver.lastReason, "loud");
    EXPECT_EQ(saver.inhibited.size(), 1U);
}

}  // namespace
}  // namespace lumicrate::desktop

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}

#include "InhibitionTests.moc"
