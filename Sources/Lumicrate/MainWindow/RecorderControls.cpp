// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/MainWindow/RecorderControls.h"

#include "Lumicrate/Capture/DeviceMenu.h"
#include "Support/Text.h"

#include <utility>

namespace lumicrate {

namespace {

using State = ScreenRecorder::State;

std::vector<std::string_view> togglesFor(CaptureMode mode) {
    if (mode == CaptureMode::audio)
        return {preference::captureSystemAudio, preference::captureMicrophone, preference::countdown};
    if (mode == CaptureMode::webcam) return {preference::captureMicrophone, preference::countdown};
    if (mode == CaptureMode::window)
        return {preference::captureSystemAudio, preference::onlyApplicationAudio,
                preference::captureMicrophone,  preference::showCursor,
                preference::highlightClicks,    preference::countdown};
    return {preference::captureSystemAudio, preference::captureMicrophone, preference::showCursor,
            preference::highlightClicks, preference::countdown};
}

}  // namespace

RecorderControls::RecorderControls(ScreenRecorder& recorder, SourceBar& sources, NSUserDefaults& defaults,
                                   const Progress* mixing, const DesktopAbilities& desktop)
    : recorder_(recorder),
      sources_(sources),
      defaults_(defaults),
      desktop_(desktop),
      state_(*recorder.state),
      chosen_(*sources.content),
      picking_(*recorder.pickingMode),
      countdown_(*recorder.countdownValue),
      recordsMicrophone_(*recorder.recordsMicrophone),
      elapsed_(recorder.elapsedNow()) {
    const auto follow = [this](const auto& published, auto& kept) {
        subscriptions_.push_back(published.observe([this, &kept](const auto& coming) {
            kept = coming;
            rebuild();
        }));
    };
    follow(recorder.state, state_);
    follow(sources.content, chosen_);
    follow(recorder.pickingMode, picking_);
    follow(recorder.countdownValue, countdown_);
    follow(recorder.recordsMicrophone, recordsMicrophone_);
    if (mixing) {
        progress_ = **mixing;
        follow(*mixing, progress_);
    }
    rebuild();
}

std::vector<RecorderControls::Toggle> RecorderControls::toggles() const {
    return {
        {preference::captureSystemAudio, "speaker.wave.2.fill", "speaker.slash.fill",
         localized("System Audio"), localized("Record what the computer plays")},
        {preference::onlyApplicationAudio, "speaker.macwindow", "speaker.macwindow", localized("App Only"),
         localized("Only this application’s sound"), preference::captureSystemAudio},
        {preference::captureMicrophone, "mic.fill", "mic.slash.fill", localized("Microphone"),
         localized("Record a microphone")},
        {preference::showCursor, "cursorarrow", "cursorarrow", localized("Cursor"),
         localized("Show the pointer in the recording")},
        {preference::highlightClicks,
         "cursorarrow.click",
         "cursorarrow.click",
         localized("Clicks"),
         desktop_.seesClicks ? localized("Show a ring where the mouse is clicked")
                             : DesktopAbilities::clicksNote(),
         {},
         desktop_.seesClicks},
        {preference::countdown, "timer", "timer", localized("Countdown"),
         localized("Count down 3 seconds before recording")}};
}

std::vector<MenuItem> RecorderControls::microphoneMenu() const {
    return lumicrate::microphoneMenu(
        *recorder_.microphones, defaults_.stringForKey(preference::microphoneID).value_or(""),
        [&sources = sources_](const std::string& id) { sources.store(preference::microphoneID, id); });
}

void RecorderControls::press() {
    if (!content->enabled) return;
    if (state_ == State::idle) {
        sources_.record();
    } else {
        recorder_.toggle();
    }
}

void RecorderControls::setVisible(bool visible) {
    visible_ = visible;
    rebuild();
}

bool RecorderControls::isActive() const {
    return state_ == State::recording || state_ == State::paused;
}

void RecorderControls::rebuild() {
    Content next;
    next.pauses = isActive();
    // The recorder only measures the level if this preference is on.
    next.showsLevel =
        visible_ && isActive() && recordsMicrophone_ && defaults_.boolForKey(preference::webcamMicLevel);
    updateSubscriptions(next);
    describe(next);
    next.toggles = togglesFor(chosen_.mode);
    next.togglesEnabled = state_ == State::idle;
    const bool paused = state_ == State::paused;
    next.pauseTitle = paused ? localized("Resume Recording") : localized("Pause Recording");
    next.pauseSymbol = paused ? "play.fill" : "pause.fill";
    if (next != *content) content = std::move(next);
}

void RecorderControls::describe(Content& next) const {
    switch (state_) {
        case State::idle:
            next.title = localized("Start Recording");
            next.symbol = "record.circle.fill";
            next.hint = chosen_.missing.value_or("");
            next.enabled = next.hint.empty();
            return;
        case State::selectingArea:
            next.phase = Phase::waiting;
            next.title = picking_ == CaptureMode::window   ? localized("Choose a Window…")
                         : picking_ == CaptureMode::screen ? localized("Choose a Screen…")
                         : picking_ == CaptureMode::webcam ? localized("Framing the Shot…")
                                                           : localized("Choose an Area…");
            next.enabled = false;
            return;
        case State::countingDown:
            next.phase = Phase::waiting;
            next.symbol = "xmark";
            next.title = localized("Cancel Countdown");
            if (countdown_) next.time = std::to_string(*countdown_);
            return;
        case State::starting:
            next.phase = Phase::waiting;
            next.title = localized("Starting…");
            next.enabled = false;
            return;
        case State::recording:
        case State::paused:
            next.phase = Phase::recording;
            next.symbol = "stop.fill";
            next.title = localized("Stop Recording");
            next.time = formatElapsed(elapsed_);
            return;
        case State::stopping:
            next.phase = Phase::waiting;
            next.title = localized("Saving…");
            next.enabled = false;
            next.progress = progress_;
            return;
    }
}

/// Subscribes only to what is shown: the recorder wakes up more often while it is observed.
void RecorderControls::updateSubscriptions(const Content& next) {
    const bool showsTime = visible_ && isActive();
    if (!showsTime) {
        elapsedSubscription_.reset();
    } else if (!elapsedSubscription_) {
        elapsed_ = recorder_.elapsedNow();
        elapsedSubscription_ = recorder_.elapsed.observe([this](double coming) {
            elapsed_ = coming;
            rebuild();
        });
    }
    if (!next.showsLevel) {
        levelSubscription_.reset();
    } else if (!levelSubscription_) {
        level = *recorder_.microphoneLevel;
        levelSubscription_ = recorder_.microphoneLevel.observe([this](float coming) { level = coming; });
    }
}

}  // namespace lumicrate
