// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Overlays/Selection/RecordOptionsBar.h"

#include "Support/Error.h"
#include "Support/Text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

namespace lumicrate {

namespace {

constexpr std::array frameRates = {15, 24, 30, 60};

std::string label(VideoQuality quality) {
    switch (quality) {
        case VideoQuality::p1080:
            return localized("1080p");
        case VideoQuality::p720:
            return localized("720p");
        case VideoQuality::native:
            break;
    }
    return localized("Native");
}

std::string rateLabel(int framesPerSecond) {
    return localized("{} fps", {std::to_string(framesPerSecond)});
}

std::string summary(VideoQuality quality, int framesPerSecond) {
    return label(quality) + " · " + rateLabel(framesPerSecond);
}

}  // namespace

RecordOptionsBar::RecordOptionsBar(NSUserDefaults& defaults, std::vector<CaptureDevice> microphones,
                                   ComplaintSink complain)
    : defaults_(defaults), microphones_(std::move(microphones)), complain_(std::move(complain)) {
    content = describe();
    changes_ = defaults_.observe([this] {
        Content next = describe();
        if (next != *content) content = std::move(next);
    });
}

RecordOptionsBar::Content RecordOptionsBar::describe() const {
    const RecordingOptions options = RecordingOptions::current(defaults_);
    const auto toggle = [](std::string_view key, bool isOn, std::string_view symbol, std::string_view off,
                           std::string_view name, std::string_view help, std::string_view offHelp) {
        return Toggle{key, isOn ? symbol : off, localized(name), localized(isOn ? help : offHelp), isOn};
    };
    Content now{summary(options.quality, options.fps), {}};
    now.toggles.push_back(toggle(preference::captureSystemAudio, options.captureSystemAudio,
                                 "speaker.wave.2.fill", "speaker.slash.fill", translatable("System audio"),
                                 translatable("System audio on"), translatable("System audio off")));
    now.toggles.push_back(toggle(preference::captureMicrophone, options.captureMicrophone, "mic.fill",
                                 "mic.slash.fill", translatable("Microphone"), translatable("Microphone on"),
                                 translatable("Microphone off")));
    now.toggles.push_back(toggle(preference::webcamEnabled, options.webcamEnabled, "video.fill",
                                 "video.slash.fill", translatable("Webcam"), translatable("Webcam on"),
                                 translatable("Webcam off")));
    return now;
}

void RecordOptionsBar::store(std::string_view key, const DefaultsValue& value) {
    try {
        defaults_.set(key, value);
    } catch (const LocalizedError& error) {
        complain_(error.what());
    }
}

void RecordOptionsBar::toggle(std::string_view key) {
    store(key, !defaults_.boolForKey(key));
}

std::string RecordOptionsBar::videoHelp() {
    return localized("Resolution and frame rate");
}

std::vector<std::string> RecordOptionsBar::summaries() {
    std::vector<std::string> all;
    for (const VideoQuality quality : allCases<VideoQuality>()) {
        for (const int rate : frameRates)
            all.push_back(summary(quality, rate));
    }
    return all;
}

MenuItem RecordOptionsBar::choice(std::string title, std::string_view key, DefaultsValue value,
                                  bool checked) {
    MenuItem item =
        MenuItem::command(std::move(title), [this, key, value = std::move(value)] { store(key, value); });
    item.checked = checked;
    return item;
}

std::vector<MenuItem> RecordOptionsBar::videoMenu() {
    const RecordingOptions options = RecordingOptions::current(defaults_);
    std::vector<MenuItem> items = {MenuItem::heading(localized("Resolution"))};
    for (const VideoQuality each : allCases<VideoQuality>()) {
        items.push_back(
            choice(label(each), preference::quality, std::string(rawValue(each)), each == options.quality));
    }
    items.push_back(MenuItem::heading(localized("Frame rate")));
    for (const int rate : frameRates)
        items.push_back(choice(rateLabel(rate), preference::fps, std::int64_t{rate}, rate == options.fps));
    return items;
}

std::string RecordOptionsBar::microphoneMenuHelp() {
    return localized("Choose a microphone");
}

std::vector<MenuItem> RecordOptionsBar::microphoneMenu() {
    std::vector<MenuItem> items = {MenuItem::heading(localized("Microphone"))};
    if (microphones_.empty()) {
        items.push_back(MenuItem::command(localized("No Microphone"), nullptr, false));
        return items;
    }
    const std::string stored = RecordingOptions::current(defaults_).microphoneID;
    const bool known = std::ranges::find(microphones_, stored, &CaptureDevice::id) != microphones_.end();
    items.push_back(choice(localized("System Default"), preference::microphoneID, std::string(), !known));
    for (const CaptureDevice& each : microphones_)
        items.push_back(choice(each.name, preference::microphoneID, each.id, each.id == stored));
    return items;
}

}  // namespace lumicrate
