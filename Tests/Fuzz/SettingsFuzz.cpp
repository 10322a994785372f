// SPDX-License-Identifier: GPL-3.0-or-later
// Every preference can be read from any settings file, and a value accepted from the command line is read
// back unchanged. The first line of the input is that value, the rest the file.
#include "App/CommandLine/OptionParser.h"
#include "App/CommandLine/Preferences.h"
#include "Linux/Desktop/UserDefaults.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Tests/Fuzz/Check.h"
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
    return 0;
}
