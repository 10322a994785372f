// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Audio/AudioRecorderModel.h"

#include "Lumicrate/Capture/DeviceMenu.h"
#include "Support/Error.h"
#include "Support/Text.h"

#include <utility>

namespace lumicrate {

AudioRecorderModel::AudioRecorderModel(ScreenRecorder& recorder, NSUserDefaults& defaults)
    : recorder_(recorder),
      defaults_(defaults),
      state_(*recorder.state),
      elapsed_(recorder.elapsedNow()),
      countdown_(*recorder.countdownValue),
      recordsMicrophone_(*recorder.recordsMicrophone),
      muted_(*recorder.microphoneMuted),
      level_(*recorder.microphoneLevel),
      microphones_(*recorder.microphones) {
    follow();
    readChoices();
    rebuild();
}

void AudioRecorderModel::follow() {
    const auto keep = [this](const auto& published, auto& kept) {
        subscriptions_.push_back(published.observe([this, &kept](const auto& coming) {
            kept = coming;
            rebuild();
        }));
    };
    keep(recorder_.state, state_);
    keep(recorder_.countdownValue, countdown_);
    keep(recorder_.recordsMicrophone, recordsMicrophone_);
    keep(recorder_.microphoneMuted, muted_);
    keep(recorder_.microphones, microphones_);
    subscriptions_.push_back(
        recorder_.errorMessage.observe([this](const auto& coming) { followError(coming); }));
    subscriptions_.push_back(defaults_.observe([this] { rebuild(); }));
}

/// Errors of other recordings are shown elsewhere.
void AudioRecorderModel::followError(const std::optional<std::string>& coming) {
    const bool isOurs = *recorder_.pickingMode == CaptureMode::audio;
    error_ = isOurs ? coming : std::nullopt;
    rebuild();
}

void AudioRecorderModel::readChoices() {
    choices_ = {defaults_.boolForKey(preference::captureSystemAudio),
                defaults_.boolForKey(preference::captureMicrophone),
                defaults_.stringForKey(preference::microphoneID).value_or("")};
}

void AudioRecorderModel::setVisible(bool visible) {
    visible_ = visible;
    elapsed_ = recorder_.elapsedNow();
    rebuild();
}

// Commands

void AudioRecorderModel::press() {
    if (!content->mainEnabled) return;
    if (state_ == State::idle) {
        recorder_.recordAudioNow();
    } else {
        recorder_.toggle();
    }
}

void AudioRecorderModel::cancelCountdown() {
    if (state_ == State::countingDown) recorder_.toggle();
}

void AudioRecorderModel::toggleMicrophone() {
    if (state_ == State::idle) {
        store(preference::captureMicrophone, !choices_.microphone);
    } else {
        recorder_.toggleMicrophoneMute();
    }
}

void AudioRecorderModel::toggleSystemAudio() {
    if (state_ == State::idle) store(preference::captureSystemAudio, !choices_.systemAudio);
}

std::vector<MenuItem> AudioRecorderModel::microphoneMenu() {
    return lumicrate::microphoneMenu(microphones_, choices_.microphoneID,
                                     [this](const std::string& id) { store(preference::microphoneID, id); });
}

void AudioRecorderModel::store(std::string_view key, const DefaultsValue& value) {
    error_.reset();
    try {
        defaults_.set(key, value);
    } catch (const LocalizedError& error) {
        error_ = error.what();
    }
    rebuild();
}

// Content

void AudioRecorderModel::rebuild() {
    if (state_ == State::idle) readChoices();
    updateSubscriptions();
    Content next;
    next.timerText = timerText();
    next.paused = state_ == State::paused;
    describeButtons(next);
    next.systemAudio = systemAudioToggle();
    next.microphone = microphoneToggle();
    next.microphoneName = microphoneName(microphones_, choices_.microphoneID);
    next.canChooseMicrophone = state_ == State::idle && choices_.microphone;
    next.metersMicrophone = state_ == State::recording && recordsMicrophone_ && !muted_;
    if (state_ == State::idle) {
        next.isError = error_.has_value();
        next.message = error_ ? *error_ : hasSource() ? std::string() : next.mainHelp;
    }
    if (!next.metersMicrophone) level_ = 0;
    if (next != *content) content = std::move(next);
    if (level_ != *meterLevel) meterLevel = level_;
}

/// Subscribes only to what is shown: the recorder wakes up more often while it is observed.
void AudioRecorderModel::updateSubscriptions() {
    const bool shows = visible_ && isActive();
    if (!shows) {
        elapsedSubscription_.reset();
        levelSubscription_.reset();
    } else if (!elapsedSubscription_) {
        elapsedSubscription_ = recorder_.elapsed.observe([this](double coming) {
            elapsed_ = coming;
            rebuild();
        });
        levelSubscription_ = recorder_.microphoneLevel.observe([this](float coming) {
            level_ = coming;
            rebuild();
        });
    }
}

std::string AudioRecorderModel::timerText() const {
    switch (state_) {
        case State::recording:
        case State::paused:
        case State::stopping:
            return formatClock(elapsed_);
        case State::countingDown:
            // A screen recording counts down on the screen instead.
            if (countdown_) return localized("in {}…", {std::to_string(*countdown_)});
            break;
        case State::idle:
        case State::selectingArea:
        case State::starting:
            break;
    }
    return formatClock(0);
}

void AudioRecorderModel::describeButtons(Content& next) const {
    next.canPause = isActive();
    next.pauseHelp = next.paused ? localized("Resume") : localized("Pause");
    switch (state_) {
        case State::idle:
            next.mainEnabled = hasSource();
            next.mainTitle = localized("Record");
            next.mainHelp = next.mainEnabled ? localized("Record (Return)")
                                             : localized("Turn on the microphone or system sound first");
            return;
        case State::countingDown:
            next.mainButton = MainButton::cancel;
            next.mainTitle = localized("Cancel");
            next.mainHelp = localized("Cancel the countdown (Esc)");
            return;
        case State::recording:
        case State::paused:
            next.mainButton = MainButton::stop;
            next.mainTitle = localized("Stop");
            next.mainHelp = localized("Stop and save (Return)");
            return;
        case State::selectingArea:
        case State::starting:
            next.mainTitle = next.mainHelp = localized("Starting…");
            break;
        case State::stopping:
            next.mainButton = MainButton::stop;
            next.mainTitle = next.mainHelp = localized("Saving…");
            break;
    }
    next.mainEnabled = false;
}

AudioRecorderModel::Toggle AudioRecorderModel::systemAudioToggle() const {
    const bool on = choices_.systemAudio;
    if (state_ == State::idle) {
        return {on, true,
                on ? localized("System sound: on. Click to turn off.")
                   : localized("System sound: off. Click to turn on.")};
    }
    return {on, false,
            on ? localized("System sound is recorded.") : localized("System sound is not recorded.")};
}

AudioRecorderModel::Toggle AudioRecorderModel::microphoneToggle() const {
    if (state_ == State::idle) {
        return {choices_.microphone, true,
                choices_.microphone ? localized("Microphone: on. Click to turn off.")
                                    : localized("Microphone: off. Click to turn on.")};
    }
    if (isActive() && recordsMicrophone_) {
        return {!muted_, true,
                muted_ ? localized("Unmute microphone (M)") : localized("Mute microphone (M)")};
    }
    const bool recorded = isActive() ? recordsMicrophone_ : choices_.microphone;
    return {
        recorded, false,
        recorded ? localized("The microphone is recorded.") : localized("The microphone is not recorded.")};
}

}  // namespace lumicrate
