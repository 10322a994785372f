#include "App/CommandLine/SettingsCommand.h"

#include "App/CommandLine/CommandLine.h"
#include "App/CommandLine/OptionParser.h"
#include "App/CommandLine/Preferences.h"
#include "Linux/Desktop/UserDefaults.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Support/Text.h"

#include <fmt/format.h>

#include <array>

namespace lumicrate::app {

namespace {

constexpr std::array specs{OptionSpec{"help", OptionSpec::Kind::flag, "", "Show this."}};

void printHelp() {
    fmt::print("{}\n{}\n\n", localized("Usage: lumicrate settings [KEY [VALUE]]"),
               localized("Shows all preferences, or one; with a value, stores it."));
    for (const Preference& each : preferences())
        fmt::print("  {:<20}{}\n", each.key, each.wanted());
}

}  // namespace

int runSettingsCommand(const std::vector<std::string>& arguments) {
    const ParsedOptions parsed = parseOptions(specs, arguments);
    if (parsed.has("help")) {
        printHelp();
        return exitDone;
    }
    const auto& words = parsed.positional();
    if (words.size() > 2) throw UsageError(localized("Give one key and one value."));

    desktop::UserDefaults defaults;
    RecordingOptions::registerDefaults(defaults);
    if (words.empty()) {
        for (const Preference& each : preferences())
            fmt::print("{:<20}{}\n", each.key, each.read(defaults));
    } else if (words.size() == 1) {
        fmt::print("{}\n", findPreference(words[0]).read(defaults));
    } else {
        const Preference& preference = findPreference(words[0]);
        defaults.set(preference.key, preference.parse(words[1]));
    }
    return exitDone;
}

}  // namespace lumicrate::app
