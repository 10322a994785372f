#include "App/CommandLine/MixCommand.h"

#include "App/CommandLine/CommandLine.h"
#include "App/CommandLine/LongWorkRunner.h"
#include "App/CommandLine/OptionParser.h"
#include "Linux/Desktop/FileManager.h"
#include "Linux/Media/Editing/Assets.h"
#include "Lumicrate/Movie/AudioMixdown.h"

#include <fmt/format.h>

#include <array>

namespace lumicrate::app {

namespace {

constexpr std::array specs{OptionSpec{"help", OptionSpec::Kind::flag, "", "Show this."}};

}  // namespace

int runMixCommand(const std::vector<std::string>& arguments) {
    const ParsedOptions parsed = parseOptions(specs, arguments);
    if (parsed.has("help")) {
        fmt::print(
            "{}\n{}\n\n{}", localized("Usage: lumicrate mix FILE"),
            localized(
                "Mixes the audio tracks of a recording into one, in place. The pictures stay as they are."),
            describeOptions(specs));
        return exitDone;
    }
    const std::filesystem::path file = oneFile(parsed);
    const media::Assets assets;
    desktop::FileManager files;
    bool mixed = false;
    runLongWork(localized("Mixing…"),
                [&](const LongWork& work) { mixed = AudioMixdown::mixIfNeeded(assets, files, file, work); });
    if (!mixed) fmt::print(stderr, "lumicrate: {}\n", localized("There are no two audio tracks to mix."));
    fmt::print("{}\n", file.string());
    return exitDone;
}

}  // namespace lumicrate::app
