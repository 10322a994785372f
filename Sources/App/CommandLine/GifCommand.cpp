#include "App/CommandLine/GifCommand.h"

#include "App/CommandLine/CommandLine.h"
#include "App/CommandLine/LongWorkRunner.h"
#include "App/CommandLine/OptionParser.h"
#include "Linux/Desktop/FileManager.h"
#include "Linux/Media/Editing/Assets.h"
#include "Linux/Media/Images/ImageIO.h"
#include "Lumicrate/Library/FileNames.h"
#include "Lumicrate/Preview/GIFExporter.h"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace lumicrate::app {

namespace {

using Kind = OptionSpec::Kind;

constexpr std::array specs{
    OptionSpec{"width", Kind::value, "N", "The largest width in pixels, 16 to 4096; else 640."},
    OptionSpec{"fps", Kind::value, "N", "Frames a second, 1 to 50; else 12."},
    OptionSpec{"output", Kind::value, "FILE", "Where the GIF goes; else beside the movie."},
    OptionSpec{"help", Kind::flag, "", "Show this."},
};

/// Sets `target` to the whole number that an option gives, if it was given.
void readNumber(const ParsedOptions& parsed, std::string_view option, int least, int most, double& target) {
    const auto text = parsed.value(option);
    if (!text) return;
    int number = 0;
    const char* end = text->data() + text->size();
    const auto [stop, error] = std::from_chars(text->data(), end, number);
    if (error != std::errc{} || stop != end || number < least || number > most) {
        throw UsageError(
            fmt::format(fmt::runtime(localized("“{}” is no value for --{}: give a number from {} to {}.")),
                        *text, option, least, most));
    }
    target = number;
}

}  // namespace

int runGifCommand(const std::vector<std::string>& arguments) {
    const ParsedOptions parsed = parseOptions(specs, arguments);
    if (parsed.has("help")) {
        fmt::print("{}\n{}\n\n{}", localized("Usage: lumicrate gif FILE [OPTIONS]"),
                   localized("Makes an animated GIF of a recording, which loops forever."),
                   describeOptions(specs));
        return exitDone;
    }
    GIFSize size;
    readNumber(parsed, "width", 16, 4096, size.width);
    readNumber(parsed, "fps", 1, 50, size.fps);
    const std::filesystem::path movie = oneFile(parsed);
    std::filesystem::path gif = movie;
    gif = uniqueURL(desktop::FileManager(), gif.replace_extension("gif"));
    if (const auto output = parsed.value("output")) gif = *output;
    try {
        runLongWork(localized("Making GIF…"), [&](const LongWork& work) {
            exportGIF(media::Assets(), media::ImageIO(), movie, gif, size, work);
        });
    } catch (const LocalizedError& error) {
        throw PlatformError(localized("Couldn't make the GIF: ") + error.what());
    }
    fmt::print("{}\n", gif.string());
    return exitDone;
}

}  // namespace lumicrate::app
