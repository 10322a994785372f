// SPDX-License-Identifier: GPL-3.0-or-later
// Services on a private session bus: the program's own, and those of the desktop that it calls.
#include "Linux/Desktop/ApplicationInterface.h"
#include "Linux/Desktop/DesktopServices.h"
#include "Linux/Desktop/SessionBus.h"
#include "Linux/Desktop/UserNotifications.h"
#include "Support/Error.h"
#include "Support/MediaTime.h"
#include "Tests/Linux/Desktop/EventLoop.h"
#include "Tests/Linux/TemporaryFolder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QStringList>
#include <array>
#include <csignal>
#include <future>

namespace lumicrate::desktop {

namespace {

using test::await;

/// A service of the desktop, which records the calls of its methods.
class FakeService final : public QDBusVirtualObject {
 public:
    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& call, const QDBusConnection& connection) override {
        calls[call.member()].push_back(call.arguments());
        QDBusMessage answer = call.createReply();
        const auto own = replies.find(call.member());
        const QVariant& value = own == replies.end() ? reply : own->second;
        if (value.isValid()) answer << value;
        return connection.send(answer);
    }

    QVariant reply;
    std::map<QString, QVariant> replies;  ///< of methods that reply something else
    std::map<QString, QList<QVariantList>> calls;
};

class DesktopServiceTests : public testing::Test {
 protected:
    /// Wakes up the event loop, for conditions that no event announces.
    DesktopServiceTests() { pulse.start(5); }
    ~DesktopServiceTests() override { QDBusConnection::disconnectFromBus("desktop"); }

    void provide(const char* service, const char* path) {
        ASSERT_TRUE(desktop.registerVirtualObject(path, &fake) && desktop.registerService(service));
    }

    QTimer pulse;
    FakeService fake;
    /// The connection of the desktop's services.
    QDBusConnection desktop = QDBusConnection::connectToBus(QDBusConnection::SessionBus, "desktop");
};

TEST_F(DesktopServiceTests, OneInstanceOwnsTheNameAndAnswersCalls) {
    const std::string name = ownInterfaceName("Test");
    // Calls from another thread, as another process would, while the event loop of this one replies.
    const auto meanwhile = [](auto work) {
        auto answer = std::async(std::launch::async, work);
        EXPECT_TRUE(await(
            [&] { return answer.wait_for(std::chrono::milliseconds(1)) == std::future_status::ready; }));
        return answer.get();
    };
    const auto call = [&](const std::string& method, const QVariantList& arguments = {}) -> std::string {
        return meanwhile([&]() -> std::string {
            try {
                return callRunningInstance(name, method, arguments) ? "done" : "nobody";
            } catch (const BusError& error) {
                return error.name.substr(error.name.rfind('.') + 1) + ": " + error.what();
            }
        });
    };
    int count = 0;
    BusInterface interface;
    interface.name = name;
    interface.methods = {
        {"Add",
         "",
         {{"n", "i"}, {"options", "a{sv}"}},
         [&](const QVariantList& arguments) {
             count += arguments[0].toInt() + arguments[1].toMap()[QStringLiteral("more")].toInt();
         }},
        {"Fail", "", {}, [](const QVariantList&) { throw LocalizedError("It is broken."); }},
        {"Refuse", "", {}, [](const QVariantList&) { throw BusError(BusError::invalidArguments, "No."); }}};
    interface.properties = {{"Count", "i", "", [&] { return count; }}};
    std::vector<ApplicationCall> asked;
    const ApplicationInterface application([](const std::string& action) { return action == "record-area"; },
                                           [&](const ApplicationCall& each) { asked.push_back(each); });
    EXPECT_EQ(call("Add"), "nobody");
    {
        BusService first({interface}, application);
        ASSERT_EQ(first.claim(), BusService::Outcome::claimed);
        EXPECT_EQ(call("Add", {1, QVariantMap{{QStringLiteral("more"), 2}}}), "done");
        EXPECT_EQ(call("Add", {QStringLiteral("1")}), "InvalidArgs: The signature must be: ia{sv}");
        EXPECT_EQ(call("Fail"), "Failed: It is broken.");
        EXPECT_EQ(call("Refuse"), "InvalidArgs: No.");
        EXPECT_EQ(call("Nonsense"), "UnknownMethod: No such method: Nonsense");
        EXPECT_EQ(meanwhile([&] { return runningInstanceProperties(name); }),
                  (QVariantMap{{QStringLiteral("Count"), 3}}));

        QVariantMap heard;
        bool ended = false;
        const InstanceWatch watch(
            name, [&](const QVariantMap& values) { heard = values; }, [&] { ended = true; });
        first.announce(name, {{QStringLiteral("Count"), 4}});
        EXPECT_TRUE(await([&] { return heard.value(QStringLiteral("Count")) == 4; }));
        EXPECT_FALSE(ended);

        const auto ask = [&](const ApplicationCall& request) {
            return meanwhile([&] { return callRunningApplication(request); });
        };
        EXPECT_TRUE(ask({ApplicationCall::Open{{"/a/ä b#.mp4", "/c"}}, "launcher_TIME7"}));
        EXPECT_TRUE(ask({ApplicationCall::Action{"record-area"}, ""}));
        EXPECT_FALSE(ask({ApplicationCall::Action{"nonsense"}, ""}));
        ASSERT_TRUE(await([&] { return asked.size() == 2; }));
        EXPECT_EQ(asked[0].startupId, "launcher_TIME7");
        EXPECT_EQ(std::get<ApplicationCall::Open>(asked[0].request).files,
                  (std::vector<std::filesystem::path>{"/a/ä b#.mp4", "/c"}));
        EXPECT_EQ(std::get<ApplicationCall::Action>(asked[1].request).name, "record-area");
    }
    EXPECT_EQ(call("Add"), "nobody");
    BusService next({interface}, application);
    EXPECT_EQ(next.claim(), BusService::Outcome::claimed);
}

TEST_F(DesktopServiceTests, ALaunchedProgramIsIndependentAndTellsItsStatus) {
    const test::TemporaryFolder folder;
    TaskLauncher tasks;
    const std::string written = folder / "a file";
    for (const auto& [script, expected] : {std::pair("test $(cut -d' ' -f6 /proc/$$/stat) = $$ || exit 1\n"
                                                     "read line && exit 2\n"
                                                     "echo > \"$1\"; exit 3",
                                                     3),
                                           std::pair("kill -KILL $$", 128 + SIGKILL)}) {
        std::optional<int> status;
        tasks.launch({"sh", "-c", script, "sh", written}, [&](int ended) { status = ended; });
        ASSERT_TRUE(await([&] { return status.has_value(); }));
        EXPECT_EQ(*status, expected) << script;
    }
    EXPECT_TRUE(std::filesystem::exists(written));
    EXPECT_THROW(tasks.launch({"/nonexistent/program"}, {}), PlatformError);
}

TEST_F(DesktopServiceTests, AnActivityInhibitsTheDesktopAndLogindUntilItEnds) {
    constexpr auto awake = NSProcessInfo::activityUserInitiatedDisplayAwake;
    ProcessInfo process;
    fake.reply = 41U;
    provide("org.freedesktop.ScreenSaver", "/org/freedesktop/ScreenSaver");
    provide("org.freedesktop.PowerManagement", "/org/freedesktop/PowerManagement/Inhibit");
    // Its end of a pipe is closed with the last copy of the other end.
    FakeService logind;
    ASSERT_TRUE(desktop.registerVirtualObject("/org/freedesktop/login1", &logind) &&
                desktop.registerService("org.freedesktop.login1"));
    std::array<int, 2> pipe{};
    const auto offerPipe = [&] {
        ASSERT_EQ(::pipe2(pipe.data(), O_CLOEXEC), 0);
        logind.reply = QVariant::fromValue(QDBusUnixFileDescriptor(pipe[1]));
        close(pipe[1]);
    };
    const auto isReleased = [&] {
        logind.reply.clear();
        pollfd end{pipe[0], 0, 0};
        return await([&] { return poll(&end, 1, 0) == 1; });
    };
    offerPipe();
    const auto quiet = process.beginActivity(0x00FFFFFF, "allows the display to sleep");
    auto activity = process.beginActivity(awake, "Screen recording in progress");
    ASSERT_TRUE(await([&] { return fake.calls["Inhibit"].size() == 2 && !logind.calls.empty(); }));
    EXPECT_EQ(fake.calls["Inhibit"][0], (QVariantList{"Lumicrate", "Screen recording in progress"}));
    EXPECT_EQ(logind.calls["Inhibit"],
              (QList<QVariantList>{{"sleep:idle", "Lumicrate", "Screen recording in progress", "block"}}));
    EXPECT_TRUE(fake.calls["UnInhibit"].empty());
    activity.reset();
    ASSERT_TRUE(await([&] { return fake.calls["UnInhibit"].size() == 2; }));
    EXPECT_TRUE(isReleased());
    close(pipe[0]);
    // Ends before the services have replied.
    fake.reply = 42U;
    offerPipe();
    process.beginActivity(awake, "short").reset();
    ASSERT_TRUE(await([&] { return fake.calls["UnInhibit"].size() == 4; }));
    EXPECT_EQ(fake.calls["UnInhibit"], (QList<QVariantList>{{41U}, {41U}, {42U}, {42U}}));
    ASSERT_TRUE(await([&] { return logind.calls["Inhibit"].size() == 2; }));
    EXPECT_TRUE(isReleased());
    close(pipe[0]);
}

TEST_F(DesktopServiceTests, NotificationsAreHeldBackUntilTheEndWhereTheServiceOffersIt) {
    ProcessInfo process;
    provide("org.freedesktop.Notifications", "/org/freedesktop/Notifications");
    fake.replies = {{"GetCapabilities", QStringList{"body"}}, {"Inhibit", 8U}};
    auto& calls = fake.calls;
    process.holdNotifications("not offered");
    ASSERT_TRUE(await([&] { return calls["GetCapabilities"].size() == 1; }));
    fake.replies["GetCapabilities"] = QStringList{"body", "inhibitions"};
    auto hold = process.holdNotifications("Screen recording in progress");
    ASSERT_TRUE(await([&] { return !calls["Inhibit"].empty(); }));
    EXPECT_EQ(calls["Inhibit"].front().mid(1, 1), QVariantList{"Screen recording in progress"});
    EXPECT_TRUE(calls["UnInhibit"].empty());
    UserNotifications center;
    hold.reset();
    center.add({"Recording saved", "", {}});
    // Ends before the service has replied.
    hold = process.holdNotifications("short");
    ASSERT_TRUE(await([&] { return calls["Inhibit"].size() == 2; }));
    hold.reset();
    ASSERT_TRUE(await([&] { return calls["UnInhibit"].size() == 2 && !calls["Notify"].empty(); }));
    EXPECT_EQ(calls["UnInhibit"], (QList<QVariantList>{{8U}, {8U}}));
    EXPECT_EQ(calls["Inhibit"].size(), 2) << "only where it is offered";
}

TEST_F(DesktopServiceTests, TimeAwakeAndAsleepIsTheUptime) {
    double uptime = 0;
    ASSERT_TRUE(std::ifstream("/proc/uptime") >> uptime);
    const std::chrono::duration<double> known = HostClock::now() + ProcessInfo().timeAsleep();
    EXPECT_NEAR(known.count(), uptime, 0.1);
}

TEST_F(DesktopServiceTests, ShowsOneNotificationAtATime) {
    constexpr const char* path = "/org/freedesktop/Notifications";
    std::vector<std::string> chosen;
    const auto action = [&](const char* title) {
        return UNNotificationAction{title, [&chosen, title] { chosen.emplace_back(title); }};
    };
    const UNNotificationRequest request{"A", "<b> & co", {action("Show"), action("Open")}};
    const auto invoke = [&](unsigned id, const char* key) {
        desktop.send(QDBusMessage::createSignal(path, "org.freedesktop.Notifications", "ActionInvoked")
                     << id << key);
    };
    UserNotifications().add(request);  // without a service
    provide("org.freedesktop.Notifications", path);
    fake.replies = {{"GetCapabilities", QStringList{"actions", "body-markup"}}, {"Notify", 7U}};
    auto& calls = fake.calls;
    UserNotifications center;
    center.add(request);
    ASSERT_TRUE(await([&] { return calls["Notify"].size() == 1; }));
    const QStringList actions{"default", "Show", "0", "Show", "1", "Open"};
    EXPECT_EQ(calls["Notify"][0].mid(3, 3), (QVariantList{"A", "&lt;b&gt; &amp; co", actions}));
    invoke(7, "9");
    invoke(7, "1");
    ASSERT_TRUE(await([&] { return !chosen.empty(); }));
    center.add(request);
    ASSERT_TRUE(await([&] { return calls["Notify"].size() == 2; }));
    EXPECT_EQ(calls["Notify"][1][1], 7U);  // replaces that one
    invoke(6, "default");
    invoke(7, "default");
    ASSERT_TRUE(await([&] { return chosen.size() == 2; }));
    EXPECT_EQ(chosen, (std::vector<std::string>{"Open", "Show"}));
    fake.replies["Notify"] = 8U;
    center.add(request);
    center.removeAllDeliveredNotifications();  // before the service has replied
    ASSERT_TRUE(await([&] { return calls["CloseNotification"].size() == 2; }));
    EXPECT_EQ(calls["CloseNotification"], (QList<QVariantList>{{7U}, {8U}}));
}

class WorkspaceTests : public DesktopServiceTests {
 protected:
    WorkspaceTests() {
        qputenv("PATH", folder.path().c_str());
        qputenv("OPENED", (folder / "opened").c_str());
    }
    ~WorkspaceTests() override { qputenv("PATH", path); }

    void installOpener() const {
        const auto opener = test::writeText(folder / "xdg-open",
                                            "#!/bin/sh\nprintf '%s' \"$1\" > \"$OPENED.new\"\n"
                                            "PATH=/usr/bin:/bin mv \"$OPENED.new\" \"$OPENED\"\n"
                                            "exec /usr/bin/sh -c \"$EXIT\"\n");
        std::filesystem::permissions(opener, std::filesystem::perms::owner_all);
    }
    /// The argument of the opener.
    std::string opened() const {
        await([&] { return std::filesystem::exists(folder / "opened"); });
        return test::readText(folder / "opened");
    }

    test::TemporaryFolder folder;
    QByteArray path = qgetenv("PATH");
    std::vector<std::string> failures;
    Workspace workspace{[this](const std::string& sentence) { failures.push_back(sentence); }};
};

TEST_F(WorkspaceTests, OpensFilesWithXdgOpen) {
    EXPECT_THAT([&] { workspace.openURL("/videos/a.mp4"); },
                testing::ThrowsMessage<PlatformError>(
                    "“a.mp4” couldn't be opened: the program “xdg-open” can't be started."));
    installOpener();
    workspace.openURL("/videos/a b's \"movie\".mp4");
    EXPECT_EQ(opened(), "/videos/a b's \"movie\".mp4");
}

TEST_F(WorkspaceTests, ReportsThatAProgramCouldNotOpenSomething) {
    installOpener();
    // The signals that the application blocks must not be blocked in other programs.
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    for (const char* exit :
         {"/usr/bin/grep -q 'SigBlk:[[:space:]]*0*$' /proc/self/status && exit 3", "exit 4", "kill -9 $$"}) {
        qputenv("EXIT", exit);
        workspace.openWebPage("https://a.b/");
        EXPECT_TRUE(await([&] { return !failures.empty(); }));
        EXPECT_THAT(std::exchange(failures, {}).at(0),
                    testing::EndsWith(exit[0] == '/' ? "no program for it is installed." : "failed."));
    }
    pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
}

TEST_F(WorkspaceTests, ShowsFilesInTheFileManagerOrOpensTheirFolder) {
    installOpener();
    workspace.activateFileViewerSelecting({"/videos/a.gif"});
    EXPECT_EQ(opened(), "/videos");

    provide("org.freedesktop.FileManager1", "/org/freedesktop/FileManager1");
    workspace.activateFileViewerSelecting({"/videos/ä b#.gif", "/videos/c.gif"});
    ASSERT_TRUE(await([&] { return fake.calls["ShowItems"].size() == 1; }));
    EXPECT_EQ(fake.calls["ShowItems"][0][0],
              QStringList({"file:///videos/%C3%A4%20b%23.gif", "file:///videos/c.gif"}));
}

}  // namespace
}  // namespace lumicrate::desktop

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    // The services of the system are doubles on the same private bus.
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", qgetenv("DBUS_SESSION_BUS_ADDRESS"));
    const QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
