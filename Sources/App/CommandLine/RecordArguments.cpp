// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/CommandLine/RecordArguments.h"

#include "App/CommandLine/CommandLine.h"
#include "Lumicrate/Capture/NeverRecorded.h"
#include "Lumicrate/Shell/AfterSave.h"
#include "Support/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>

namespace lumicrate::app {

namespace {

using Kind = OptionSpec::Kind;

constexpr std::array<std::string_view, 4> frameRates{"15", "24", "30", "60"};

constexpr std::array specs{
    OptionSpec{"screen", Kind::optionalValue, "ID",
               translatable("Record a whole screen: the main one, or the one of this number or name."),
               ValueKind::display},
    OptionSpec{"window", Kind::optionalValue, "ID",
               translatable("Record only this window, even where others cover it; “lumicrate sources” lists "
                            "them. On Wayland without ID: choose it in the desktop's dialog."),
               ValueKind::window},
    OptionSpec{"area", Kind::value, "X,Y,W,H",
               translatable("Record this part of the desktop, in points from its top left corner.")},
    OptionSpec{
        "webcam", Kind::optionalValue, "ID",
        translatable(
            "Record a camera alone: the one in the preferences, or the one of this identifier or name."),
        ValueKind::camera},
    OptionSpec{"audio", Kind::flag, "", translatable("Record sound only.")},
    OptionSpec{"with-webcam", Kind::optionalValue, "ID",
               translatable("Show a camera in a bubble on the screen, and record it with the screen."),
               ValueKind::camera},
    OptionSpec{"duration", Kind::value, "S", translatable("Stop after this many seconds.")},
    OptionSpec{"output", Kind::value, "FILE",
               translatable("Write this file, instead of one in the recordings folder."), ValueKind::file},
    OptionSpec{"after-save", Kind::value, "COMMAND",
               translatable("Run this program, with the file as its last argument or in place of {}.")},
    OptionSpec{"json", Kind::flag, "", translatable("Print the result as JSON, for programs.")},
    OptionSpec{"quality", Kind::value, "Q", translatable("Picture size: native, p1080 or p720."),
               ValueKind::choice, RawValues<VideoQuality>::names},
    OptionSpec{"fps", Kind::value, "N", translatable("Frames per second: 15, 24, 30 or 60."),
               ValueKind::choice, frameRates},
    OptionSpec{
        "constant-frame-rate", Kind::negatable, "",
        translatable("A picture at every interval, for editors that can't read variable frame rates.")},
    OptionSpec{"format", Kind::value, "F", translatable("mp4H264 or movHEVC."), ValueKind::choice,
               RawValues<OutputFormat>::names},
    OptionSpec{"encoding-quality", Kind::value, "Q", translatable("Bit rate: standard, high or maximum."),
               ValueKind::choice, RawValues<EncodingQuality>::names},
    OptionSpec{"system-audio", Kind::negatable, "", translatable("What the computer plays.")},
    OptionSpec{"application-audio", Kind::negatable, "",
               translatable("Of that, only the sound of the recorded window's program.")},
    OptionSpec{"microphone", Kind::negatableWithValue, "ID",
               translatable("A microphone: the default one, or the one of this identifier."),
               ValueKind::microphone},
    OptionSpec{"clean-voice", Kind::negatable, "",
               translatable("Reduce the noise of the microphone after recording; its original track is kept "
                            "unless both are mixed.")},
    OptionSpec{"normalize-voice", Kind::negatable, "",
               translatable("And make the voice as loud as usual, -16 LUFS.")},
    OptionSpec{"mix-audio", Kind::negatable, "",
               translatable("One audio track for both, instead of one each.")},
    OptionSpec{"cursor", Kind::negatable, "", translatable("The mouse pointer.")},
    OptionSpec{"clicks", Kind::negatable, "", translatable("A ring around each mouse click.")},
    OptionSpec{"keys", Kind::negatable, "",
               translatable("Pressed shortcuts and keys that type no text, such as F5.")},
    OptionSpec{"input-data", Kind::negatable, "",
               translatable("The pointer's positions, clicks and shown keys, as data in the file that "
                            "players ignore.")},
    OptionSpec{"cover", Kind::value, "X,Y,W,H;…",
               translatable("Fill these parts of the desktop with a plain colour, in points as --area.")},
    OptionSpec{"never-record", Kind::value, "CLASS,…",
               translatable("Leave out all windows of these applications, as “lumicrate sources” names them, "
                            "and of those in the preferences; an empty list leaves none out.")},
    OptionSpec{"countdown", Kind::negatable, "", translatable("Count down from three first.")},
    backendOption,
    OptionSpec{"portal-token", Kind::value, "TOKEN",
               translatable("Through the portal: restore what this token was given for; the next one is "
                            "printed on standard error.")},
};

std::optional<Rect> readArea(std::string_view text) {
    std::array<double, 4> numbers{};
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const std::size_t comma = text.find(',');
        if ((comma == std::string_view::npos) != (i + 1 == numbers.size())) return std::nullopt;
        const auto number = readNumber(text.substr(0, comma));
        if (!number) return std::nullopt;
        numbers[i] = *number;
        text.remove_prefix(comma == std::string_view::npos ? text.size() : comma + 1);
    }
    if (numbers[2] < 1 || numbers[3] < 1) return std::nullopt;
    return Rect{numbers[0], numbers[1], numbers[2], numbers[3]};
}

/// Decimal, or hexadecimal with 0x, as most X11 tools print it.
std::optional<std::uint32_t> readWindowNumber(std::string_view text) {
    const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
    if (isHexadecimal) text.remove_prefix(2);
    std::uint32_t number = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), number, isHexadecimal ? 16 : 10);
    if (error != std::errc{} || end != text.data() + text.size() || number == 0) return std::nullopt;
    return number;
}

/// Sets `target` to the enumeration value that an option names, if the option was given.
template <class Enumeration>
void readEnumeration(const ParsedOptions& parsed, std::string_view option, std::string_view expected,
                     Enumeration& target) {
    const auto text = parsed.value(option);
    if (!text) return;
    const auto found = fromRawValue<Enumeration>(*text);
    if (!found) throwInvalidValue(option, *text, localized(expected));
    target = *found;
}

void readFps(const ParsedOptions& parsed, int& fps) {
    const auto text = parsed.value("fps");
    if (!text) return;
    if (std::ranges::find(frameRates, *text) == frameRates.end())
        throwInvalidValue("fps", *text, localized("15, 24, 30 or 60"));
    fps = std::stoi(*text);
}

void readSwitch(const ParsedOptions& parsed, std::string_view option, bool& target) {
    target = parsed.isOn(option).value_or(target);
}

void readWindow(const ParsedOptions& parsed, RecordArguments& request) {
    const auto number = parsed.value("window");
    if (!number) return;
    const auto window = readWindowNumber(*number);
    if (!window) throwInvalidValue("window", *number, localized("a number, such as 25165835 or 0x180000b"));
    request.window = *window;
}

void readSource(const ParsedOptions& parsed, std::optional<CaptureMode> storedMode,
                RecordArguments& request) {
    constexpr std::array<std::string_view, 5> sources{"screen", "window", "area", "webcam", "audio"};
    const auto given = std::ranges::count_if(sources, [&](auto source) { return parsed.has(source); });
    if (given > 1)
        throw UsageError(localized("Give only one of --screen, --window, --area, --webcam and --audio."));
    const bool storedAudio = !parsed.has("screen") && storedMode == CaptureMode::audio;
    if (const auto text = parsed.value("area")) {
        const auto area = readArea(*text);
        if (!area)
            throwInvalidValue("area", *text,
                              localized("X,Y,WIDTH,HEIGHT in points, the size at least 1 × 1"));
        request.mode = RecordArguments::Mode::area;
        request.area = *area;
    } else if (parsed.has("window")) {
        request.mode = RecordArguments::Mode::window;
        readWindow(parsed, request);
    } else if (parsed.has("webcam")) {
        request.mode = RecordArguments::Mode::webcam;
        request.camera = parsed.value("webcam");
    } else if (parsed.has("audio") || storedAudio) {
        request.mode = RecordArguments::Mode::audio;
    }
    if (parsed.has("with-webcam")) {
        if (request.mode == RecordArguments::Mode::webcam || request.mode == RecordArguments::Mode::audio)
            throw UsageError(localized("--with-webcam is for recordings of the screen."));
        request.camera = parsed.value("with-webcam");
    }
    request.options.webcamEnabled = parsed.has("with-webcam");
    request.screen = parsed.value("screen");
}

/// In points of the desktop until the display is known. Rectangles are separated by semicolons or blanks.
void readCovers(const ParsedOptions& parsed, RecordArguments& request) {
    const auto text = parsed.value("cover");
    if (!text) return;
    if (request.mode != RecordArguments::Mode::screen && request.mode != RecordArguments::Mode::area)
        throw UsageError(localized("--cover is for recordings of a screen or an area."));
    std::string_view left = *text;
    while (!left.empty()) {
        const std::size_t end = std::min(left.find_first_of("; "), left.size());
        if (const std::string_view each = left.substr(0, end); !each.empty()) {
            const auto cover = readArea(each);
            if (!cover || request.options.covers.size() == maxCovers)
                throwInvalidValue("cover", *text,
                                  localized("up to {} times X,Y,WIDTH,HEIGHT in points, separated by “;”",
                                            {std::to_string(maxCovers)}));
            request.options.covers.push_back(*cover);
        }
        left.remove_prefix(std::min(end + 1, left.size()));
    }
}

/// An empty list replaces that of the preferences.
void readNeverRecorded(const ParsedOptions& parsed, std::vector<std::string>& classes) {
    const auto text = parsed.value("never-record");
    if (!text) return;
    const std::vector<std::string> given = readClasses(*text);
    classes = given.empty() ? given : readClasses(joinedClasses(classes) + "," + *text);
}

void readApplicationAudio(const ParsedOptions& parsed, RecordArguments& request) {
    readSwitch(parsed, "application-audio", request.options.onlyApplicationAudio);
    if (parsed.isOn("application-audio") != true) return;
    if (request.mode != RecordArguments::Mode::window)
        throw UsageError(localized("--application-audio is for recordings of a window: add --window."));
    if (parsed.isOn("system-audio") == false)
        throw UsageError(localized("--application-audio and --no-system-audio exclude each other."));
    request.options.captureSystemAudio = true;
}

void readSound(const ParsedOptions& parsed, SoundChoices& sound) {
    sound.mixes = parsed.isOn("mix-audio");
    sound.cleansVoice = parsed.isOn("clean-voice");
    sound.normalizesVoice = parsed.isOn("normalize-voice");
    if (sound.normalizesVoice != true) return;
    if (sound.cleansVoice == false)
        throw UsageError(localized("--normalize-voice and --no-clean-voice exclude each other."));
    sound.cleansVoice = true;
}

}  // namespace

std::span<const OptionSpec> recordOptionSpecs() {
    return specs;
}

RecordArguments readRecordArguments(const ParsedOptions& parsed, const RecordingOptions& stored,
                                    std::optional<CaptureMode> storedMode) {
    refusePositional(parsed);
    RecordArguments request;
    request.options = stored;
    readSource(parsed, storedMode, request);

    RecordingOptions& options = request.options;
    readEnumeration(parsed, "quality", translatable("native, p1080 or p720"), options.quality);
    readEnumeration(parsed, "format", translatable("mp4H264 or movHEVC"), options.format);
    readEnumeration(parsed, "encoding-quality", translatable("standard, high or maximum"),
                    options.encodingQuality);
    readFps(parsed, options.fps);
    readSwitch(parsed, "constant-frame-rate", options.constantFrameRate);
    readSwitch(parsed, "system-audio", options.captureSystemAudio);
    readSwitch(parsed, "microphone", options.captureMicrophone);
    readSwitch(parsed, "cursor", options.showCursor);
    readSwitch(parsed, "clicks", options.highlightClicks);
    readSwitch(parsed, "keys", options.showKeys);
    readSwitch(parsed, "input-data", options.recordsInputData);
    readSwitch(parsed, "countdown", options.countdown);
    readCovers(parsed, request);
    readNeverRecorded(parsed, options.neverRecorded);
    const bool hasScreen =
        request.mode != RecordArguments::Mode::webcam && request.mode != RecordArguments::Mode::audio;
    if (!hasScreen) options.highlightClicks = options.showKeys = false;
    if (request.mode == RecordArguments::Mode::webcam) {
        if (parsed.isOn("system-audio") == true)
            throw UsageError(localized("A webcam is recorded without system audio."));
        options.captureSystemAudio = false;
    }
    if (parsed.isOn("microphone") == true) options.microphoneID = parsed.value("microphone").value_or("");
    readApplicationAudio(parsed, request);
    request.portalToken = parsed.value("portal-token");
    readSound(parsed, request.sound);
    request.systemAudioRequired =
        parsed.isOn("system-audio") == true || parsed.isOn("application-audio") == true;
    request.microphoneRequired = parsed.isOn("microphone") == true;

    if (const auto text = parsed.value("duration")) {
        const auto seconds = readNumber(*text);
        constexpr double maxDuration = 30.0 * 24 * 3600;
        if (!seconds || *seconds <= 0 || *seconds > maxDuration)
            throwInvalidValue("duration", *text,
                              localized("a number of seconds above 0, up to 2592000 (30 days)"));
        request.duration = seconds;
    }
    if (request.afterSave = parsed.value("after-save"); request.afterSave) {
        try {
            commandWords(*request.afterSave);
        } catch (const LocalizedError& error) {
            throw UsageError(error.what());
        }
    }
    if (const auto file = parsed.value("output")) {
        if (file->empty()) throwInvalidValue("output", *file, localized("a file name"));
        request.output = std::filesystem::absolute(*file);
    }
    return request;
}

SCDisplay findDisplay(const std::vector<SCDisplay>& displays, const ScreenName& name,
                      std::uint32_t mainDisplayID) {
    const auto matches = [&](const SCDisplay& display) {
        if (!name) return display.displayID == mainDisplayID;
        return *name == display.localizedName || *name == display.connector ||
               *name == std::to_string(display.displayID);
    };
    const auto found = std::find_if(displays.begin(), displays.end(), matches);
    if (found != displays.end()) return *found;
    if (name) {
        throw LocalizedError(
            localized("There is no screen “{}”. “lumicrate sources” lists the screens.", {*name}));
    }
    if (displays.empty()) throw LocalizedError(localized("No display is available to record."));
    return displays.front();
}

std::string findCamera(const std::vector<CaptureDevice>& cameras, const std::string& name) {
    const auto found = std::ranges::find_if(
        cameras, [&](const CaptureDevice& camera) { return camera.id == name || camera.name == name; });
    if (found != cameras.end()) return found->id;
    throw LocalizedError(
        localized("There is no camera “{}”. “lumicrate sources” lists the cameras.", {name}));
}

void requireWindow(const std::vector<SCWindow>& windows, std::uint32_t windowID) {
    if (std::ranges::find(windows, windowID, &SCWindow::windowID) != windows.end()) return;
    throw LocalizedError(
        localized("There is no window {} on the screen. “lumicrate sources” lists the windows.",
                  {std::to_string(windowID)}));
}

void checkOutput(const std::filesystem::path& output) {
    if (std::filesystem::exists(std::filesystem::symlink_status(output))) {
        throw LocalizedError(localized("“{}” already exists.", {output.string()}));
    }
    if (!std::filesystem::is_directory(output.parent_path())) {
        throw LocalizedError(localized("There is no folder “{}”.", {output.parent_path().string()}));
    }
}

PlacedArea placeArea(const std::vector<SCDisplay>& displays, const Rect& area) {
    const auto overlap = [&](const SCDisplay& display) { return display.frame.intersection(area).area(); };
    const auto best =
        std::max_element(displays.begin(), displays.end(),
                         [&](const SCDisplay& a, const SCDisplay& b) { return overlap(a) < overlap(b); });
    if (best == displays.end()) throw LocalizedError(localized("No display is available to record."));
    const Rect visible = best->frame.intersection(area);
    if (visible.width < 1 || visible.height < 1)
        throw LocalizedError(localized("The area lies off the screen."));
    return {best->displayID, visible.offsetBy(-best->frame.x, -best->frame.y)};
}

void placeCovers(const std::vector<SCDisplay>& displays, std::uint32_t displayID, std::vector<Rect>& covers) {
    const auto display = std::ranges::find(displays, displayID, &SCDisplay::displayID);
    if (display == displays.end()) return;
    for (Rect& each : covers)
        each = each.intersection(display->frame).offsetBy(-display->frame.x, -display->frame.y);
    std::erase_if(covers, [](const Rect& each) { return each.isEmpty(); });
}

}  // namespace lumicrate::app
