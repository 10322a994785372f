// The way into a recording: choosing, counting down, and everything that can go wrong before it runs.
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

namespace lumicrate::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class RecorderStartTests : public RecorderFixture {
 protected:
    RecorderStartTests() {
        overlays.areaSelector = &selector;
        overlays.screenChooser = &chooser;
        overlays.audioWindow = &audioWindow;
    }

    template <class Answer>
    void answer(const Question<Answer>& question, Answer value) {
        question.answer(std::move(value));
        executor.advance(100ms);
    }
    void pick(std::optional<PickedArea> picked) { answer(selector.question, picked); }

    FakeAreaSelector selector{executor};
    FakeScreenChooser chooser{executor};
    FakeAudioWindow audioWindow;
    FakeCountdown countdown{executor};
    FakeControlBar bar{3};
};

TEST_F(RecorderStartTests, AChosenAreaIsStoredAndRecorded) {
    defaults.stored["areaRect"] = std::string("{{1, 2}, {30, 40}}");
    devices.heard = {{"usb", "USB"}};
    make();
    recorder->refreshDevices();
    recorder->setSource(CaptureSource::display(2));
    recorder->record(CaptureMode::area);
    executor.drain();
    EXPECT_EQ(*recorder->state, State::selectingArea);
    EXPECT_EQ(*recorder->pickingMode, CaptureMode::area);
    EXPECT_EQ(selector.screen.displayID, 2U);
    EXPECT_EQ(selector.confirmTitle, "Record");
    EXPECT_EQ(selector.initialArea, (Rect{1, 2, 30, 40}));
    EXPECT_THAT(selector.microphones, SizeIs(1));
    EXPECT_FALSE(selector.windowsOnly);
    recorder->toggle();
    recorder->record(CaptureMode::area);
    executor.drain();
    EXPECT_EQ(selector.question.times(), 1U);

    pick(PickedArea{{100, 50, 320, 240}, std::nullopt});
    ASSERT_EQ(*recorder->state, State::recording);
    EXPECT_EQ(*recorder->source, CaptureSource::area(2));
    EXPECT_EQ(defaults.stringForKey("areaRect"), "{{100, 50}, {320, 240}}");
    EXPECT_EQ(capture.stream->filter.display.displayID, 2U);
    EXPECT_EQ(capture.stream->configuration.sourceRect, (Rect{100, 50, 320, 240}));
    EXPECT_THAT(states, ElementsAre(State::selectingArea, State::idle, State::starting, State::recording));
}

TEST_F(RecorderStartTests, AnAreaOverridesTheOneInHandedOverOptions) {
    RecordingOptions own;
    own.countdown = false;
    own.areaRect = Rect{0, 0, 10, 10};
    make().setOptionsOverride(own);
    recorder->record(CaptureMode::area);
    executor.drain();
    EXPECT_EQ(selector.initialArea, own.areaRect);
    pick(PickedArea{{100, 50, 320, 240}, std::nullopt});
    EXPECT_EQ(capture.stream->configuration.sourceRect, (Rect{100, 50, 320, 240}));
}

TEST_F(RecorderStartTests, AWindowIsPickedUnderThePointerAlsoOneThatIsNotOffered) {
    capture.content.windows[0].title.reset();
    screens.pointer = {2000, 500};
    defaults.stored["captureMode"] = std::string("everything");
    make().toggle();
    executor.drain();
    EXPECT_EQ(*recorder->pickingMode, CaptureMode::window);
    EXPECT_EQ(selector.screen.displayID, 2U);
    EXPECT_TRUE(selector.windowsOnly);
    EXPECT_THAT(selector.microphones, IsEmpty());
    pick(PickedArea{{80, 100, 300, 200}, 7});
    ASSERT_EQ(*recorder->state, State::recording);
    EXPECT_EQ(*recorder->source, CaptureSource::window(7));
    EXPECT_TRUE(recorder->isSourceAvailable(CaptureSource::window(7)));
    EXPECT_EQ(capture.stream->configuration.sourceRect, (Rect{80, 100, 300, 200}));
}

TEST_F(RecorderStartTests, AScreenIsChosenAmongSeveral) {
    make().record(CaptureMode::screen);
    executor.drain();
    EXPECT_EQ(chooser.question.times(), 1U);
    answer<std::optional<std::uint32_t>>(chooser.question, 2);
    ASSERT_EQ(*recorder->state, State::recording);
    EXPECT_EQ(*recorder->source, CaptureSource::display(2));
    recorder.reset();
    screens.all.resize(1);
    make().record(CaptureMode::screen);
    executor.advance(100ms);
    EXPECT_EQ(*recorder->source, CaptureSource::display(1));
    EXPECT_EQ(chooser.question.times(), 1U) << "there is nothing to choose";
}

TEST_F(RecorderStartTests, WithoutAChoiceNothingIsRecorded) {
    const auto expectIdle = [this] {
        executor.advance(1s);
        EXPECT_EQ(*recorder->state, State::idle);
        EXPECT_EQ(*recorder->pickingMode, std::nullopt);
        EXPECT_EQ(message(), "");
        EXPECT_EQ(capture.streams, 0);
    };
    make();
    for (const CaptureMode mode : {CaptureMode::window, CaptureMode::area}) {
        recorder->record(mode);
        executor.drain();
        pick(std::nullopt);
        expectIdle();
    }
    recorder->record(CaptureMode::window);
    executor.drain();
    pick(PickedArea{{0, 0, 100, 100}, std::nullopt});
    expectIdle();
    recorder->record(CaptureMode::audio);
    expectIdle();
    EXPECT_EQ(audioWindow.shown, 1);
    recorder->record(CaptureMode::webcam);
    expectIdle();

    overlays = {};
    make();
    for (const CaptureMode mode : allCases<CaptureMode>()) {
        recorder->record(mode);
        expectIdle();
    }
    screens.all.clear();
    recorder->record(CaptureMode::window);
    expectIdle();
}

TEST_F(RecorderStartTests, StartRecordsWhatIsSetOrSaved) {
    defaults.stored["areaRect"] = std::string("{{1, 2}, {30, 40}}");
    make().start(true);
    executor.advance(100ms);
    EXPECT_EQ(*recorder->source, CaptureSource::area(1));
    EXPECT_EQ(capture.stream->configuration.sourceRect, (Rect{1, 2, 30, 40}));
    for (const bool usingSavedArea : {false, true}) {
        if (usingSavedArea) defaults.stored.erase("areaRect");
        make().start(usingSavedArea);
        executor.advance(100ms);
        EXPECT_EQ(*recorder->source, CaptureSource::display(1));
        EXPECT_EQ(capture.stream->configuration.sourceRect, std::nullopt);
    }
}

TEST_F(RecorderStartTests, SoundIsRecordedAloneEvenWithoutADisplay) {
    enum class Desktop { usual, noDisplays, noServer };
    for (const Desktop desktop : {Desktop::usual, Desktop::noDisplays, Desktop::noServer}) {
        if (desktop != Desktop::usual) capture.content = {};
        capture.access = desktop == Desktop::usual;
        if (desktop == Desktop::noServer)
            capture.contentError = std::make_exception_ptr(PlatformError("No server."));
        overlays.countdown = &countdown;
        defaults.stored["countdown"] = true;
        make().recordAudioNow();
        executor.advance(3s);
        EXPECT_EQ(countdown.question.times(), 0U) << "it is counted in the window";
        executor.advance(100ms);
        ASSERT_EQ(*recorder->state, State::recording);
        EXPECT_EQ(movie().url.filename(), "Recording-Audio_2024-05-01_14.03.22.m4a");
        EXPECT_EQ(movie().fileType, AVFileType::appleM4A);
        EXPECT_THAT(movie().inputs, SizeIs(1));
        EXPECT_EQ(capture.stream->configuration.width, 2);
        recorder->requestStop();
        complete();
        files.existing.clear();
    }
}

TEST_F(RecorderStartTests, ACountdownWithoutAPanelIsTold) {
    defaults.stored["countdown"] = true;
    make();
    std::vector<int> numbers;
    const auto watch =
        recorder->countdownValue.observe([&](const auto& n) { numbers.push_back(n.value_or(0)); });
    recorder->start(false);
    executor.advance(2s + 999ms);
    EXPECT_EQ(*recorder->state, State::countingDown);
    EXPECT_THAT(numbers, ElementsAre(3, 2, 1));
    recorder->toggle();
    executor.drain();
    EXPECT_THAT(numbers, ElementsAre(3, 2, 1, 0));
    EXPECT_THAT(states, ElementsAre(State::countingDown, State::idle));
    EXPECT_EQ(message(), "");
    executor.advance(1s);
    EXPECT_EQ(*recorder->state, State::idle);
    expectNothingLeft();

    recorder->start(false);
    executor.advance(3s + 100ms);
    EXPECT_EQ(*recorder->state, State::recording);
}

TEST_F(RecorderStartTests, ACountdownPanelIsShownOnTheScreenAndCancelled) {
    defaults.stored["countdown"] = true;
    overlays.countdown = &countdown;
    for (const bool cancelled : {true, false}) {
        make().setSource(CaptureSource::area(2));
        recorder->start(false);
        executor.drain();
        EXPECT_EQ(countdown.seconds, 3);
        EXPECT_EQ(countdown.screen->displayID, 2U);
        if (cancelled) {
            recorder->requestStop();
        } else {
            countdown.question.answer(true);
        }
        executor.advance(100ms);
        EXPECT_EQ(*recorder->state, cancelled ? State::idle : State::recording);
        EXPECT_EQ(capture.streams, cancelled ? 0 : 1);
    }
}

TEST_F(RecorderStartTests, StopWhileStartingGivesUpTheStart) {
    capture.completesAtOnce = false;
    make();
    for (const auto reached : {50ms, 100ms}) {
        recorder->start(false);
        executor.advance(reached);
        ASSERT_EQ(*recorder->state, State::starting);
        recorder->requestStop();
        executor.advance(100ms - reached);
        if (capture.stream) capture.stream->started(nullptr);
        executor.drain();
        EXPECT_EQ(*recorder->state, State::idle);
        EXPECT_EQ(message(), "");
        expectNothingLeft();
    }
    // Asked for by an observer that is just being told: the recording begins and ends.
    capture.completesAtOnce = true;
    const auto stopper = recorder->state.observe([this](State coming) {
        if (coming == State::recording) recorder->requestStop();
    });
    startWith(CaptureSource::display(1));
    EXPECT_EQ(states.back(), State::idle);
    EXPECT_THAT(states, testing::Contains(State::recording));
    expectNothingLeft();
}

TEST_F(RecorderStartTests, EveryErrorLeavesNothingButItsSentence) {
    struct Case {
        std::string sentence;
        std::function<void()> arrange;
        CaptureSource source = CaptureSource::display(1);
    };
    const auto broken = std::make_exception_ptr(PlatformError("It is broken."));
    const Case cases[] = {
        {"No display server can be reached to record the screen.", [&] { capture.access = false; }},
        {"It is broken.", [&] { capture.contentError = broken; }},
        {"No display is available to record.", [&] { capture.content.displays.clear(); }},
        {"That window is no longer on screen. Pick another source.", [] {}, CaptureSource::window(99)},
        {"The folder can't be made.", [&] { files.folderRefused = true; }},
        {"It is broken.", [&] { writerRefusal = broken; }},
        {"The disk is full.", [&] { writerStarts = false; }},
        {"It is broken.", [&] { capture.completesAtOnce = false; }},
        {"Turn on Microphone or System audio to record audio.",
         [&] { defaults.stored["captureSystemAudio"] = false; }, CaptureSource::audioOnly()},
    };
    overlays.controlBar = &bar;
    for (const Case& each : cases) {
        SCOPED_TRACE(each.sentence);
        capture.access = true;
        capture.contentError = writerRefusal = nullptr;
        capture.content.displays = {{1, {0, 0, 1920, 1080}, 1, "left"}};
        capture.completesAtOnce = writerStarts = true;
        files.folderRefused = false;
        each.arrange();
        states.clear();
        startWith(each.source);
        if (!capture.completesAtOnce) {
            EXPECT_TRUE(folder.isInProgress(movie().url));
            EXPECT_TRUE(bar.shown);
            capture.stream->started(broken);
            executor.drain();
        }
        EXPECT_EQ(*recorder->state, State::idle);
        EXPECT_THAT(states, testing::Contains(State::idle)) << "who waits is told";
        EXPECT_EQ(message(), each.sentence);
        EXPECT_FALSE(bar.shown);
        EXPECT_EQ(*recorder->lastRecording, std::nullopt);
        expectNothingLeft();
    }
    // And none of it stands in the way of the next one.
    defaults.stored.erase("captureSystemAudio");
    capture.completesAtOnce = true;
    startWith(CaptureSource::display(1));
    EXPECT_EQ(*recorder->state, State::recording);
    EXPECT_EQ(message(), "");
}

TEST_F(RecorderStartTests, AFileThatWasThereBeforeIsNeverDeleted) {
    files.existing = {"/tmp/talk.mp4"};
    make().setOutputOverride("/tmp/talk.mp4");
    writerRefusal = std::make_exception_ptr(PlatformError("It is broken."));
    startWith(CaptureSource::display(1));
    EXPECT_EQ(message(), "It is broken.");
    EXPECT_TRUE(files.existing.contains("/tmp/talk.mp4"));
    EXPECT_FALSE(folder.isInProgress("/tmp/talk.mp4"));
}

TEST_F(RecorderStartTests, AnAreaThatCannotBeStoredIsNotRecorded) {
    make().record(CaptureMode::area);
    executor.drain();
    defaults.readOnly = true;
    pick(PickedArea{{100, 50, 320, 240}, std::nullopt});
    EXPECT_EQ(*recorder->state, State::idle);
    EXPECT_EQ(message(), "The preferences can't be written.");
    EXPECT_EQ(capture.streams, 0);
}

}  // namespace
}  // namespace lumicrate::test
