// SPDX-License-Identifier: GPL-3.0-or-later
// Every preference can be read from any settings file, a value accepted from the command line is read back
// unchanged, and any text is a valid name of a file or none. The first line of the input is the text, the
// rest the file.
#include "App/CommandLine/OptionParser.h"
#include "App/CommandLine/Preferences.h"
#include "Linux/Desktop/UserDefaults.h"
#include "Lumicrate/Library/DerivedFiles.h"
#include "Lumicrate/Preview/RecordingFiles.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Support/Geometry.h"
#include "Tests/Fuzz/Mutations.h"
#include "Tests/Linux/TemporaryFolder.h"

#include <QString>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>

namespace lumicrate::fuzz {

namespace {

const std::filesystem::path& settingsFile() {
    static const test::TemporaryFolder folder("/dev/shm");
    static const std::filesystem::path file = folder / "lumicrate.conf";
    return file;
}

void checkReading(const desktop::UserDefaults& defaults) {
    for (const app::Preference& each : app::preferences()) {
        (void)each.read(defaults);
        (void)defaults.boolForKey(each.key);
        (void)defaults.integerForKey(each.key);
        check(std::isfinite(defaults.doubleForKey(each.key)), "numbers are finite");
    }
    (void)RecordingOptions::current(defaults);
}

/// The text is refused with a sentence, or stored and read back.
void checkWriting(desktop::UserDefaults& defaults, const std::string& text) {
    for (const app::Preference& each : app::preferences()) {
        try {
            const DefaultsValue value = each.parse(text);
            if (const auto* number = std::get_if<double>(&value))
                check(*number >= each.min && *number <= each.max, "numbers lie within their limits");
        } catch (const app::UsageError& error) {
            check(std::string_view(error.what()).size() > text.size(),
                  "the sentence quotes what was refused");
        }
    }
    // Settings are text.
    if (QString::fromStdString(text).toStdString() != text) return;
    defaults.set(preference::microphoneID, text);
    const desktop::UserDefaults reader(settingsFile());
    check(reader.stringForKey(preference::microphoneID) == text, "a text is read as stored");
}

void checkName(std::string_view typed) {
    const std::string name = cleanedName(typed);
    check(name.size() <= typed.size(), "a name does not grow");
    check(name.find_first_of(std::string_view("/:\0", 3)) == std::string::npos, "it has no separators");
    check(cleanedName(name) == name, "a clean name is unchanged");
    if (name.empty()) return;
    const std::filesystem::path path = std::filesystem::path("/folder") / (name + ".mp4");
    check(path.parent_path() == "/folder" && lowercaseExtension(path) == "mp4", "it stays in its folder");
}

void checkRectangle(std::string_view text) {
    const auto rect = rectFromString(text);
    if (!rect) return;
    for (const double each : {rect->x, rect->y, rect->width, rect->height})
        check(std::isfinite(each), "every number is finite");
    check(rectFromString(stringFromRect(*rect)) == rect, "a rectangle is read as written");
}

}  // namespace

}  // namespace lumicrate::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace lumicrate;
    const auto* end = data + size;
    // Arguments of a program contain no zero bytes.
    const auto* line = std::find_if(data, end, [](std::uint8_t each) { return each == '\n' || each == 0; });
    const std::string value(data, line);
    std::ofstream(fuzz::settingsFile(), std::ios::binary)
        .write(reinterpret_cast<const char*>(line), end - line);
    desktop::UserDefaults defaults(fuzz::settingsFile());
    RecordingOptions::registerDefaults(defaults);
    fuzz::checkReading(defaults);
    fuzz::checkWriting(defaults, value);
    fuzz::checkName(value);
    fuzz::checkRectangle(value);
    return 0;
}
