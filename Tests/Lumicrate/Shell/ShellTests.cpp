// SPDX-License-Identifier: GPL-3.0-or-later
// The tray menu, remote control, and quitting.
#include "Lumicrate/Shell/AfterSave.h"
#include "Lumicrate/Shell/AppDelegate.h"
#include "Lumicrate/Shell/MenuBar.h"
#include "Lumicrate/Shell/RecordingBadge.h"
#include "Lumicrate/Shell/RecordingNotifications.h"
#include "Lumicrate/Shell/RemoteControl.h"
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

namespace lumicrate::test {
namespace {

class ShellTests : public RecorderFixture {
 protected:
    std::function<void()> note(const char* name) {
        return [this, name] { done.push_back(name); };
    }
    MenuBar::Commands commands() {
        return {note("main"), note("folder"), note("updates"), note("about"), note("quit")};
    }
    static MenuItem item(const MenuBar& menu, const std::string& title) {
        for (const MenuItem& each : menu.items())
            if (each.title == title) return each;
        ADD_FAILURE() << "no item " << title;
        return MenuItem::command("", [] {});
    }

    std::vector<std::string> done;
};

TEST_F(ShellTests, TheMenuFollowsTheRecording) {
    const MenuBar menu(make(), makeReplay(), defaults, commands());
    std::vector<MenuBar::Icon> icons;
    const Subscription observing =
        menu.icon.observe([&](const MenuBar::Icon& next) { icons.push_back(next); });
    const auto expect = [&menu](const std::string& beginning) {
        std::string titles;
        for (const MenuItem& each : menu.items())
            titles += each.separator ? "-|" : (each.enabled ? "" : "!") + each.title + "|";
        EXPECT_EQ(titles, beginning +
                              "-|Show Lumicrate|Open Recordings Folder|-|Check for Updates…|About Lumicrate|"
                              "Quit Lumicrate|");
    };
    expect("Start Recording|!Pause Recording|Record Area…|");
    record();
    executor.advance(65s);
    expect("!Recording 01:05|-|Stop Recording|Pause Recording|!Record Area…|");
    item(menu, "Pause Recording").action();
    expect("!Paused 01:05|-|Stop Recording|Resume Recording|!Record Area…|");
    item(menu, "Stop Recording").action();
    executor.drain();
    expect("!Stop Recording|!Pause Recording|!Record Area…|");
    complete();
    expect("Start Recording|!Pause Recording|Record Area…|");

    using Tint = MenuBar::Icon::Tint;
    EXPECT_THAT(icons,
                ElementsAre(MenuBar::Icon{"record.circle.fill", Tint::recording, "Lumicrate – Recording"},
                            MenuBar::Icon{"record.circle.fill", Tint::paused, "Lumicrate – Paused"},
                            MenuBar::Icon{"record.circle", Tint::plain, "Lumicrate – Saving…"},
                            MenuBar::Icon{"record.circle", Tint::plain, "Lumicrate"}));

    defaults.stored["countdown"] = true;
    startWith(CaptureSource::display(1));
    EXPECT_EQ(menu.icon->symbol, "record.circle.fill");
    item(menu, "Cancel Countdown").action();
    executor.drain();
    EXPECT_EQ(*recorder->state, State::idle);
}

TEST_F(ShellTests, TheMenuShowsTheStoredShortcuts) {
    const MenuBar menu(make(), makeReplay(), defaults, commands());
    EXPECT_EQ(item(menu, "Start Recording").shortcut->display(), "⌥⌘R");
    save(ShortcutAction::pause, std::nullopt, defaults);
    save(ShortcutAction::toggle, Shortcut{96, 0, "F5"}, defaults);
    EXPECT_EQ(item(menu, "Start Recording").shortcut->display(), "F5");
    EXPECT_FALSE(item(menu, "Pause Recording").shortcut);
    EXPECT_FALSE(
        item(MenuBar(*recorder, *replay, defaults, commands(), {false}), "Start Recording").shortcut);
    for (const char* title : {"Show Lumicrate", "Open Recordings Folder", "Check for Updates…",
                              "About Lumicrate", "Quit Lumicrate"})
        item(menu, title).action();
    EXPECT_THAT(done, ElementsAre("main", "folder", "updates", "about", "quit"));
}

TEST_F(ShellTests, QuittingSavesTheRecordingFirst) {
    AppDelegate delegate(executor, make());
    const auto quit = [&] { delegate.applicationShouldTerminate(note("quit")); };
    quit();
    EXPECT_THAT(done, ElementsAre("quit"));
    for (const bool paused : {false, true}) {
        record();
        if (paused) recorder->togglePause();
        done.clear();
        quit();
        quit();
        executor.drain();
        EXPECT_EQ(*recorder->state, State::stopping);
        EXPECT_TRUE(delegate.isTerminating());
        EXPECT_TRUE(done.empty());
        complete();
        EXPECT_THAT(done, ElementsAre("quit"));
        EXPECT_EQ(*recorder->lastRecording, movie().url);
    }
    files.existing.clear();
    done.clear();
    defaults.stored["countdown"] = true;
    startWith(CaptureSource::display(1));
    quit();
    executor.drain();
    EXPECT_THAT(done, ElementsAre("quit"));
    expectNothingLeft();
}

TEST_F(ShellTests, NotifiesOfRecordingsWhoseEndTheUserDoesNotSee) {
    struct FakeCenter final : UNUserNotificationCenter {
        void add(UNNotificationRequest request) override {
            shown = request.title + "|" + request.body;
            for (const UNNotificationAction& each : request.actions)
                each.chosen();
        }
        void removeAllDeliveredNotifications() override { shown.clear(); }
        std::string shown;
    } center;
    bool active = false;
    const auto url = [this](const char* name) {
        return [this, name](const auto& at) { done.push_back(name + at.filename().string()); };
    };
    const RecordingNotifications notifying({executor, make(), defaults, notifications, center,
                                            [&] { return active; }, note("main"), url("open "),
                                            url("folder ")});
    const auto record = [&](const std::exception_ptr& stopped) {
        files.existing.clear();
        ShellTests::record();
        EXPECT_EQ(center.shown, "");
        if (stopped) interruptStream(stopped);
        stopAndComplete();
        return std::exchange(done, {});
    };
    EXPECT_THAT(record(nullptr), IsEmpty());
    const std::string name = movie().url.filename();
    EXPECT_THAT(record(displayLost), ElementsAre("main", "open " + name));
    EXPECT_EQ(center.shown, "The recording has ended|Recording stopped: The display is gone.");
    EXPECT_THAT(done, IsEmpty());
    ShellTests::record();
    recorder->errorMessage = "The window was closed.";
    executor.drain();
    EXPECT_EQ(center.shown, "The recording continues|The window was closed.");
    stopAndComplete();
    done.clear();
    defaults.stored["notifyWhenSaved"] = active = true;
    EXPECT_THAT(record(displayLost), IsEmpty());
    EXPECT_THAT(record(nullptr), ElementsAre("open " + name, "folder " + name));
    EXPECT_EQ(center.shown, "Recording saved|" + name);
    active = false;
    capture.contentError = broken;
    startWith(CaptureSource::display(1));
    EXPECT_EQ(center.shown, "The recording couldn’t be started|It is broken.");
}

TEST_F(ShellTests, ARecordingWhoseBarWouldBeInThePictureIsStoppedFromANotification) {
    struct FakeCenter final : UNUserNotificationCenter {
        void add(UNNotificationRequest request) override { shown = std::move(request); }
        void removeAllDeliveredNotifications() override { shown.reset(); }
        std::optional<UNNotificationRequest> shown;
    } center;
    overlays.controlBar = &controlBar;
    capture.excludes = false;
    const RecordingNotifications notifying(
        {executor, make(), defaults, notifications, center, [] { return false; }, note("main"), {}, {}});
    ShellTests::record();
    EXPECT_FALSE(center.shown) << "the bar is on the other screen";
    stopAndComplete();
    screens.all.pop_back();
    ShellTests::record();
    ASSERT_TRUE(center.shown && center.shown->isQuiet);
    center.shown->actions.at(0).chosen();
    EXPECT_EQ(*recorder->state, State::stopping);
    complete();
    EXPECT_FALSE(center.shown);
}

TEST_F(ShellTests, TheLauncherShowsTheMinuteOfTheRecording) {
    struct FakeTile final : NSDockTile {
        void setBadge(const DockTileBadge& badge) override { shown.push_back(badge); }
        std::vector<DockTileBadge> shown;
    } tile;
    Published<std::optional<double>> mixdown;
    const RecordingBadge badge(executor, make(), mixdown, tile);
    record();
    executor.advance(59s);
    EXPECT_THAT(tile.shown, ElementsAre(DockTileBadge{1, {}}));
    executor.advance(2s);
    recorder->togglePause();
    executor.advance(10min);
    EXPECT_THAT(tile.shown, ElementsAre(DockTileBadge{1, {}}, DockTileBadge{2, {}}));
    tile.shown.clear();
    recorder->togglePause();
    executor.advance(60s);
    stopAndComplete();
    executor.advance(10min);
    for (const std::optional<double> progress :
         {std::optional(0.5), std::optional(0.501), std::optional<double>()})
        mixdown = progress;
    EXPECT_THAT(tile.shown,
                ElementsAre(DockTileBadge{3, {}}, DockTileBadge(), DockTileBadge{{}, 0.5}, DockTileBadge()));
}

TEST_F(ShellTests, OtherProgramsControlTheApplication) {
    make();
    RemoteControl control(executor, *recorder, makeReplay(), notifications, note("quit"));
    control.perform(RemoteCommand::quit);
    EXPECT_THAT(done, ElementsAre("quit"));
    EXPECT_EQ(control.status(), (RemoteStatus{"idle", 0, {}, {}, {}}));

    std::vector<std::string> events;
    std::optional<RemoteStatus> latest;
    control.setEvents({[&](const RemoteStatus& status) {
                           events.push_back(status.state);
                           latest = status;
                       },
                       [&](const auto& url) { events.push_back("started " + url.filename().string()); },
                       [&](const auto& url) { events.push_back("saved " + url.filename().string()); },
                       [&](const auto& sentence) { events.push_back(sentence); }});
    record();
    const std::string file = movie().url.string();
    const std::string name = movie().url.filename().string();
    executor.advance(2500ms);
    control.perform(RemoteCommand::resume);
    control.perform(RemoteCommand::pause);
    control.perform(RemoteCommand::pause);
    executor.advance(10s);
    EXPECT_EQ(control.status(), (RemoteStatus{"paused", 2.5, file, {}, {}}));
    EXPECT_EQ(latest, control.status());
    control.perform(RemoteCommand::stop);
    complete();
    EXPECT_EQ(control.status(), (RemoteStatus{"idle", 0, {}, {}, file}));
    EXPECT_EQ(latest, control.status());
    EXPECT_THAT(events, ElementsAre("starting", "recording", "started " + name, "paused", "stopping",
                                    "saved " + name, "idle"));
    events.clear();
    capture.contentError = std::make_exception_ptr(PlatformError("It is broken."));
    startWith(CaptureSource::display(1));
    EXPECT_THAT(events, ElementsAre("starting", "idle", "It is broken."));
    EXPECT_EQ(toJSON({"recording", 12.5, "/a/“b”.mp4", "An error.", {}, RemoteStatus::Replay{9.5, 7}}),
              R"({"state":"recording","elapsed":12.5,"file":"/a/“b”.mp4","error":"An error.",)"
              R"("replay":{"seconds":9.5,"bytes":7}})");
    EXPECT_THROW(control.perform(RemoteCommand::saveReplay), LocalizedError) << "nothing is kept";
}

TEST_F(ShellTests, TheCommandAfterSavingIsDividedAsAShellDoes) {
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"", {}},
        {" \t ", {}},
        {"notify-send Saved", {"notify-send", "Saved", "/a b.mp4"}},
        {"mv {} /tmp/{}.old", {"mv", "/a b.mp4", "/tmp//a b.mp4.old"}},
        {R"(x 'a "b' "c'd \" \e" f\ g"h" '')", {"x", "a \"b", "c'd \" \\e", "f gh", "", "/a b.mp4"}},
        {"echo $HOME; rm *", {"echo", "$HOME;", "rm", "*", "/a b.mp4"}}};
    for (const auto& [command, words] : cases)
        EXPECT_EQ(commandFor(command, "/a b.mp4"), words) << command;
    EXPECT_THROW(commandWords("a 'b"), LocalizedError);
}

TEST_F(ShellTests, TheCommandIsRunWithEachSavedRecording) {
    struct : NSTaskLauncher {
        void launch(const std::vector<std::string>& words, std::function<void(int)> ended) override {
            if (words[0] == "missing") throw PlatformError("There is no such program.");
            launched = words;
            ended(words[0] == "false" ? 1 : 0);
        }
        std::vector<std::string> launched;
    } tasks;
    make();
    const AfterSave running(notifications, defaults, tasks,
                            [this](const std::string& sentence) { done.push_back(sentence); });
    for (const char* command : {"", "true", "false", "missing"}) {
        defaults.stored["afterSave"] = std::string(command);
        tasks.launched.clear();
        record();
        stopAndComplete();
        const std::string saved = recorder->lastRecording->value().string();
        const bool isRun = command == std::string("true") || command == std::string("false");
        EXPECT_EQ(tasks.launched,
                  isRun ? std::vector({std::string(command), saved}) : std::vector<std::string>());
    }
    EXPECT_THAT(done, ElementsAre("The command after saving, “false”, failed with status 1.",
                                  "The command after saving couldn't be run: There is no such program."));
}

}  // namespace
}  // namespace lumicrate::test
