// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Settings/SettingsModel.h"

#include "Lumicrate/Library/DerivedFiles.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Lumicrate/Replay/Replay.h"
#include "Lumicrate/Shell/AfterSave.h"
#include "Support/Error.h"
#include "Support/Text.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace lumicrate {

namespace {

/// Title and symbol, in the order of SettingsModel::Page.
constexpr std::array<std::pair<std::string_view, std::string_view>, 5> pageTexts = {
    {{translatable("General"), "gearshape"},
     {translatable("Video"), "film"},
     {translatable("Webcam"), "web.camera"},
     {translatable("Audio"), "waveform"},
     {translatable("Shortcuts"), "keyboard"}}};

/// All values of an enumeration in order, with their labels.
template <class Enumeration, std::size_t count>
ChoiceSetting enumerated(std::string_view key, std::string_view label, std::string_view caption,
                         const std::array<std::string_view, count>& labels, Enumeration fallback) {
    constexpr auto cases = allCases<Enumeration>();
    static_assert(cases.size() == count);
    ChoiceSetting setting{
        std::string(key), localized(label), localized(caption), {}, std::string(rawValue(fallback))};
    for (std::size_t i = 0; i < count; ++i)
        setting.choices.emplace_back(std::string(rawValue(cases[i])), localized(labels[i]));
    return setting;
}

SwitchSetting switched(std::string_view key, std::string_view label, std::string_view caption = "") {
    return {std::string(key), localized(label), localized(caption)};
}

/// The choices, and the stored value if it is another.
ChoiceSetting::Choices withStored(ChoiceSetting::Choices choices, const DefaultsValue& stored,
                                  std::string label) {
    const bool known =
        std::ranges::find(choices, stored, &ChoiceSetting::Choices::value_type::first) != choices.end();
    if (!known) choices.emplace_back(stored, std::move(label));
    return choices;
}

void publish(Published<ChoiceSetting::Choices>& target, ChoiceSetting::Choices choices) {
    if (choices != *target) target = std::move(choices);
}

std::string joined(const std::vector<std::string>& shortcuts) {
    std::string joined;
    for (const std::string& each : shortcuts)
        joined += (joined.empty() ? "" : ", ") + each;
    return joined;
}

/// One line for each reason. `missing` are those of `refused` whose key the keyboard lacks.
std::string unavailable(std::vector<std::string> refused, const std::vector<std::string>& missing) {
    std::erase_if(refused,
                  [&](const std::string& each) { return std::ranges::find(missing, each) != missing.end(); });
    std::string text;
    if (!refused.empty())
        text = localized("Another app is using {}. Pick a different shortcut.", {joined(refused)});
    if (missing.empty()) return text;
    if (!text.empty()) text += "\n";
    return text + localized("This keyboard has no key for {}. Pick a different shortcut.", {joined(missing)});
}

using State = HotKeyAssignment::State;

std::string symbolLegend() {
    return localized("⌃ is Ctrl, ⌥ is Alt, ⇧ is Shift, and ⌘ is Super, the key with a logo.");
}

/// "Start / stop: Ctrl+Shift+2", one line for each action.
std::string assignedKeys(const HotKeyAssignment& assignment) {
    std::string lines;
    for (const ShortcutAction action : allCases<ShortcutAction>()) {
        const auto found = assignment.triggers.find(purpose(action).name);
        if (found == assignment.triggers.end()) continue;
        lines +=
            "\n• " + label(action) + ": " +
            (found->second.empty() ? localized("see the keyboard settings of the desktop") : found->second);
    }
    return lines;
}

SettingsModel::ShortcutGuide guideFor(const HotKeyAssignment& assignment) {
    if (assignment.state == State::unavailable)
        return {true, assignment.reason + " " +
                          localized("In the keyboard settings of the desktop, you can assign keys to these "
                                    "commands while Lumicrate is running:")};
    std::string text =
        localized("These are the keys that Lumicrate asks for. The desktop decides which keys it assigns.");
    if (assignment.state == State::assigned) {
        const std::string keys = assignedKeys(assignment);
        text += keys.empty() ? " " + localized("It has assigned none; its keyboard settings can.")
                             : " " + localized("It has assigned:") + keys;
    }
    return {false, text + "\n\n" + symbolLegend()};
}

}  // namespace

SettingsModel::SettingsModel(Services services)
    : loginItem(services.loginService),
      neverRecorded(services.shortcuts.defaults, services.pickApplication),
      shortcutFields(services.shortcuts),
      shortcutGuide({false, localized("These work in every application.") + " " + symbolLegend()}),
      unavailableText(unavailable(*services.unavailableHotKeys, *services.missingHotKeys)),
      services_(std::move(services)) {
    recordingsFolder = displayPath(services_.recordings.folder(), services_.home);
    folderChanges_ = services_.recordings.current.observe([this](const std::filesystem::path& coming) {
        recordingsFolder = displayPath(coming, services_.home);
    });
    showMicrophones(*services_.microphones);
    microphoneChanges_ = services_.microphones.observe(
        [this](const std::vector<CaptureDevice>& connected) { showMicrophones(connected); });
    showCameras(*services_.cameras);
    cameraChanges_ = services_.cameras.observe(
        [this](const std::vector<CaptureDevice>& connected) { showCameras(connected); });
    showBubbleChoices();
    storeChanges_ = defaults().observe([this] {
        showMicrophones(*services_.microphones);
        showCameras(*services_.cameras);
        showBubbleChoices();
    });
    if (const auto* assignment = services_.shortcuts.hotKeys.assignment()) {
        hotKeyChanges_ =
            assignment->observe([this](const HotKeyAssignment& coming) { showAssignment(coming); });
        showAssignment(**assignment);
    } else {
        hotKeyChanges_ = services_.unavailableHotKeys.observe([this](const auto& refused) {
            unavailableText = unavailable(refused, *services_.missingHotKeys);
        });
    }
}

std::string SettingsModel::title(Page page) {
    return localized(pageTexts[static_cast<std::size_t>(page)].first);
}

std::string_view SettingsModel::symbolName(Page page) {
    return pageTexts[static_cast<std::size_t>(page)].second;
}

std::string SettingsModel::chooseRecordingsFolder(const std::filesystem::path& folder) {
    try {
        services_.recordings.choose(folder);
    } catch (const LocalizedError& error) {
        return error.what();
    }
    return {};
}

std::string SettingsModel::openRecordingsFolder() const {
    try {
        services_.openRecordingsFolder();
    } catch (const PlatformError& error) {
        return error.what();
    }
    return {};
}

SwitchSetting SettingsModel::countdown() {
    return switched(preference::countdown, translatable("3-second countdown"));
}

SwitchSetting SettingsModel::hideSelf() {
    return switched(preference::hideSelf, translatable("Hide Lumicrate in recordings"));
}

SwitchSetting SettingsModel::holdNotifications() {
    return switched(preference::holdNotifications, translatable("Hold back notifications while recording"),
                    translatable("Where the desktop offers that."));
}

SwitchSetting SettingsModel::openPreview() {
    return switched(preference::openPreview, translatable("Open preview after recording"));
}

SwitchSetting SettingsModel::notifyWhenSaved() {
    return switched(preference::notifyWhenSaved, translatable("Notify when a recording is saved"));
}

TextSetting SettingsModel::afterSave() {
    return {std::string(preference::afterSave), localized("Run after saving"),
            localized(
                "A program and its arguments. The recording is its last argument, or takes the place of {}."),
            localized("No program"), [](const std::string& text) -> std::string {
                try {
                    commandWords(text);
                    return {};
                } catch (const LocalizedError& error) {
                    return error.what();
                }
            }};
}

ChoiceSetting SettingsModel::replay() const {
    ChoiceSetting setting{
        std::string(preference::replaySeconds),
        localized("Keep the last seconds"),
        localized("What has just happened on the main display can then be saved with a shortcut or in the "
                  "tray’s menu. Until then it is kept in memory only, at most 256 MB of it."),
        {},
        std::int64_t{0}};
    for (const int seconds : replayChoices)
        setting.choices.emplace_back(
            std::int64_t{seconds},
            seconds == 0 ? localized("Off") : localized("{} seconds", {std::to_string(seconds)}));
    setting.available = services_.desktop.capturesUnasked;
    if (!setting.available) setting.caption = DesktopAbilities::replayNote();
    return setting;
}

std::optional<SwitchSetting> SettingsModel::checkForUpdates() const {
    if (!services_.checksForUpdates) return std::nullopt;
    return switched(preference::checkForUpdates, translatable("Check for updates automatically"),
                    translatable("Once a day. Nothing but the request itself is sent."));
}

ChoiceSetting SettingsModel::quality() {
    return enumerated(
        preference::quality, translatable("Resolution"),
        translatable("A screen or window with more lines is scaled down; nothing is ever enlarged."),
        std::array<std::string_view, 3>{translatable("As on the screen"), translatable("At most 1080 lines"),
                                        translatable("At most 720 lines")},
        RecordingOptions().quality);
}

ChoiceSetting SettingsModel::framesPerSecond() {
    ChoiceSetting setting{
        std::string(preference::fps),
        localized("Frames per second"),
        localized("60 keeps games and scrolling smooth. A still screen costs nothing at any rate."),
        {},
        std::int64_t{RecordingOptions().fps}};
    for (const int rate : {15, 24, 30, 60})
        setting.choices.emplace_back(std::int64_t{rate}, std::to_string(rate));
    return setting;
}

SwitchSetting SettingsModel::constantFrameRate() {
    return switched(
        preference::constantFrameRate, translatable("Constant frame rate"),
        translatable("For editors that can’t read variable frame rates. Then a still screen costs as well."));
}

ChoiceSetting SettingsModel::format() {
    return enumerated(
        preference::format, translatable("Format"),
        translatable("HEVC files are smaller, but take more work to record and play in fewer places."),
        std::array<std::string_view, 2>{translatable("MP4 (H.264)"), translatable("QuickTime (HEVC)")},
        RecordingOptions().format);
}

ChoiceSetting SettingsModel::encodingQuality() {
    return enumerated(preference::encodingQuality, translatable("Quality"),
                      translatable("Limits the file size of moving pictures. Maximum makes the largest "
                                   "files; still screens stay small with all three."),
                      std::array<std::string_view, 3>{translatable("Standard"), translatable("High"),
                                                      translatable("Maximum")},
                      RecordingOptions().encodingQuality);
}

SwitchSetting SettingsModel::showCursor() {
    return switched(preference::showCursor, translatable("Show the pointer"));
}

SwitchSetting SettingsModel::highlightClicks() const {
    SwitchSetting setting = switched(preference::highlightClicks, translatable("Highlight clicks"),
                                     translatable("Shows a ring wherever a mouse button is pressed."));
    setting.available = services_.desktop.seesClicks;
    if (!setting.available) setting.caption = DesktopAbilities::clicksNote();
    return setting;
}

SwitchSetting SettingsModel::recordsInputData() const {
    SwitchSetting setting = switched(
        preference::recordsInputData, translatable("Keep pointer and clicks as data"),
        translatable("The file then also says where the pointer was, what was clicked, and which pressed "
                     "keys were shown. Players ignore this, and it can be removed later."));
    setting.available = services_.desktop.seesClicks;
    if (!setting.available) setting.caption = DesktopAbilities::inputDataNote();
    return setting;
}

SwitchSetting SettingsModel::showKeys() const {
    SwitchSetting setting = switched(
        preference::showKeys, translatable("Show pressed keys"),
        translatable("Shortcuts such as Ctrl+S, and keys that type no text, appear in the recording."));
    setting.available = services_.desktop.seesKeys;
    if (!setting.available) setting.caption = DesktopAbilities::keysNote();
    return setting;
}

ChoiceSetting SettingsModel::keysPlace() {
    return enumerated(preference::keysPlace, translatable("Place of the keys"), "",
                      std::array<std::string_view, 6>{translatable("Bottom"), translatable("Bottom left"),
                                                      translatable("Bottom right"), translatable("Top"),
                                                      translatable("Top left"), translatable("Top right")},
                      RecordingOptions().keysPlace);
}

ChoiceSetting SettingsModel::keysSize() {
    return enumerated(
        preference::keysSize, translatable("Size of the keys"), "",
        std::array<std::string_view, 3>{translatable("Small"), translatable("Medium"), translatable("Large")},
        RecordingOptions().keysSize);
}

SwitchSetting SettingsModel::showTypedText() {
    return switched(preference::showTypedText, translatable("Show typed text too"),
                    translatable("Everything you type is then in the picture, passwords too."));
}

SwitchSetting SettingsModel::webcamEnabled() {
    return switched(
        preference::webcamEnabled, translatable("Show the webcam"),
        translatable(
            "A small camera picture on the screen, which is part of recordings. Drag it to move it."));
}

ChoiceSetting SettingsModel::camera() const {
    return {std::string(preference::webcamID), localized("Camera"),
            localized("When it is not connected, the default camera is used instead."), *cameras,
            std::string()};
}

ChoiceSetting SettingsModel::webcamShape() {
    return enumerated(preference::webcamShape, translatable("Shape"), "",
                      std::array<std::string_view, 3>{translatable("Circle"), translatable("Rounded"),
                                                      translatable("Rectangle")},
                      RecordingOptions().webcamShape);
}

ChoiceSetting SettingsModel::webcamWidth() const {
    return {std::string(preference::webcamWidth), localized("Size"),
            localized("For other sizes, drag the picture’s handle."), *webcamWidths,
            RecordingOptions().webcamWidth};
}

ChoiceSetting SettingsModel::webcamBorder() {
    return enumerated(preference::webcamBorder, translatable("Border"), "",
                      std::array<std::string_view, 4>{translatable("None"), translatable("Thin"),
                                                      translatable("Medium"), translatable("Thick")},
                      RecordingOptions().webcamBorder);
}

ChoiceSetting SettingsModel::webcamBorderColor() const {
    return {std::string(preference::webcamBorderColor),
            localized("Border color"),
            {},
            *webcamBorderColors,
            RecordingOptions().webcamBorderColor};
}

SwitchSetting SettingsModel::webcamMirror() {
    return switched(preference::webcamMirror, translatable("Mirror the picture"));
}

SwitchSetting SettingsModel::webcamMicLevel() {
    return switched(preference::webcamMicLevel, translatable("Show the microphone’s level"),
                    translatable("In the webcam’s picture and in the main window, while recording."));
}

SwitchSetting SettingsModel::captureSystemAudio() {
    return switched(preference::captureSystemAudio, translatable("Record system audio"),
                    translatable("All sound played by other programs."));
}

SwitchSetting SettingsModel::onlyApplicationAudio() {
    return switched(preference::onlyApplicationAudio, translatable("Only this application’s sound"),
                    translatable("When a window is recorded, the sound of other programs is left out."));
}

SwitchSetting SettingsModel::captureMicrophone() {
    return switched(preference::captureMicrophone, translatable("Record the microphone"));
}

SwitchSetting SettingsModel::cleanVoice() {
    return switched(
        preference::cleanVoice, translatable("Reduce the microphone’s noise"),
        translatable("When a recording is saved. The original track is kept, unless all are mixed."));
}

SwitchSetting SettingsModel::normalizeVoice() {
    return switched(
        preference::normalizeVoice, translatable("Normalize the voice’s loudness"),
        translatable("To −16 LUFS, as is usual for speech. Only together with the noise reduction."));
}

SwitchSetting SettingsModel::mixAudio() {
    return switched(preference::mixAudio, translatable("Mix into one audio track"),
                    translatable("Most players play only one track. Off keeps them separate for editing."));
}

ChoiceSetting SettingsModel::microphone() const {
    return {std::string(preference::microphoneID), localized("Microphone"),
            localized("When it is not connected, the system’s default is recorded instead."), *microphones,
            std::string()};
}

ChoiceSetting::Choices SettingsModel::deviceChoices(const std::vector<CaptureDevice>& connected,
                                                    std::string_view key, std::string_view isDefault,
                                                    std::string_view isMissing) const {
    ChoiceSetting::Choices choices = {{std::string(), localized(isDefault)}};
    for (const CaptureDevice& each : connected)
        choices.emplace_back(each.id, each.name);
    const std::string chosen = defaults().stringForKey(key).value_or("");
    if (!chosen.empty() && std::ranges::find(connected, chosen, &CaptureDevice::id) == connected.end())
        choices.emplace_back(chosen, localized(isMissing));
    return choices;
}

void SettingsModel::showMicrophones(const std::vector<CaptureDevice>& connected) {
    publish(microphones, deviceChoices(connected, preference::microphoneID, translatable("System default"),
                                       translatable("A microphone that is not connected")));
}

void SettingsModel::showCameras(const std::vector<CaptureDevice>& connected) {
    publish(cameras, deviceChoices(connected, preference::webcamID, translatable("Default camera"),
                                   translatable("A camera that is not connected")));
}

void SettingsModel::showBubbleChoices() {
    const double width = defaults().doubleForKey(preference::webcamWidth);
    publish(
        webcamWidths,
        withStored({{140.0, localized("Small")}, {200.0, localized("Medium")}, {280.0, localized("Large")}},
                   width, localized("{} points", {std::to_string(std::lround(width))})));
    const std::string color = defaults().stringForKey(preference::webcamBorderColor).value_or("");
    publish(webcamBorderColors, withStored({{std::string("#FFFFFF"), localized("White")},
                                            {std::string("#000000"), localized("Black")},
                                            {std::string("#FF3B30"), localized("Red")},
                                            {std::string("#FFCC00"), localized("Yellow")},
                                            {std::string("#30D158"), localized("Green")},
                                            {std::string("#007AFF"), localized("Blue")}},
                                           color, color));
}

void SettingsModel::showAssignment(const HotKeyAssignment& assignment) {
    if (ShortcutGuide guide = guideFor(assignment); guide != *shortcutGuide) shortcutGuide = std::move(guide);
    const bool refused = assignment.state == State::refused;
    unavailableText =
        refused ? assignment.reason + " " + localized("Change a shortcut to try again.") : std::string();
}

}  // namespace lumicrate
