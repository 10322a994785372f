// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/MainWindow/SourceBar.h"

#include "Lumicrate/Capture/NeverRecorded.h"
#include "Lumicrate/Capture/SourceLists.h"
#include "Support/Error.h"
#include "Support/Text.h"

#include <algorithm>
#include <utility>

namespace lumicrate {

namespace {

/// The item of that id, or nullptr.
template <class Offered>
const Offered* find(const std::vector<Offered>& offered, const std::optional<std::uint32_t>& id) {
    const auto found = std::ranges::find(offered, id, &Offered::id);
    return found == offered.end() ? nullptr : &*found;
}

std::string noteOf(const SourceBar::Content& content) {
    if (content.mode == CaptureMode::webcam)
        return localized("You frame the picture when the recording begins.");
    if (content.mode == CaptureMode::audio) return localized("Sound is recorded in a window of its own.");
    const bool isScreen = content.mode == CaptureMode::screen;
    if (content.displays.empty() || !(isScreen || content.mode == CaptureMode::area)) return {};
    if (content.displays.size() > 1)
        return isScreen ? localized("You choose the screen when the recording begins.") : std::string();
    return content.displays.front().description();
}

}  // namespace

SourceBar::SourceBar(ScreenRecorder& recorder, NSUserDefaults& defaults, ErrorHandler reportError)
    : recorder_(recorder),
      defaults_(defaults),
      reportError_(std::move(reportError)),
      state_(*recorder.state),
      windows_(*recorder.windows),
      displays_(*recorder.displays),
      cameras_(*recorder.cameras) {
    const auto follow = [this](const auto& published, auto& kept) {
        subscriptions_.push_back(published.observe([this, &kept](const auto& coming) {
            kept = coming;
            rebuild();
        }));
    };
    follow(recorder.state, state_);
    follow(recorder.windows, windows_);
    follow(recorder.displays, displays_);
    follow(recorder.cameras, cameras_);
    subscriptions_.push_back(defaults.observe([this] { rebuild(); }));
    rebuild();
}

std::vector<SourceBar::Mode> SourceBar::modes() {
    return {{CaptureMode::window, localized("Window"), "macwindow"},
            {CaptureMode::area, localized("Area"), "rectangle.dashed"},
            {CaptureMode::screen, localized("Screen"), "display"},
            {CaptureMode::webcam, localized("Webcam"), "web.camera"},
            {CaptureMode::audio, localized("Audio"), "waveform"}};
}

void SourceBar::rebuild() {
    Content next;
    const auto stored =
        fromRawValue<CaptureMode>(defaults_.stringForKey(preference::captureMode).value_or(""));
    if (stored) next.mode = *stored;
    next.enabled = state_ == ScreenRecorder::State::idle;
    fillSources(next);
    next.picksWindow = next.mode == CaptureMode::window;
    next.picksDisplay = next.mode == CaptureMode::area && next.displays.size() > 1;
    next.note = noteOf(next);
    const bool isOfScreen = next.mode != CaptureMode::webcam && next.mode != CaptureMode::audio;
    if (isOfScreen && recorder_.usesDesktopDialog()) {
        next.picksWindow = next.picksDisplay = false;
        next.repeatsChoice = recorder_.remembersSharing(next.mode);
        next.note = next.repeatsChoice
                        ? localized("What you chose last time is recorded again.")
                        : localized("You choose in the desktop's dialog when the recording begins.");
    }
    next.missing = missingFrom(next);
    if (next != *content) content = std::move(next);
}

void SourceBar::fillSources(Content& next) const {
    const auto unwanted = readClasses(defaults_.stringForKey(preference::neverRecorded).value_or(""));
    for (const SCWindow& each : withoutNeverRecorded(windows_, unwanted))
        next.windows.push_back({each.windowID, applicationName(each), each.title.value_or("")});
    if (const Window* chosen = find(next.windows, recorder_.chosenWindow(windows_))) next.window = *chosen;

    for (const SCDisplay& each : displays_)
        next.displays.push_back(
            {each.displayID, each.localizedName, formatPixels(each.frame.size(), each.pointPixelScale)});
    if (displays_.empty()) return;
    const Display* chosen = find(next.displays, display_);
    // Looked up in the new list, because the recorder's own list may not have been updated yet.
    const Display* main = find(next.displays, recorder_.mainDisplayID());
    next.display = chosen ? chosen->id : main ? main->id : next.displays.front().id;
}

std::optional<std::string> SourceBar::missingFrom(const Content& next) const {
    switch (next.mode) {
        case CaptureMode::window:
        case CaptureMode::audio:
            break;
        case CaptureMode::area:
        case CaptureMode::screen:
            return next.display || recorder_.usesDesktopDialog()
                       ? std::nullopt
                       : std::optional(localized("There is no screen to record."));
        case CaptureMode::webcam:
            return cameras_.empty() ? std::optional(localized("Connect a camera first.")) : std::nullopt;
    }
    return std::nullopt;
}

void SourceBar::store(std::string_view key, const std::string& value) {
    try {
        defaults_.set(key, value);
    } catch (const LocalizedError& error) {
        reportError_(error.what());
    }
    rebuild();
}

std::string SourceBar::Display::description() const {
    return name + "  ·  " + size;
}

void SourceBar::setMode(CaptureMode mode) {
    store(preference::captureMode, std::string(rawValue(mode)));
}

void SourceBar::chooseWindow(std::uint32_t id) {
    recorder_.chooseWindow(id);
    rebuild();
}

void SourceBar::chooseDisplay(std::uint32_t id) {
    display_ = id;
    recorder_.setSource(CaptureSource::area(id));
    rebuild();
}

void SourceBar::chooseAgain() {
    recorder_.forgetSharing();
    rebuild();
}

void SourceBar::record() {
    const Content& chosen = *content;
    if (chosen.missing || !chosen.enabled) return;
    switch (chosen.mode) {
        case CaptureMode::window:
            return recorder_.recordWindow();
        case CaptureMode::area:
            if (chosen.display) recorder_.setSource(CaptureSource::area(*chosen.display));
            return recorder_.record(CaptureMode::area);
        case CaptureMode::screen:
            return recorder_.record(CaptureMode::screen);
        case CaptureMode::audio:
            return recorder_.record(CaptureMode::audio);
        case CaptureMode::webcam:
            return recorder_.recordWebcam();
    }
}

}  // namespace lumicrate
