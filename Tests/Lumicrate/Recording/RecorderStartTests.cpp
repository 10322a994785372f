// SPDX-License-Identifier: GPL-3.0-or-later
// From the command to a running recording: choosing, counting down, and all errors before it runs.
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

namespace lumicrate::test {
namespace {

class RecorderStartTests : public RecorderFixture {
 protected:
    RecorderStartTests() {
        overlays.areaSelector = &areaSelector;
        overlays.screenChooser = &screenChooser;
    }

    AreaSelection& selection() { return *contents.selectionModel; }
    std::optional<Rect> selected() { return selection().selection.appearance->selection; }
    std::optional<Rect> recordedArea() const { return capture.stream->configuration.sourceRect; }
};

TEST_F(RecorderStartTests, AChosenAreaIsStoredAndRecorded) {
    defaults.stored["areaRect"] = std::string("{{1, 2}, {300, 200}}");
    devices.heard = {{"usb", "USB"}};
    make();
    recorder->refreshDevices();
    recorder->setSource(CaptureSource::display(2));
    select();
    EXPECT_EQ(*recorder->state, State::selectingArea);
    EXPECT_EQ(*recorder->pickingMode, CaptureMode::area);
    EXPECT_EQ(contents.last().settings.frame, screens.all[1].frame);
    EXPECT_EQ(selection().toolbar.confirmTitle, "Record");
    EXPECT_EQ(selected(), (Rect{1, 398, 300, 200}));
    EXPECT_THAT(selection().toolbar.microphones, SizeIs(1));
    EXPECT_FALSE(selection().selection.windowsOnly());
    recorder->toggle();
    select();
    EXPECT_THAT(contents.panels, SizeIs(1));

    confirmArea({100, 50, 320, 240});
    EXPECT_EQ(*recorder->source, CaptureSource::area(2));
    EXPECT_EQ(defaults.stringForKey("areaRect"), "{{100, 50}, {320, 240}}");
    EXPECT_EQ(capture.stream->filter.display.displayID, 2U);
    EXPECT_EQ(recordedArea(), (Rect{100, 50, 320, 240}));
    EXPECT_THAT(states, ElementsAre(State::selectingArea, State::starting, State::recording));
}

TEST_F(RecorderStartTests, AChosenAreaReplacesTheOneInTheOptionsOverride) {
    RecordingOptions own;
    own.countdown = false;
    own.areaRect = Rect{0, 0, 100, 80};
    make().setOptionsOverride(own);
    select();
    EXPECT_EQ(selected(), (Rect{0, 1000, 100, 80}));
    confirmArea({100, 50, 320, 240});
    EXPECT_EQ(recordedArea(), (Rect{100, 50, 320, 240}));
}

TEST_F(RecorderStartTests, AnAreaThatCannotBeStoredIsNotRecorded) {
    make();
    select();
    defaults.readOnly = true;
    confirmArea({100, 50, 320, 240});
    expectIdle("The preferences can't be written.");
    EXPECT_EQ(capture.streams, 0);
}

TEST_F(RecorderStartTests, AWindowIsPickedOnTheDisplayUnderThePointer) {
    capture.content.windows[0].title.reset();
    screens.pointer = {2000, 500};
    defaults.stored["captureMode"] = std::string("everything");
    make().toggle();
    executor.drain();
    EXPECT_EQ(*recorder->pickingMode, CaptureMode::window);
    EXPECT_EQ(contents.last().settings.frame, screens.all[1].frame);
    EXPECT_TRUE(selection().selection.windowsOnly());
    EXPECT_THAT(selection().toolbar.microphones, IsEmpty());
    selection().selection.mouseDown({{90, 490}});
    executor.advance(100ms);
    ASSERT_EQ(*recorder->state, State::recording);
    EXPECT_EQ(*recorder->source, CaptureSource::window(7));
    const RunningTask refreshing(executor, recorder->refreshSources());
    executor.drain();
    EXPECT_TRUE(recorder->isSourceAvailable(CaptureSource::window(7))) << "although it has no title";
    EXPECT_EQ(recordedArea(), (Rect{80, 100, 300, 200}));
}

TEST_F(RecorderStartTests, ASourceThatDisappearsAtTheStartIsNotReplaced) {
    const SCShareableContent before = capture.content;
    for (const auto& [source, sentence] :
         {std::pair{CaptureSource::window(7), "That window is no longer on screen. Pick another source."},
          {CaptureSource::display(2), "No display is available to record."}}) {
        make().setSource(source);
        capture.contentWaits = true;
        const RunningTask refreshing(executor, recorder->refreshSources());
        executor.drain();
        capture.content = {{before.displays.front()}, {}};
        capture.contentWaits = false;
        // The refresh ends between the command and the first step of the start.
        std::exchange(capture.waiting, nullptr)(capture.content, nullptr);
        recorder->start(false);
        executor.advance(100ms);
        expectIdle(sentence);
        EXPECT_EQ(capture.streams, 0);
        capture.content = before;
    }
}

TEST_F(RecorderStartTests, AStopEndsAChoiceInProgress) {
    for (const auto& [mode, isOpen] :
         {std::pair{CaptureMode::area, true}, {CaptureMode::area, false}, {CaptureMode::screen, true}}) {
        capture.contentWaits = !isOpen;
        make();
        select(mode);
        const RunningTask stopping(executor, recorder->stop());
        executor.drain();
        if (const auto answer = std::exchange(capture.waiting, nullptr)) answer(capture.content, nullptr);
        executor.advance(100ms);
        expectIdle();
        EXPECT_FALSE(stopping.isRunning());
        EXPECT_EQ(contents.shownPanels(), 0U);
    }
}

TEST_F(RecorderStartTests, AScreenIsChosenFromSeveral) {
    make();
    select(CaptureMode::screen);
    ASSERT_THAT(contents.screenChoices, SizeIs(2));
    contents.screenChoices[1]->onChoose();
    executor.advance(100ms);
    ASSERT_EQ(*recorder->state, State::recording);
    EXPECT_EQ(*recorder->source, CaptureSource::display(2));
    recorder.reset();
    screens.all.resize(1);
    make().record(CaptureMode::screen);
    executor.advance(100ms);
    EXPECT_EQ(*recorder->source, CaptureSource::display(1));
    EXPECT_THAT(contents.screenChoices, SizeIs(2)) << "there is nothing to choose";
}

TEST_F(RecorderStartTests, WithoutAChoiceNothingIsRecorded) {
    const auto expectNoRecording = [this] {
        executor.advance(1s);
        expectIdle();
        EXPECT_EQ(*recorder->pickingMode, std::nullopt);
        EXPECT_EQ(capture.streams, 0);
    };
    for (const bool asks : {true, false}) {
        if (!asks) overlays = {};
        make();
        using enum CaptureMode;
        for (const CaptureMode mode : {window, area, screen}) {
            select(mode);
            if (asks && (mode == window || mode == area)) selection().selection.cancel();
            if (asks && mode == screen) contents.screenChoices.back()->onCancel();
            expectNoRecording();
        }
    }
    screens.all.clear();
    select(CaptureMode::window);
    expectNoRecording();
}

TEST_F(RecorderStartTests, StartRecordsTheSourceOrTheSavedArea) {
    for (const auto& [usesSavedArea, stored] : {std::pair{true, true}, {false, true}, {true, false}}) {
        defaults.stored["areaRect"] = std::string(stored ? "{{1, 2}, {30, 40}}" : "");
        make().start(usesSavedArea);
        executor.advance(100ms);
        const bool area = usesSavedArea && stored;
        EXPECT_EQ(*recorder->source, area ? CaptureSource::area(1) : CaptureSource::display(1));
        EXPECT_EQ(recordedArea(), area ? std::optional(Rect{1, 2, 30, 40}) : std::nullopt);
    }
}

TEST_F(RecorderStartTests, SoundIsRecordedAloneEvenWithoutADisplay) {
    enum class Desktop { usual, noDisplays, noServer };
    overlays.countdown = &countdown;
    defaults.stored["countdown"] = true;
    for (const Desktop desktop : {Desktop::usual, Desktop::noDisplays, Desktop::noServer}) {
        if (desktop != Desktop::usual) capture.content = {};
        capture.access = desktop == Desktop::usual;
        if (desktop == Desktop::noServer) capture.contentError = broken;
        make().record(CaptureMode::audio);
        executor.advance(3s);
        EXPECT_THAT(contents.panels, IsEmpty()) << "the window shows the countdown";
        executor.advance(100ms);
        ASSERT_EQ(*recorder->state, State::recording);
        EXPECT_EQ(movie().url.filename(), "Recording-Audio_2024-05-01_14.03.22.m4a");
        EXPECT_EQ(movie().fileType, AVFileType::appleM4A);
        EXPECT_THAT(movie().inputs, SizeIs(1));
        EXPECT_EQ(capture.stream->configuration.width, 2);
        stopAndComplete();
        files.existing.clear();
    }
}

TEST_F(RecorderStartTests, ACountdownPanelIsShownOnTheScreenAndCancelled) {
    defaults.stored["countdown"] = true;
    overlays.countdown = &countdown;
    for (const bool cancelled : {true, false}) {
        make().setSource(CaptureSource::area(2));
        recorder->start(false);
        executor.drain();
        EXPECT_EQ(*contents.countdownModel->value, 3);
        EXPECT_EQ(contents.visible("countdown")->settings.frame, (Rect{2220, 680, 200, 200}));
        if (cancelled) recorder->requestStop();
        executor.advance(3s + 100ms);
        EXPECT_FALSE(contents.visible("countdown"));
        EXPECT_EQ(*recorder->state, cancelled ? State::idle : State::recording);
        EXPECT_EQ(capture.streams, cancelled ? 0 : 1);
    }
}

TEST_F(RecorderStartTests, StopCancelsTheStart) {
    capture.completesAtOnce = false;
    make();
    for (const auto reached : {50ms, 100ms}) {
        recorder->start(false);
        executor.advance(reached);
        ASSERT_EQ(*recorder->state, State::starting);
        recorder->requestStop();
        executor.advance(100ms - reached);
        if (capture.stream) completeStart();
        expectIdle();
        expectNothingLeft();
    }
    // Requested by an observer of the state: the recording begins and ends.
    capture.completesAtOnce = true;
    const auto stopper = recorder->state.observe([this](State coming) {
        if (coming == State::recording) recorder->requestStop();
    });
    startWith(CaptureSource::display(1));
    EXPECT_EQ(states.back(), State::idle);
    EXPECT_THAT(states, testing::Contains(State::recording));
    expectNothingLeft();
}

TEST_F(RecorderStartTests, AnInterruptionDuringTheStartLeavesNothing) {
    const struct {
        std::exception_ptr writerError, startError;
        const char* sentence;
    } cases[] = {{nullptr, nullptr, "Recording stopped: The display is gone."},
                 {nullptr, displayLost, "The display is gone."},
                 {diskFull, nullptr, "Recording stopped: The disk is full."}};
    capture.completesAtOnce = false;
    for (const auto& each : cases) {
        startWith(CaptureSource::display(1));
        if (each.writerError) movie().interrupt(each.writerError);
        interruptStream(displayLost);
        EXPECT_EQ(*recorder->state, State::starting);
        completeStart(each.startError);
        expectIdle(each.sentence);
        EXPECT_EQ(*recorder->lastRecording, std::nullopt);
        expectNothingLeft();
    }
}

TEST_F(RecorderStartTests, EveryErrorLeavesOnlyItsSentence) {
    struct Case {
        std::string sentence;
        std::function<void()> arrange;
        CaptureSource source = CaptureSource::display(1);
    };
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
    const auto displays = capture.content.displays;
    overlays.controlBar = &controlBar;
    for (const Case& each : cases) {
        SCOPED_TRACE(each.sentence);
        each.arrange();
        states.clear();
        startWith(each.source);
        if (!capture.completesAtOnce) {
            EXPECT_TRUE(folder.isInProgress(movie().url));
            EXPECT_TRUE(contents.visible("bar"));
            completeStart(broken);
        }
        expectIdle(each.sentence);
        EXPECT_THAT(states, testing::Contains(State::idle)) << "even without a change";
        EXPECT_EQ(contents.shownPanels(), 0U);
        EXPECT_EQ(*recorder->lastRecording, std::nullopt);
        expectNothingLeft();

        capture.contentError = writerRefusal = nullptr;
        capture.content.displays = displays;
        capture.access = capture.completesAtOnce = writerStarts = true;
        files.folderRefused = false;
    }
    // None of it affects the next recording.
    startWith(CaptureSource::display(1));
    EXPECT_EQ(*recorder->state, State::recording);
    EXPECT_EQ(message(), "");
}

TEST_F(RecorderStartTests, AnExistingFileIsNeverDeleted) {
    files.existing = {"/tmp/talk.mp4"};
    make().setOutputOverride("/tmp/talk.mp4");
    writerRefusal = broken;
    startWith(CaptureSource::display(1));
    expectIdle("It is broken.");
    expectNothingLeft({"/tmp/talk.mp4"});
    EXPECT_FALSE(folder.isInProgress("/tmp/talk.mp4"));
}

TEST_F(RecorderStartTests, MissingSoundIsLeftOutUnlessItIsRequiredOrAll) {
    const std::string noServer = "No sound server can be reached, so sound can't be recorded.";
    const std::string noOutput = "There is no sound output whose sound could be recorded.";
    defaults.stored["captureMicrophone"] = true;
    struct Case {
        bool hasServer;
        RequiredSound required;
        CaptureSource source;
        std::string error;
        std::vector<std::string> notices;
    };
    for (const Case& each : {Case{true, {}, CaptureSource::display(1), "", {noOutput}},
                             Case{false, {}, CaptureSource::display(1), "", {noServer}},
                             Case{true, {}, CaptureSource::audioOnly(), "", {noOutput}},
                             Case{false, {}, CaptureSource::audioOnly(), noServer, {}},
                             Case{true, {.systemAudio = true}, CaptureSource::display(1), noOutput, {}},
                             Case{true, {.microphone = true}, CaptureSource::display(1), "", {noOutput}},
                             Case{false, {.microphone = true}, CaptureSource::display(1), noServer, {}}}) {
        devices.hasServer = each.hasServer;
        devices.hasOutput = false;
        make().setRequiredSound(each.required);
        startWith(each.source);
        if (each.error.empty()) {
            EXPECT_FALSE(capture.stream->configuration.capturesAudio);
            EXPECT_EQ(*recorder->recordsMicrophone, each.hasServer);
            recorder->requestStop();
            executor.drain();
        }
        EXPECT_EQ(*recorder->state, State::idle);
        EXPECT_THAT(*recorder->notices, testing::ElementsAreArray(each.notices));
        EXPECT_EQ(each.error.empty() || *recorder->errorMessage == each.error, true);
    }
}

TEST_F(RecorderStartTests, TheSoundOfAnUnknownApplicationIsLeftOutUnlessItIsRequired) {
    defaults.stored["onlyApplicationAudio"] = true;
    capture.content.windows = {{7, {10, 10, 100, 100}, std::nullopt, 0, std::nullopt}};
    for (const bool required : {false, true}) {
        make().setRequiredSound({.systemAudio = required});
        startWith(CaptureSource::window(7));
        const bool records = *recorder->state == State::recording;
        EXPECT_NE(records, required);
        if (records) {
            EXPECT_FALSE(capture.stream->configuration.capturesAudio);
        }
        recorder->requestStop();
        executor.drain();
        const std::string sentence =
            required ? recorder->errorMessage->value_or("") : recorder->notices->at(0);
        EXPECT_THAT(sentence, testing::StartsWith("It is not known which program the window belongs to"));
    }
}

TEST_F(RecorderStartTests, NothingIsRecordedWhereListedApplicationsCannotBeLeftOut) {
    capture.excludes = false;
    defaults.stored["neverRecorded"] = std::string("Vault");
    make();
    startWith(CaptureSource::display(1));
    EXPECT_EQ(*recorder->state, State::idle);
    EXPECT_THAT(recorder->errorMessage->value_or(""), testing::StartsWith("On this desktop applications"));
}

TEST_F(RecorderStartTests, WhereTheUserSharesContentThatIsRecorded) {
    overlays.controlBar = &controlBar;
    capture.excludes = false;
    capture.content.windows.push_back({40, {0, 0, 640, 480}, "shared", 0, std::nullopt, 1, false});
    const SCDisplay right = capture.content.displays[1];
    const SCSharedContent window{std::nullopt, capture.content.windows.back()};
    using Kind = SCSharingRequest::Kind;
    const struct {
        CaptureSource requested;
        Kind kind;
        std::optional<SCSharedContent> shared;
        std::optional<CaptureSource> recorded;
        Size picture{};
    } cases[] = {
        {CaptureSource::display(1),
         Kind::display,
         SCSharedContent{right, {}},
         CaptureSource::display(2),
         {800, 600}},
        {CaptureSource::area(2),
         Kind::display,
         SCSharedContent{right, {}},
         CaptureSource::area(2),
         {800, 600}},
        {CaptureSource::window(0), Kind::window, window, CaptureSource::window(40), {640, 480}},
        {CaptureSource::display(1), Kind::display, std::nullopt, std::nullopt},
    };
    for (const auto& [requested, kind, shared, recorded, size] : cases) {
        FakePicker desktop(executor);
        sharingPicker = &desktop;
        make();
        startWith(requested);
        EXPECT_EQ(*recorder->state, State::selectingArea) << "the dialog is open";
        ASSERT_EQ(desktop.requests.size(), 1U);
        EXPECT_EQ(desktop.requests[0].kind, kind);
        EXPECT_EQ(desktop.requests[0].displayID, requested.displayID());
        desktop.answer.resolve(shared);
        executor.advance(100ms);
        ASSERT_EQ(*recorder->state, recorded ? State::recording : State::idle);
        if (recorded) {
            EXPECT_EQ(*recorder->source, recorded);
            EXPECT_EQ(Size(capture.stream->configuration.width, capture.stream->configuration.height), size);
            EXPECT_EQ(desktop.ends, 0) << "shared until the end";
            deliverFrame();
            stopAndComplete();
        }
        EXPECT_EQ(message(), "") << "declining is no error";
        EXPECT_GT(desktop.ends, 0);
        TearDown();
    }
}

TEST_F(RecorderStartTests, AnAreaIsSelectedOnTheSharedDisplayAndAStopEndsTheQuestion) {
    overlays.areaSelector = &areaSelector;
    for (const bool stops : {true, false}) {
        FakePicker desktop(executor);
        sharingPicker = &desktop;
        make();
        select(CaptureMode::area);
        EXPECT_FALSE(contents.selectionModel) << "nothing to select on yet";
        if (stops) {
            recorder->requestStop();
            executor.drain();
            expectIdle();
        } else {
            desktop.answer.resolve(SCSharedContent{capture.content.displays[1], {}});
            executor.drain();
            confirmArea({10, 20, 300, 200});
            EXPECT_EQ(*recorder->source, CaptureSource::area(2));
            EXPECT_EQ(capture.stream->configuration.width, 300);
        }
        TearDown();
    }
}

}  // namespace
}  // namespace lumicrate::test
