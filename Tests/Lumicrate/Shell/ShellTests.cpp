// The menu of the panel, what others may ask of the running application, and its end.
#include "Lumicrate/Shell/AppDelegate.h"
#include "Lumicrate/Shell/MenuBar.h"
#include "Lumicrate/Shell/RemoteControl.h"
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

namespace lumicrate {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

class ShellTests : public test::RecorderFixture {
 protected:
    std::vector<std::string> titles(const MenuBar& menu) const {
        std::vector<std::string> titles;
        for (const MenuItem& item : menu.items())
            titles.push_back(item.separator ? "-" : (item.enabled ? "" : "! ") + item.title);
        return titles;
    }
    MenuBar::Commands commands() {
        return {[this] { done.push_back("main"); }, [this] { done.push_back("folder"); },
                [this] { done.push_back("about"); }, [this] { done.push_back("quit"); }};
    }
    static const MenuItem& item(const std::vector<MenuItem>& items, const std::string& title) {
        return *std::find_if(items.begin(), items.end(),
                             [&](const MenuItem& each) { return each.title == title; });
    }

    std::vector<std::string> done;
};

TEST_F(ShellTests, TheMenuGoesWithTheRecording) {
    const MenuBar menu(make(), defaults, commands());
    std::vector<MenuBar::Icon> icons;
    const Subscription watched = menu.icon.observe([&](const MenuBar::Icon& next) { icons.push_back(next); });
    const std::vector<std::string> ending{"-", "Show Lumicrate",  "Open Recordings Folder",
                                          "-", "About Lumicrate", "Quit Lumicrate"};
    const auto expect = [&](std::vector<std::string> beginning) {
        beginning.insert(beginning.end(), ending.begin(), ending.end());
        EXPECT_EQ(titles(menu), beginning);
    };
    expect({"Start Recording", "! Pause Recording", "Record Area…"});
    record();
    executor.advance(65s);
    expect({"! Recording 01:05", "-", "Stop Recording", "Pause Recording", "! Record Area…"});
    item(menu.items(), "Pause Recording").action();
    expect({"! Paused 01:05", "-", "Stop Recording", "Resume Recording", "! Record Area…"});
    item(menu.items(), "Stop Recording").action();
    executor.drain();
    expect({"! Stop Recording", "! Pause Recording", "! Record Area…"});
    complete();
    expect({"Start Recording", "! Pause Recording", "Record Area…"});

    using Tint = MenuBar::Icon::Tint;
    ASSERT_EQ(icons.size(), 4U);
    EXPECT_EQ(icons[0], (MenuBar::Icon{"record.circle.fill", Tint::recording, "Lumicrate – Recording"}));
    EXPECT_EQ(icons[1], (MenuBar::Icon{"record.circle.fill", Tint::paused, "Lumicrate – Paused"}));
    EXPECT_EQ(icons[2].symbol, "record.circle");
    EXPECT_EQ(icons[3], (MenuBar::Icon{"record.circle", Tint::plain, "Lumicrate"}));
}

TEST_F(ShellTests, ACountdownIsCancelledFromTheMenu) {
    defaults.stored["countdown"] = true;
    const MenuBar menu(make(), defaults, commands());
    startWith(CaptureSource::display(1));
    ASSERT_EQ(*recorder->state, State::countingDown);
    EXPECT_EQ(menu.icon->symbol, "record.circle.fill");
    item(menu.items(), "Cancel Countdown").action();
    executor.drain();
    EXPECT_EQ(*recorder->state, State::idle);
}

TEST_F(ShellTests, TheMenuShowsTheShortcutsThatAreStoredNow) {
    const MenuBar menu(make(), defaults, commands());
    EXPECT_EQ(item(menu.items(), "Start Recording").shortcut->display(), "⌥⌘R");
    save(ShortcutAction::pause, std::nullopt, defaults);
    save(ShortcutAction::toggle, Shortcut{96, 0, "F5"}, defaults);
    EXPECT_EQ(item(menu.items(), "Start Recording").shortcut->display(), "F5");
    EXPECT_FALSE(item(menu.items(), "Pause Recording").shortcut);
    for (const char* title :
         {"Show Lumicrate", "Open Recordings Folder", "About Lumicrate", "Quit Lumicrate"})
        item(menu.items(), title).action();
    EXPECT_THAT(done, ElementsAre("main", "folder", "about", "quit"));
}

TEST_F(ShellTests, NothingIsLostByQuitting) {
    AppDelegate delegate(executor, make());
    int ended = 0;
    const auto quit = [&] { delegate.applicationShouldTerminate([&] { ++ended; }); };
    quit();
    EXPECT_EQ(ended, 1);

    for (const bool paused : {false, true}) {
        record();
        if (paused) recorder->togglePause();
        ended = 0;
        quit();
        quit();
        executor.drain();
        EXPECT_EQ(*recorder->state, State::stopping);
        EXPECT_TRUE(delegate.isTerminating());
        EXPECT_EQ(ended, 0);
        complete();
        EXPECT_EQ(ended, 1);
        EXPECT_EQ(*recorder->lastRecording, movie().url);
    }
}

TEST_F(ShellTests, QuittingEndsWhatHasNotBegun) {
    defaults.stored["countdown"] = true;
    AppDelegate delegate(executor, make());
    startWith(CaptureSource::display(1));
    int ended = 0;
    delegate.applicationShouldTerminate([&] { ++ended; });
    executor.drain();
    EXPECT_EQ(ended, 1);
    expectNothingLeft();
}

TEST_F(ShellTests, OthersCommandTheApplication) {
    make();
    RemoteControl control(
        *recorder, [&] { done.push_back("activate"); }, [&] { done.push_back("quit"); });
    control.perform(RemoteCommand::activate);
    control.perform(RemoteCommand::quit);
    EXPECT_THAT(done, ElementsAre("activate", "quit"));
    EXPECT_EQ(control.status(), (RemoteStatus{"idle", 0, {}, {}}));

    record();
    executor.advance(2500ms);
    control.perform(RemoteCommand::pause);
    executor.advance(10s);
    EXPECT_EQ(control.status(), (RemoteStatus{"paused", 2.5, movie().url.string(), {}}));
    control.perform(RemoteCommand::toggle);
    complete();
    EXPECT_EQ(control.status(), (RemoteStatus{"idle", 0, {}, {}}));
}

TEST(RemoteStatusTests, TravelsAsText) {
    const RemoteStatus full{"recording", 12.5, "/a/“b”.mp4", "An error."};
    EXPECT_EQ(toJSON(full),
              R"({"state":"recording","elapsed":12.5,"file":"/a/“b”.mp4","error":"An error."})");
    for (const RemoteStatus& each : {full, RemoteStatus{"idle", 0, {}, {}}})
        EXPECT_EQ(parseRemoteStatus(toJSON(each)), each);
    for (const char* text : {"", "[]", "{}", R"({"state":1,"elapsed":0})", R"({"state":"idle"})"})
        EXPECT_EQ(parseRemoteStatus(text), std::nullopt) << text;
}

}  // namespace
}  // namespace lumicrate
