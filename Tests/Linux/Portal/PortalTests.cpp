// SPDX-License-Identifier: GPL-3.0-or-later
// The portals of this folder with a double of the desktop portal on a private bus, and a real PipeWire
// server.
#include "Linux/PipeWire/Devices.h"
#include "Linux/Portal/Appearance.h"
#include "Linux/Portal/CameraPortal.h"
#include "Linux/Portal/GlobalShortcutsPortal.h"
#include "Linux/Portal/InhibitPortal.h"
#include "Linux/Portal/LoginItemPortal.h"
#include "Linux/Portal/PortalError.h"
#include "Linux/Portal/PortalHotKeys.h"
#include "Linux/Portal/ScreenCastPortal.h"
#include "Tests/Linux/Desktop/EventLoop.h"
#include "Tests/Linux/PipeWire/VirtualCamera.h"
#include "Tests/Linux/Portal/PortalDouble.h"
#include "Tests/Lumicrate/FakePlatform.h"
#include "Tests/Stage/SoundServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <future>

namespace lumicrate::portal {
namespace {

using test::await;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

class QtExecutor final : public Executor {
 public:
    std::chrono::nanoseconds now() const override {
        return std::chrono::steady_clock::now().time_since_epoch();
    }
    void post(Work work) override {
        QMetaObject::invokeMethod(&receiver_, std::move(work), Qt::QueuedConnection);
    }
    TimerId after(std::chrono::nanoseconds delay, Work work) override {
        auto timer = std::make_unique<QTimer>();
        timer->setSingleShot(true);
        QObject::connect(timer.get(), &QTimer::timeout, &receiver_, std::move(work));
        timer->start(std::chrono::duration_cast<std::chrono::milliseconds>(delay));
        timers_.push_back(std::move(timer));
        return timers_.size();
    }
    void cancel(TimerId timer) override { timers_.at(timer - 1)->stop(); }

 private:
    QObject receiver_;
    std::vector<std::unique_ptr<QTimer>> timers_;
};

template <class T>
struct Ending {
    std::optional<T> value;
    std::string error;
    bool isReached = false;
};

template <class T>
Task<> follow(Task<T> task, Ending<T>& ending) {
    try {
        ending.value = co_await task;
    } catch (const PortalError& error) {
        ending.error = error.reason() == PortalError::Reason::failed ? "failed" : "unavailable";
        ending.error += std::string(": ") + error.what();
    }
    ending.isReached = true;
}

class PortalTests : public testing::Test {
 protected:
    static void SetUpTestSuite() {
        static int count = 0;
        application_ = std::make_unique<QCoreApplication>(count, nullptr);
        server_ = std::make_unique<stage::SoundServer>();
        double_ = std::make_unique<stage::PortalDouble>();
    }
    static void TearDownTestSuite() {
        double_.reset();
        server_.reset();
        application_.reset();
    }
    PortalTests() {
        reset();
        pulse_.start(20);
    }

    using Settings = std::vector<std::pair<std::string, std::string>>;
    void reset(const Settings& settings = {}) {
        double_->tell("Reset");
        for (const auto& [key, value] : settings)
            double_->set(key, value);
        calls();
    }
    static std::string calls() { return double_->tell("Calls"); }
    /// Waits until these calls have been made, in any order.
    static bool awaitCalls(const std::vector<std::string>& beginnings) {
        std::string all = "\n";
        return await([&] {
            all += calls() + "\n";
            return std::ranges::all_of(beginnings, [&](const std::string& each) {
                return all.find("\n" + each) != std::string::npos;
            });
        });
    }

    template <class T>
    Ending<T> finish(Task<T> task) {
        Ending<T> ending;
        const RunningTask running(executor_, follow(std::move(task), ending));
        EXPECT_TRUE(await([&] { return ending.isReached; }));
        return ending;
    }

    static inline std::unique_ptr<QCoreApplication> application_;
    static inline std::unique_ptr<stage::SoundServer> server_;
    static inline std::unique_ptr<stage::PortalDouble> double_;
    QTimer pulse_;
    QtExecutor executor_;
    Registry registry_{executor_, "org.lumicrate.Lumicrate"};
    ScreenCastPortal screens_{executor_, registry_};
    GlobalShortcutsPortal keys_{executor_, registry_};
};

std::string described(const Ending<std::optional<ScreenCast>>& ending) {
    if (!ending.value) return ending.error;
    if (!*ending.value) return "nothing";
    const ScreenCast& cast = **ending.value;
    const ScreenCastStream& stream = cast.streams().at(0);
    std::string text = "node " + std::to_string(stream.nodeId) + " cursor " +
                       std::to_string(int(cast.cursorMode())) + " '" + cast.restoreToken() + "'";
    if (stream.serial) text += " serial " + std::to_string(*stream.serial);
    if (stream.source == SourceKind::window) text += " window";
    if (stream.size && stream.position)
        text +=
            " " + std::to_string(int(stream.size->width)) + "x" + std::to_string(int(stream.size->height));
    return text;
}

TEST_F(PortalTests, WhatIsChosenAndWhatTheUserIsTold) {
    constexpr auto granted = "node 42 cursor 4 'token-2' 1280x720";
    const std::string ask =
        "CreateSession\nSelectSources cursor_mode=4 multiple=false persist_mode=2 types=1\n";
    const std::string restore = "CreateSession\nSelectSources cursor_mode=4 multiple=false persist_mode=2 ";
    const struct {
        const char* name;
        Settings settings;
        ScreenCastRequest request;
        std::string result;
        std::string calls;  ///< how these begin, after those for the abilities
    } cases[] = {
        {"the first time", {}, {.parentWindow = "x11:1f"}, granted, ask + "Start 'x11:1f'"},
        {"restored",
         {},
         {.restoreToken = "token-1"},
         granted,
         restore + "restore_token=token-1 types=1\nStart"},
        {"a token that is not valid any more",
         {},
         {.restoreToken = "old"},
         granted,
         restore + "restore_token=old types=1\nStart ''\nClose session\n" + ask + "Start"},
        {"neither with the token nor without",
         {{"Start", "failed"}},
         {.restoreToken = "token-1"},
         "failed: The desktop could not start recording the screen.",
         {}},
        {"cancelled while restoring",
         {{"Start", "cancelled"}},
         {.restoreToken = "token-1"},
         "nothing",
         restore + "restore_token=token-1 types=1\nStart ''\nClose session"},
        {"no token", {{"token", ""}}, {}, "node 42 cursor 4 '' 1280x720", {}},
        {"everything told",
         {{"serial", "7"}, {"source", "2"}, {"node", "9"}},
         {},
         "node 9 cursor 4 'token-2' serial 7 window 1280x720",
         {}},
        {"little told", {{"size", ""}, {"source", "0"}}, {}, "node 42 cursor 4 'token-2'", {}},
        {"no metadata", {{"cursors", "3"}}, {}, "node 42 cursor 2 'token-2' 1280x720", {}},
        {"no cursor modes", {{"cursors", "0"}}, {}, "node 42 cursor 1 'token-2' 1280x720", {}},
        {"hidden cursor", {}, {.showsCursor = false}, "node 42 cursor 1 'token-2' 1280x720", {}},
        {"it cannot be hidden", {{"cursors", "6"}}, {.showsCursor = false}, granted, {}},
        {"an old portal",
         {{"version", "3"}},
         {.restoreToken = "x"},
         granted,
         "CreateSession\nSelectSources cursor_mode=4 multiple=false types=1\n"},
        {"no windows",
         {{"sources", "1"}},
         {.kind = SourceKind::window},
         "unavailable: This desktop does not let programs record a single window.",
         ""},
        {"no screen casts",
         {{"GetAll", "error"}},
         {},
         "unavailable: This desktop does not let programs record the screen.",
         ""},
        {"refused",
         {{"SelectSources", "error"}},
         {},
         "failed: The desktop could not start recording the screen.",
         ask + "Close session"},
        {"ended during the question",
         {{"Start", "vanish"}},
         {.restoreToken = "token-1"},
         "unavailable: The desktop portal has stopped working.",
         restore + "restore_token=token-1 types=1\nStart ''"},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        reset(each.settings);
        Registry registry(executor_, "org.lumicrate.Lumicrate");
        ScreenCastPortal portal(executor_, registry);
        EXPECT_EQ(described(finish(portal.choose(each.request))), each.result);
        const std::string expected =
            "Register 'org.lumicrate.Lumicrate'\n"
            "GetAll 'org.freedesktop.portal.ScreenCast'\n" +
            each.calls;
        EXPECT_EQ((calls() + "\n").substr(0, expected.size()), expected);
    }
    ScreenCastPortal hurried(executor_, registry_, std::chrono::milliseconds(500));
    for (const char* silent : {"CreateSession", "SelectSources"}) {
        reset({{silent, "silent"}});
        EXPECT_EQ(described(finish(hurried.choose({.restoreToken = "token-1"}))),
                  "unavailable: The desktop portal does not answer.");
    }
}

TEST_F(PortalTests, ACastIsClosedFromBothSides) {
    for (const char* end : {"CloseSessions", "Vanish"}) {
        reset();
        auto cast = *finish(screens_.choose({})).value;
        ASSERT_TRUE(cast);
        EXPECT_TRUE(cast->isOpen());
        double_->tell(end);
        bool isClosed = false;
        // The handler may destroy the cast, and learns it also when it comes late.
        EXPECT_TRUE(await([&] { return !cast->isOpen(); }));
        cast->setOnClosed([&] {
            cast.reset();
            isClosed = true;
        });
        EXPECT_TRUE(await([&] { return isClosed; }));
        EXPECT_THAT(calls(), Not(HasSubstr("Close")));
    }
    reset();
    auto cast = *finish(screens_.choose({})).value;
    ASSERT_TRUE(cast);
    EXPECT_THAT(calls(), Not(HasSubstr("Close")));
    cast.reset();
    EXPECT_TRUE(awaitCalls({"Close session"}));
}

TEST_F(PortalTests, ACancelledTaskWithdrawsItsQuestion) {
    reset({{"Start", "waiting"}});
    Ending<std::optional<ScreenCast>> ending;
    RunningTask running(executor_, follow(screens_.choose({}), ending));
    ASSERT_TRUE(awaitCalls({"Start"}));
    running.cancel();
    EXPECT_TRUE(awaitCalls({"Close request", "Close session"}));
    EXPECT_FALSE(ending.isReached);

    // A session that ends without an answer to the question.
    running = RunningTask(executor_, follow(screens_.choose({}), ending));
    ASSERT_TRUE(awaitCalls({"Start"}));
    double_->tell("CloseSessions");
    EXPECT_TRUE(awaitCalls({"Close request"}));
    EXPECT_TRUE(await([&] { return ending.isReached; }));
    EXPECT_THAT(ending.error, HasSubstr("could not start"));
}

TEST_F(PortalTests, EachRemoteIsAConnectionOfItsOwn) {
    const auto cast = *finish(screens_.choose({})).value;
    ASSERT_TRUE(cast);
    EXPECT_TRUE(pipewire::Session([&] { return cast->openRemote(); }).isAlive());
    const auto connect = [remote = cast->remote()] { return pipewire::Session(remote).isAlive(); };
    EXPECT_TRUE(std::async(std::launch::async, connect).get());
    double_->set("OpenPipeWireRemote", "error");
    EXPECT_THROW(cast->openRemote(), PortalError);
}

std::string described(const std::vector<BoundShortcut>& bound) {
    std::string text;
    for (const BoundShortcut& each : bound)
        text += each.id + " = " + each.trigger + ". ";
    return text;
}

TEST_F(PortalTests, ShortcutsAreBoundTogether) {
    const std::vector<GlobalShortcut> wanted{{"toggle", "Start or stop", "CTRL+r"}, {"pause", "Pause", {}}};
    const std::string both = "toggle = Press CTRL+r. pause = Press . ";
    const std::string no = "failed: The desktop refused to set up global shortcuts.";
    const struct {
        const char* name;
        Settings settings;
        std::string result;
    } cases[] = {
        {"bound", {}, both},
        {"the portal must know the program", {{"registry", "requires"}}, both},
        {"an older portal", {{"registry", "missing"}}, both},
        {"Plasma 5.27", {{"binds", "early"}}, both},
        {"nothing bound", {{"binds", "none"}}, ""},
        {"declined", {{"BindShortcuts", "cancelled"}}, "declined"},
        {"refused", {{"BindShortcuts", "error"}}, no},
        {"failed", {{"CreateSession", "failed"}}, no},
        {"ended",
         {{"BindShortcuts", "vanish"}},
         "unavailable: This desktop offers no global shortcuts to programs."},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        reset(each.settings);
        Registry registry(executor_, "org.lumicrate.Lumicrate");
        GlobalShortcutsPortal portal(executor_, registry);
        const auto ending = finish(portal.bind(wanted));
        EXPECT_EQ(!ending.value    ? ending.error
                  : !*ending.value ? "declined"
                                   : described((*ending.value)->bound()),
                  each.result);
    }
    // Plasma keeps the keys for a program's next start.
    reset({{"binds", "early"}});
    for (int start = 0; start < 2; ++start)
        EXPECT_EQ(described((*finish(keys_.bind(wanted)).value)->bound()), both);
}

TEST_F(PortalTests, ShortcutsAreDeliveredUntilThePortalEnds) {
    reset({{"registry", "requires"}, {"color-scheme", "1"}});
    // Reading settings first must not spoil the registration.
    const Appearance appearance([](const AppearanceSettings&) {});
    ASSERT_TRUE(await([&] { return appearance.settings().colorScheme == ColorScheme::dark; }));
    // Each list gets the signals of its own session only.
    const auto other = *finish(keys_.bind({{"toggle", "Other", {}}})).value;
    auto bound = *finish(keys_.bind({{"toggle", "Start or stop", {}}})).value;
    ASSERT_TRUE(bound && other);
    std::vector<std::string> events;
    bound->setOnActivated([&](const std::string& id) { events.push_back(id); });
    bound->setOnChanged([&] { events.push_back(described(bound->bound())); });
    bound->setOnClosed([&] { events.emplace_back("closed"); });
    const std::vector<std::pair<std::string, std::vector<std::string>>> commands{
        {"Activate", {"toggle"}}, {"Rebind", {"toggle", "F9"}}, {"Vanish", {}}};
    for (const auto& [command, arguments] : commands) {
        const std::size_t before = events.size();
        double_->tell(command, arguments);
        EXPECT_TRUE(await([&] { return events.size() > before; })) << command;
    }
    EXPECT_THAT(events, testing::ElementsAre("toggle", "toggle = F9. ", "closed"));

    // The new portal does not know the program any more.
    double_->tell("Return");
    EXPECT_EQ(finish(keys_.bind({{"toggle", "Start or stop", {}}})).error, "");
}

std::string described(const HotKeyAssignment& assignment) {
    constexpr const char* states[] = {"pending. ", "assigned. ", "refused. ", "unavailable. "};
    std::string text = states[static_cast<int>(assignment.state)] + assignment.reason;
    for (const auto& [name, trigger] : assignment.triggers)
        text += name + " = " + trigger + ". ";
    return text;
}

struct BoundHotKeys {
    BoundHotKeys(Executor& executor, Registry& registry) : keys(executor, registry) {
        keys.InstallEventHandler([this](EventHotKeyID id) { pressed.push_back(id.id); });
    }
    void unbind() {
        for (const EventHotKeyRef each : std::exchange(refs, {}))
            keys.UnregisterEventHotKey(each);
    }
    /// Instead of the registrations before.
    void bind(std::uint32_t toggleKey) {
        unbind();
        refs = {keys.RegisterEventHotKey(toggleKey, 0x900, {1, 1}, {"toggle", "Start or stop"}),
                keys.RegisterEventHotKey(35, 0x1300, {1, 2}, {"pause", "Pause"})};
    }
    bool awaitAssignment(const std::string& expected) {
        const bool reached = await([&] { return described(**keys.assignment()) == expected; });
        EXPECT_EQ(described(**keys.assignment()), expected);
        return reached;
    }

    PortalHotKeys keys;
    std::vector<EventHotKeyRef> refs;
    std::vector<std::uint32_t> pressed;
};

TEST_F(PortalTests, WhatTheDesktopMadeOfTheHotKeys) {
    BoundHotKeys hot(executor_, registry_);
    const struct {
        Settings settings;
        std::string assignment;
    } cases[] = {
        {{}, "assigned. pause = Press CTRL+SHIFT+LOGO+p. toggle = Press ALT+LOGO+r. "},
        {{{"binds", "none"}}, "assigned. "},
        {{{"BindShortcuts", "cancelled"}},
         "refused. No shortcuts were set up, because the desktop’s question was cancelled."},
        {{{"BindShortcuts", "error"}}, "refused. The desktop refused to set up global shortcuts."},
        {{{"CreateSession", "vanish"}}, "unavailable. This desktop offers no global shortcuts to programs."},
    };
    for (const auto& each : cases) {
        reset(each.settings);
        hot.bind(15);
        hot.awaitAssignment(each.assignment);
        hot.unbind();
        hot.awaitAssignment("pending. ");
    }
    EXPECT_EQ(PortalHotKeys::trigger(36, 0x1B00), "CTRL+ALT+SHIFT+LOGO+Return");
    EXPECT_EQ(PortalHotKeys::trigger(96, 0), "F5");
    EXPECT_EQ(PortalHotKeys::trigger(200, 0x100), "") << "no key";
}

TEST_F(PortalTests, HotKeysArriveAndTheirListFollows) {
    BoundHotKeys hot(executor_, registry_);
    const std::string assigned = "assigned. pause = Press CTRL+SHIFT+LOGO+p. toggle = Press ALT+LOGO+";
    hot.bind(15);
    ASSERT_TRUE(hot.awaitAssignment(assigned + "r. "));
    for (const char* name : {"pause", "other", "toggle"})
        double_->tell("Activate", {name});
    EXPECT_TRUE(await([&] { return hot.pressed.size() == 2; }));
    EXPECT_THAT(hot.pressed, testing::ElementsAre(2, 1));
    double_->tell("Rebind", {"toggle", "F9"});
    EXPECT_TRUE(hot.awaitAssignment("assigned. toggle = F9. "));

    hot.bind(15);
    bool isFree = false;
    executor_.post([&] { executor_.after({}, [&] { isFree = true; }); });
    EXPECT_TRUE(await([&] { return isFree; }));
    EXPECT_TRUE(hot.awaitAssignment("assigned. toggle = F9. ")) << "the same list is not bound again";
    hot.bind(1);
    EXPECT_TRUE(hot.awaitAssignment(assigned + "s. "));

    double_->tell("CloseSessions");
    EXPECT_TRUE(hot.awaitAssignment("pending. "));
    EXPECT_TRUE(hot.awaitAssignment(assigned + "s. "));
    double_->tell("Vanish");
    EXPECT_TRUE(hot.awaitAssignment("unavailable. This desktop offers no global shortcuts to programs."));
    double_->tell("Return");
    EXPECT_TRUE(hot.awaitAssignment(assigned + "s. "));
    calls();
    hot.unbind();
    EXPECT_TRUE(awaitCalls({"Close session"})) << "the keys reach other windows again";
}

TEST_F(PortalTests, TheDesktopStaysAwakeWhileItIsInhibited) {
    auto inhibition = std::make_unique<InhibitPortal>(executor_, registry_, "Recording");
    ASSERT_TRUE(awaitCalls({"Inhibit '' 12 reason=Recording"}));
    finish(screens_.queryAbilities());  // the answer arrives before this one
    EXPECT_THAT(calls(), Not(HasSubstr("Close")));
    inhibition.reset();
    EXPECT_TRUE(awaitCalls({"Close request"}));

    double_->set("Inhibit", "error");
    bool isRefused = false;
    inhibition = std::make_unique<InhibitPortal>(executor_, registry_, "Recording", [&] {
        inhibition.reset();
        isRefused = true;
    });
    EXPECT_TRUE(await([&] { return isRefused; }));
}

TEST_F(PortalTests, StartsAtLoginUnlessTheUserForbidsIt) {
    test::FakeDefaults defaults;
    LoginItemPortal item(defaults);
    EXPECT_FALSE(item.isEnabled());
    item.registerLoginItem();
    EXPECT_TRUE(item.isEnabled());
    ASSERT_TRUE(awaitCalls({"RequestBackground '' autostart=true commandline= reason="}));
    finish(screens_.queryAbilities());  // the answer arrives before this one
    EXPECT_TRUE(item.isEnabled());
    item.unregisterLoginItem();
    ASSERT_TRUE(awaitCalls({"RequestBackground '' autostart=false"}));
    EXPECT_FALSE(item.isEnabled());
    double_->set("RequestBackground", "cancelled");
    item.registerLoginItem();
    EXPECT_TRUE(await([&] { return !item.isEnabled(); }));
}

TEST_F(PortalTests, AppearanceFollowsTheDesktop) {
    reset({{"color-scheme", "1"}, {"contrast", ""}, {"accent-color", "0.25,0.5,1"}});
    const AppearanceSettings none;
    AppearanceSettings seen;
    const Appearance appearance([&](const AppearanceSettings& settings) { seen = settings; });
    EXPECT_EQ(appearance.settings(), none);
    AppearanceSettings expected{.colorScheme = ColorScheme::dark, .accentColor = AccentColor{0.25, 0.5, 1}};
    EXPECT_TRUE(await([&] { return seen == expected; }));
    double_->set("color-scheme", "2");
    double_->set("contrast", "1");
    double_->set("reduced-motion", "1");
    double_->set("accent-color", "-1,-1,-1");
    expected = {ColorScheme::light, std::nullopt, true, true};
    EXPECT_TRUE(await([&] { return seen == expected; }));
    EXPECT_EQ(appearance.settings(), expected);
    double_->set("contrast", "0");
    double_->set("reduced-motion", "0");
    // The settings of GNOME and of KDE.
    const auto follows = [&](bool AppearanceSettings::*flag, const char* key, const char* on,
                             const char* off) {
        double_->set(key, on);
        const bool isOn = await([&] { return seen.*flag; });
        double_->set(key, off);
        return isOn && await([&] { return !(seen.*flag); });
    };
    constexpr auto motion = &AppearanceSettings::reducedMotion;
    EXPECT_TRUE(await([&] { return !seen.reducedMotion && !seen.highContrast; }));
    EXPECT_TRUE(follows(motion, "org.gnome.desktop.interface enable-animations", "false", "true"));
    EXPECT_TRUE(follows(motion, "org.kde.kdeglobals.KDE AnimationDurationFactor", "0", "0.5"));
    EXPECT_TRUE(follows(&AppearanceSettings::highContrast, "org.gnome.desktop.a11y.interface high-contrast",
                        "true", "false"));
}

TEST_F(PortalTests, TheUsersAnswerDecidesWhetherCamerasAreListed) {
    const stage::VirtualCamera camera({.name = "front", .description = "Front"});
    CameraPortal cameras;
    const pipewire::CameraAccess access{[&] { return cameras.isCameraPresent(); },
                                        [&](auto completion) { cameras.requestAccess(completion); },
                                        CameraPortal::openRemote};
    const auto outcome = [&](const std::string& answer) {
        reset({{"AccessCamera", answer}});
        pipewire::Devices devices(access);
        EXPECT_EQ(devices.cameras(), (std::vector<CaptureDevice>{{"", "Camera"}}));
        std::optional<bool> granted;
        devices.requestAccessForVideo([&](bool result) { granted = result; });
        EXPECT_TRUE(await([&] { return granted.has_value(); }));
        EXPECT_EQ(devices.authorizationStatusForVideo(),
                  *granted ? AVAuthorizationStatus::authorized : AVAuthorizationStatus::denied);
        return devices.cameras();
    };
    EXPECT_EQ(outcome("granted"), (std::vector<CaptureDevice>{{"front", "Front"}}));
    EXPECT_THAT(outcome("cancelled"), SizeIs(0));
    EXPECT_THAT(outcome("vanish"), SizeIs(0));
    EXPECT_THROW(CameraPortal::openRemote(), PlatformError) << "without a portal";
}

}  // namespace
}  // namespace lumicrate::portal
