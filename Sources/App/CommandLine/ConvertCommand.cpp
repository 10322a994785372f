#include "App/CommandLine/ConvertCommand.h"

#include "App/CommandLine/CommandLine.h"
#include "App/CommandLine/LongWorkRunner.h"
#include "App/CommandLine/OptionParser.h"
#include "Linux/Desktop/FileManager.h"
#include "Linux/Media/Editing/Assets.h"
#include "Lumicrate/Movie/MovieConversion.h"

#include <fmt/format.h>

#include <array>

namespace lumicrate::app {

namespace {

constexpr std::array specs{OptionSpec{"help", OptionSpec::Kind::flag, "", "Show this."}};

}  // namespace

int runConvertCommand(const std::vector<std::string>& arguments) {
    const ParsedOptions parsed = parseOptions(specs, arguments);
    if (parsed.has("help")) {
        fmt::print(
            "{}\n{}\n\n{}", localized("Usage: lumicrate convert FILE"),
            localized("Makes an MP4 file of a recording, beside it and without encoding anything anew."),
            describeOptions(specs));
        return exitDone;
    }
    const std::filesystem::path file = oneFile(parsed);
    const media::Assets assets;
    desktop::FileManager files;
    std::filesystem::path converted;
    runLongWork(localized("Converting…"),
                [&](const LongWork& work) { converted = copyAsMP4(assets, files, file, work); });
    fmt::print("{}\n", converted.string());
    return exitDone;
}

}  // namespace lumicrate::app
