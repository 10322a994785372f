// SPDX-License-Identifier: GPL-3.0-or-later
// The command "complete", by which the completions of shells list the values of an option or argument. Each
// line is a value, a tab and its description.
#include "App/CommandLine/CommandLine.h"
#include "App/CommandLine/Listing.h"
#include "App/CommandLine/Preferences.h"
#include "App/CommandLine/Printing.h"
#include "App/CommandLine/ShellCompletion.h"
#include "Linux/Desktop/UserDefaults.h"
#include "Lumicrate/Capture/SourceLists.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Support/Text.h"

#include <fmt/format.h>

#include <algorithm>

namespace lumicrate::app {

namespace {

/// Leaves out a value that a shell could not insert as it is.
void offer(const std::string& value, const std::string& description) {
    if (value.empty() || onOneLine(value) != value) return;
    fmt::print("{}\t{}\n", value, onOneLine(description));
}

void offer(const std::vector<CaptureDevice>& devices) {
    for (const CaptureDevice& device : devices)
        offer(device.id, device.name);
}

void offerDisplays() {
    const Sources sources = findSources(Sources::Part::screens);
    for (const SCDisplay& display : sources.displays) {
        const bool isMain = display.displayID == sources.mainDisplayID;
        offer(std::to_string(display.displayID),
              fmt::format("{}  {}{}", display.localizedName, describe(display.frame),
                          isMain ? "  " + localized("(main)") : ""));
    }
}

void offerWindows() {
    for (const SCWindow& window : findSources(Sources::Part::screens).windows)
        offer(std::to_string(window.windowID),
              fmt::format("{}: {}", applicationName(window), window.title.value_or("")));
}

void offerPreferenceValues(std::string_view key) {
    const auto all = preferences();
    const auto found = std::ranges::find(all, key, &Preference::key);
    if (found == all.end()) return;
    if (key == preference::microphoneID) return offer(findSources(Sources::Part::devices).microphones);
    if (key == preference::webcamID) return offer(findSources(Sources::Part::devices).cameras);
    desktop::UserDefaults defaults;
    RecordingOptions::registerDefaults(defaults);
    const std::string now = found->read(defaults);
    std::vector<std::string> values = found->choices;
    if (found->kind == Preference::Kind::toggle) values = {"true", "false"};
    if (std::ranges::find(values, now) == values.end()) values.push_back(now);
    for (const std::string& value : values)
        offer(value, value == now ? localized("the present value") : "");
}

int runComplete(const ParsedOptions& parsed) {
    const auto& words = parsed.positional();
    const auto kind = words.empty() ? std::nullopt : liveKindNamed(words[0]);
    if (!kind) throw UsageError(localized("Give the kind of value to list."));
    switch (*kind) {
        case ValueKind::display:
            offerDisplays();
            break;
        case ValueKind::window:
            offerWindows();
            break;
        case ValueKind::microphone:
            offer(findSources(Sources::Part::devices).microphones);
            break;
        case ValueKind::camera:
            offer(findSources(Sources::Part::devices).cameras);
            break;
        case ValueKind::recording:
            for (const Recording& recording : findRecordings(/*durations=*/false))
                offer(recording.url.string(), shownDate(recording));
            break;
        case ValueKind::preference:
            for (const Preference& preference : preferences())
                offer(std::string(preference.key), preference.expected());
            break;
        case ValueKind::preferenceValue:
            if (words.size() > 1) offerPreferenceValues(words[1]);
            break;
        case ValueKind::other:
        case ValueKind::choice:
        case ValueKind::file:
            break;
    }
    return exitDone;
}

}  // namespace

constinit const Command completeCommand{
    "complete",
    translatable("List values for the completion of a shell."),
    "KIND [KEY]",
    translatable("Prints a line for each: the value, a tab and its description. A KIND is display, window, "
                 "microphone,\n"
                 "camera, recording, preference, or preferenceValue, which needs the preference's KEY."),
    {},
    runComplete};

}  // namespace lumicrate::app
