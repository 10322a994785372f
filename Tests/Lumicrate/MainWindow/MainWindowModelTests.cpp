// SPDX-License-Identifier: GPL-3.0-or-later
// The models of the main window: source bar, record button, banners, window pictures.
#include "Lumicrate/MainWindow/MainWindowModel.h"
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

namespace lumicrate::test {
namespace {

using testing::HasSubstr;

class MainWindowModelTests : public RecorderFixture {
 protected:
    void begin() {
        make();
        recorder->followSources();
        executor.drain();
        messages.emplace(*recorder);
        bar.emplace(*recorder, defaults, [this](const std::string& sentence) { messages->report(sentence); });
        controls.emplace(*recorder, *bar, defaults, &mixingProgress);
    }
    void TearDown() override {
        controls.reset();
        bar.reset();
        messages.reset();
        RecorderFixture::TearDown();
    }
    void changeContent() {
        capture.contentChanged();
        executor.advance(1s);
    }
    const RecorderControls::Content& shown() const { return *controls->content; }
    std::vector<std::string> texts() const {
        std::vector<std::string> all;
        for (const auto& each : *messages->banners)
            all.push_back(each.text);
        return all;
    }

    RecorderControls::Progress mixingProgress;
    std::optional<MessageBanners> messages;
    std::optional<SourceBar> bar;
    std::optional<RecorderControls> controls;
};

TEST_F(MainWindowModelTests, RecordsWhatIsChosen) {
    for (const auto& [mode, expected] : {std::pair{CaptureMode::window, CaptureSource::window(7)},
                                         {CaptureMode::audio, CaptureSource::audioOnly()}}) {
        SCOPED_TRACE(rawValue(mode));
        begin();
        bar->setMode(mode);
        bar->chooseWindow(7);
        ASSERT_TRUE(shown().enabled) << shown().hint;
        controls->press();
        executor.advance(100ms);
        EXPECT_EQ(*recorder->state, State::recording);
        EXPECT_EQ(*recorder->source, expected);
        TearDown();
    }
}

TEST_F(MainWindowModelTests, ButtonAndShortcutRecordTheChosenWindowOrAsk) {
    overlays.areaSelector = &areaSelector;
    for (const bool byShortcut : {false, true}) {
        for (const bool isSame : {true, false}) {
            begin();
            bar->chooseWindow(7);
            // Its number is used by a window of another program.
            if (!isSame) capture.content.windows[0].owningApplication->processID = 10;
            changeContent();
            EXPECT_EQ(bar->content->window.has_value(), isSame);
            byShortcut ? keys.press(15) : controls->press();
            executor.advance(100ms);
            EXPECT_EQ(*recorder->state, isSame ? State::recording : State::selectingArea);
            TearDown();
        }
        capture.content.windows[0].owningApplication->processID = 9;
    }
}

TEST_F(MainWindowModelTests, SaysWhyNothingCanBeRecorded) {
    begin();
    bar->chooseWindow(7);
    EXPECT_EQ(bar->content->window->title, "notes");
    capture.content.windows[0].title = "notes (changed)";
    changeContent();
    EXPECT_EQ(bar->content->window->title, "notes (changed)");
    capture.content.windows.clear();
    changeContent();
    EXPECT_FALSE(bar->content->window);
    EXPECT_TRUE(shown().enabled) << "another can be chosen on the screen";
    capture.content.displays.clear();
    changeContent();
    bar->setMode(CaptureMode::screen);
    EXPECT_THAT(shown().hint, HasSubstr("no screen"));
}

TEST_F(MainWindowModelTests, LetsTheUserChooseOnTheScreen) {
    overlays.areaSelector = &areaSelector;
    overlays.screenChooser = &screenChooser;
    begin();
    for (const auto& [mode, title] : {std::pair{CaptureMode::area, "Choose an Area…"},
                                      {CaptureMode::window, "Choose a Window…"},
                                      {CaptureMode::screen, "Choose a Screen…"}}) {
        bar->setMode(mode);
        controls->press();
        executor.drain();
        EXPECT_EQ(shown().title, title);
        EXPECT_FALSE(shown().enabled);
        EXPECT_FALSE(bar->content->enabled);
        if (mode == CaptureMode::screen) {
            contents.screenChoices.back()->onCancel();
        } else {
            contents.selectionModel->selection.cancel();
        }
        executor.drain();
        EXPECT_EQ(shown().title, "Start Recording");
    }
    // An area is selected on the chosen display, also by shortcut.
    bar->setMode(CaptureMode::area);
    EXPECT_TRUE(bar->content->picksDisplay);
    bar->chooseDisplay(2);
    recorder->record(CaptureMode::area);
    executor.drain();
    EXPECT_EQ(contents.last().settings.frame, screens.all[1].frame);
    contents.selectionModel->selection.cancel();
    executor.drain();
    bar->setMode(CaptureMode::screen);
    EXPECT_EQ(bar->content->note, "You choose the screen when the recording begins.");
    capture.content.displays.resize(1);
    changeContent();
    EXPECT_EQ(bar->content->note, "left  ·  1920 × 1080");
}

TEST_F(MainWindowModelTests, AWebcamNeedsACamera) {
    begin();
    bar->setMode(CaptureMode::webcam);
    EXPECT_EQ(shown().hint, "Connect a camera first.");
    EXPECT_THAT(shown().toggles, ElementsAre(preference::captureMicrophone, preference::countdown));
    devices.seen = {{"usb", "USB"}};
    devices.cameraAccess = AVAuthorizationStatus::notDetermined;
    recorder->refreshDevices();
    EXPECT_TRUE(shown().enabled);
    controls->press();
    executor.drain();
    EXPECT_EQ(shown().title, "Framing the Shot…");
    recorder->requestStop();
}

TEST_F(MainWindowModelTests, TheButtonFollowsTheRecorder) {
    defaults.stored["countdown"] = true;
    defaults.stored["captureMode"] = std::string("screen");
    screens.all.resize(1);
    begin();
    controls->setVisible(true);
    const auto expect = [this](const std::string& title, const std::string& time, bool enabled) {
        EXPECT_EQ(shown().title, title);
        EXPECT_EQ(shown().time, time);
        EXPECT_EQ(shown().enabled, enabled);
    };
    const auto press = [this](std::chrono::nanoseconds duration = 0s) {
        controls->press();
        executor.advance(duration);
    };
    expect("Start Recording", "", true);
    press();
    expect("Cancel Countdown", "3", true);
    executor.advance(1s);
    expect("Cancel Countdown", "2", true);
    press();
    expect("Start Recording", "", true);
    EXPECT_FALSE(*recorder->countdownValue);
    press(3s);
    expect("Starting…", "", false);
    executor.advance(100ms);
    expect("Stop Recording", "00:00", true);
    EXPECT_FALSE(shown().togglesEnabled);
    deliverFrame();
    executor.advance(65s);
    expect("Stop Recording", "01:05", true);
    EXPECT_EQ(shown().pauseTitle, "Pause Recording");
    controls->togglePause();
    executor.advance(9s);
    expect("Stop Recording", "01:05", true);
    EXPECT_EQ(shown().pauseTitle, "Resume Recording");
    press();
    expect("Saving…", "", false);
    EXPECT_FALSE(shown().pauses);
    mixingProgress = 0.25;
    EXPECT_EQ(shown().progress, 0.25);
    complete();
    expect("Start Recording", "", true);
    EXPECT_FALSE(shown().progress);
}

TEST_F(MainWindowModelTests, ObservesOnlyWhatIsVisible) {
    defaults.stored["captureMicrophone"] = true;
    begin();
    startWith(CaptureSource::display(1));
    deliverFrame();
    EXPECT_FALSE(recorder->elapsed.isObserved());
    EXPECT_FALSE(recorder->microphoneLevel.isObserved());
    EXPECT_FALSE(shown().showsLevel);
    executor.advance(10s);

    controls->setVisible(true);
    EXPECT_EQ(shown().time, "00:10");
    EXPECT_TRUE(shown().showsLevel);
    deliverMicrophone(1.0F);
    executor.drain();
    EXPECT_FLOAT_EQ(*controls->level, 1.0F);
    executor.advance(2s);
    EXPECT_EQ(shown().time, "00:12");

    controls->setVisible(false);
    EXPECT_FALSE(recorder->elapsed.isObserved());
    EXPECT_FALSE(recorder->microphoneLevel.isObserved());
}

TEST_F(MainWindowModelTests, OffersTheConnectedMicrophones) {
    devices.heard = {{"usb", "USB"}, {"desk", "Desk"}};
    begin();
    recorder->refreshDevices();
    const auto checked = [this] {
        std::string titles;
        for (const MenuItem& each : controls->microphoneMenu())
            titles += (*each.checked ? "[" : " ") + each.title;
        return titles;
    };
    EXPECT_EQ(checked(), "[Default Microphone USB Desk");
    controls->microphoneMenu()[2].action();
    EXPECT_EQ(defaults.stringForKey("microphoneID"), "desk");
    EXPECT_EQ(checked(), " Default Microphone USB[Desk");
    devices.heard.pop_back();
    recorder->refreshDevices();
    EXPECT_EQ(checked(), "[Default Microphone USB");
}

TEST_F(MainWindowModelTests, BannersShowErrorsAndNotices) {
    defaults.readOnly = true;
    begin();
    bar->setMode(CaptureMode::screen);
    EXPECT_EQ(bar->content->mode, CaptureMode::window);
    EXPECT_THAT(texts(), ElementsAre("The preferences can't be written."));
    recorder->errorMessage = "Recording stopped: x.";
    recorder->notices = std::vector<std::string>{"a", "b"};
    EXPECT_THAT(texts(), ElementsAre("Recording stopped: x.", "The preferences can't be written.", "a", "b"));
    for (const std::size_t which : {3U, 0U, 0U})
        messages->dismiss((*messages->banners)[which].id);
    EXPECT_THAT(texts(), ElementsAre("a"));
    recorder->errorMessage = "Recording stopped: x.";
    EXPECT_THAT(texts(), SizeIs(2));
    startWith(CaptureSource::display(1));
    EXPECT_THAT(texts(), IsEmpty());
}

TEST_F(MainWindowModelTests, TakesWindowPicturesWhileThePickerIsOpen) {
    SCWindow another = capture.content.windows[0];
    another.windowID = 8;
    capture.content.windows.push_back(another);
    begin();
    pictures.closed = {8};
    WindowPicker picker(executor, *bar, &pictures, {32, 20});
    changeContent();
    EXPECT_THAT(pictures.taken, IsEmpty());
    std::vector<std::uint32_t> arrived;
    const Subscription looking = picker.observe([&](std::uint32_t id) { arrived.push_back(id); });
    picker.open();
    EXPECT_THAT(pictures.taken, IsEmpty()) << "opening does not wait for pictures";
    executor.advance(1s);
    EXPECT_THAT(arrived, ElementsAre(7, 8));
    ASSERT_NE(picker.picture(7), nullptr);
    EXPECT_EQ(picker.picture(7)->width, 32);
    EXPECT_EQ(picker.picture(8), nullptr);
    capture.content.windows[0].windowID = 9;
    changeContent();
    EXPECT_THAT(pictures.taken, ElementsAre(7, 8, 9));
    picker.open();
    picker.close();
    changeContent();
    EXPECT_THAT(pictures.taken, SizeIs(3));
    EXPECT_EQ(picker.picture(9), nullptr);
}

}  // namespace
}  // namespace lumicrate::test
