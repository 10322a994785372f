// SPDX-License-Identifier: GPL-3.0-or-later
// The commands that make something of a finished movie: trim, gif, share, zoom, mix, clean-voice and convert.
#include "App/CommandLine/CommandLine.h"
#include "App/CommandLine/LongCommand.h"
#include "Linux/Desktop/FileManager.h"
#include "Linux/Media/Editing/Assets.h"
#include "Linux/Media/Editing/CompactExport.h"
#include "Linux/Media/Editing/InputMovie.h"
#include "Linux/Media/Editing/VideoCompositionExport.h"
#include "Linux/Media/Images/ImageIO.h"
#include "Lumicrate/Library/DerivedFiles.h"
#include "Lumicrate/Movie/AudioMixdown.h"
#include "Lumicrate/Movie/MovieConversion.h"
#include "Lumicrate/Movie/VoiceCleaning.h"
#include "Lumicrate/Preview/FittedGIF.h"
#include "Lumicrate/Preview/GIFExporter.h"
#include "Lumicrate/Preview/SmallCopy.h"
#include "Lumicrate/Preview/Trimming.h"
#include "Lumicrate/Zoom/ZoomedCopy.h"
#include "Support/Error.h"
#include "Support/LongWork.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <exception>
#include <filesystem>

namespace lumicrate::app {

namespace {

using Kind = OptionSpec::Kind;
using Path = std::filesystem::path;

constexpr std::array recordingOperand{ValueKind::recording};

int printPath(const Path& file) {
    fmt::print("{}\n", file.string());
    return exitDone;
}

/// What the option "output" says; empty without it.
Path outputFile(const ParsedOptions& parsed) {
    const Path output = parsed.value("output").value_or("");
    if (parsed.has("output") && output.empty()) throwInvalidValue("output", "", localized("a file name"));
    return output;
}

int runMix(const ParsedOptions& parsed) {
    const Path file = oneFile(parsed);
    desktop::FileManager files;
    bool mixed = false;
    runLongWork(localized("Mixing…"), [&](const LongWork& work) {
        mixed = AudioMixdown::mixIfNeeded(media::Assets(), files, file, work);
        // Nothing was read but the head, which says nothing of a movie that is cut off. This throws for one.
        if (!mixed) const media::InputMovie whole(file, media::InputMovie::Look::atHead);
    });
    if (!mixed)
        fmt::print(stderr, "lumicrate: {}\n", localized("The recording has fewer than two audio tracks."));
    return printPath(file);
}

constexpr std::array cleanVoiceOptions{
    OptionSpec{"normalize", Kind::flag, "", translatable("Also make the voice as loud as usual, -16 LUFS.")},
    OptionSpec{"output", Kind::value, "FILE",
               translatable("Write this file, instead of changing the recording."), ValueKind::file},
};

int runCleanVoice(const ParsedOptions& parsed) {
    const Path movie = oneFile(parsed);
    const Path output = outputFile(parsed);
    const bool normalizes = parsed.has("normalize");
    desktop::FileManager files;
    try {
        runLongWork(localized("Cleaning the voice…"), [&](const LongWork& work) {
            const media::Assets assets;
            if (output.empty()) {
                VoiceCleaning::clean(assets, files, movie, normalizes, work);
            } else {
                VoiceCleaning::saveCleaned(assets, movie, output, normalizes, work);
            }
        });
    } catch (const VoiceCleaningError& error) {
        const bool isDone = error.which() == VoiceCleaningError::alreadyClean && output.empty();
        if (!isDone) throw;
        fmt::print(stderr, "lumicrate: {}\n", error.what());
    }
    return printPath(output.empty() ? movie : output);
}

constexpr std::array convertOptions{
    OptionSpec{"replace", Kind::flag, "", translatable("Delete the original.")},
};

int runConvert(const ParsedOptions& parsed) {
    const Path file = oneFile(parsed);
    desktop::FileManager files;
    Path converted;
    const auto convert = parsed.has("replace") ? convertToMP4 : copyAsMP4;
    runLongWork(localized("Converting…"),
                [&](const LongWork& work) { converted = convert(media::Assets(), files, file, work); });
    return printPath(converted);
}

constexpr std::array<std::string_view, 2> animationNames{"gif", "webp"};

constexpr std::array gifOptions{
    OptionSpec{"width", Kind::value, "N",
               translatable("The largest width in pixels, 16 to 4096; 640 by default.")},
    OptionSpec{"fps", Kind::value, "N", translatable("Frames per second, 1 to 50; 12 by default.")},
    OptionSpec{
        "max-size", Kind::value, "SIZE",
        translatable("Stay just below this size, such as 8MB. The width, the frames per second and the "
                     "colors are chosen for that; --width and --fps are the most they may be.")},
    OptionSpec{"format", Kind::value, "F",
               translatable("gif or webp; by default, what the name of the file says, or else gif."),
               ValueKind::choice, animationNames},
    OptionSpec{"output", Kind::value, "FILE",
               translatable("Write this file, instead of one beside the movie."), ValueKind::file},
};

AnimationEncoding::Format animationFormat(const ParsedOptions& parsed, const Path& file) {
    const std::string name =
        parsed.value("format").value_or(lowercaseExtension(file) == "webp" ? "webp" : "gif");
    if (std::ranges::find(animationNames, name) == animationNames.end())
        throwInvalidValue("format", name, localized("gif or webp"));
    return name == "webp" ? AnimationEncoding::Format::webp : AnimationEncoding::Format::gif;
}

int runGif(const ParsedOptions& parsed) {
    const auto maxBytes = readSizeOption(parsed, "max-size");
    GIFSize size = maxBytes ? maxFittedSize : GIFSize();
    size.width = readIntegerOption(parsed, "width", 16, 4096).value_or(size.width);
    size.fps = readIntegerOption(parsed, "fps", 1, 50).value_or(size.fps);
    const Path movie = oneFile(parsed);
    Path gif = outputFile(parsed);
    size.encoding.format = animationFormat(parsed, gif);
    const bool isWebP = size.encoding.format == AnimationEncoding::Format::webp;
    desktop::FileManager files;
    try {
        runLongWork(isWebP ? localized("Making WebP…") : localized("Making GIF…"), [&](const LongWork& work) {
            if (gif.empty()) gif = uniqueURL(files, Path(movie).replace_extension(isWebP ? "webp" : "gif"));
            if (maxBytes) {
                exportFittedGIF(media::Assets(), media::ImageIO(), files, movie, gif, size, *maxBytes, work);
            } else {
                exportGIF(media::Assets(), media::ImageIO(), movie, gif, size, work);
            }
        });
    } catch (const LocalizedError& error) {
        throw PlatformError(
            (isWebP ? localized("Couldn't make the WebP: ") : localized("Couldn't make the GIF: ")) +
            error.what());
    }
    return printPath(gif);
}

constexpr std::array shareOptions{
    OptionSpec{"max-size", Kind::value, "SIZE",
               translatable("Stay just below this size, such as 25MB; 8MB by default.")},
    OptionSpec{"output", Kind::value, "FILE",
               translatable("Write this file, instead of one beside the movie."), ValueKind::file},
};

int runShare(const ParsedOptions& parsed) {
    constexpr std::uint64_t usualSize = 8'000'000;
    const std::uint64_t maxBytes = readSizeOption(parsed, "max-size").value_or(usualSize);
    const Path movie = oneFile(parsed);
    const Path wanted = outputFile(parsed);
    desktop::FileManager files;
    Path saved;
    try {
        runLongWork(localized("Making a small copy…"), [&](const LongWork& work) {
            const media::Assets assets;
            const media::CompactExport exporter;
            saved = SmallCopy(assets, exporter, files).save(movie, wanted, maxBytes, work);
        });
    } catch (const LocalizedError& error) {
        throw PlatformError(localized("Couldn't make the small copy: ") + error.what());
    }
    return printPath(saved);
}

constexpr std::array zoomOptions{
    OptionSpec{"scale", Kind::value, "N", translatable("How much larger, 1.1 to 4; 2 by default.")},
    OptionSpec{
        "hold", Kind::value, "S",
        translatable("How long the part stays enlarged after a click, in seconds, 0.5 to 60; 2 by default.")},
    OptionSpec{"output", Kind::value, "FILE",
               translatable("Write this file, instead of one beside the movie."), ValueKind::file},
};

int runZoom(const ParsedOptions& parsed) {
    ZoomStyle style;
    style.scale = readNumberOption(parsed, "scale", 1.1, ZoomBlock::maxScale).value_or(style.scale);
    style.hold = readNumberOption(parsed, "hold", 0.5, 60).value_or(style.hold);
    const Path movie = oneFile(parsed);
    const Path wanted = outputFile(parsed);
    desktop::FileManager files;
    Path saved;
    try {
        runLongWork(localized("Making a zoomed copy…"), [&](const LongWork& work) {
            const media::VideoCompositionExport exporter;
            const ZoomPlan plan = zoomPlanOf(media::Assets(), movie, style);
            saved = ZoomedCopy(exporter, files).save(movie, wanted, plan, work);
        });
    } catch (const LocalizedError& error) {
        throw PlatformError(localized("Couldn't make the zoomed copy: ") + error.what());
    }
    return printPath(saved);
}

constexpr std::array trimOptions{
    OptionSpec{"from", Kind::value, "TIME", translatable("Where the part begins; at the start by default.")},
    OptionSpec{"to", Kind::value, "TIME", translatable("Where the part ends; at the end by default.")},
    OptionSpec{"precise", Kind::flag, "",
               translatable("Begin exactly there, without hidden pictures before it; takes longer.")},
    OptionSpec{"replace", Kind::flag, "", translatable("Replace the recording by the part.")},
};

/// The range to keep. A start after the end of the recording is only noticed when it is trimmed, unless `to`
/// is missing.
CMTimeRange trimRange(const media::Assets& assets, const Path& url, std::optional<CMTime> from,
                      std::optional<CMTime> to) {
    CMTimeRange range;
    range.start = from.value_or(CMTime::zero());
    if (to && !(range.start < *to)) throw PlatformError(localized("The range is empty."));
    if (!to) {
        to = timeOfSeconds(assets.summary(url).duration);
        if (!(range.start < *to)) throw PlatformError(localized("The range lies outside the recording."));
    }
    range.end = *to;
    return range;
}

int runTrim(const ParsedOptions& parsed) {
    const Path file = oneFile(parsed);
    const std::optional<CMTime> from = readTimeOption(parsed, "from");
    const std::optional<CMTime> to = readTimeOption(parsed, "to");
    const media::Assets assets;
    desktop::FileManager files;
    const Trimming trimming(assets, files);
    Path saved;
    try {
        Trimming::Request request;
        request.url = std::filesystem::absolute(file);
        request.precise = parsed.has("precise");
        request.replacing = parsed.has("replace");
        runLongWork(request.precise ? localized("Trimming precisely…") : localized("Trimming…"),
                    [&](const LongWork& work) {
                        request.range = trimRange(assets, request.url, from, to);
                        saved = trimming.save(request, work);
                    });
    } catch (const std::exception&) {
        throw PlatformError(Trimming::message(std::current_exception()));
    }
    return printPath(saved);
}

}  // namespace

constinit const Command trimCommand{
    "trim",
    translatable("Save a part of a recording."),
    "FILE [--from TIME] [--to TIME] [OPTIONS]",
    translatable("Saves a part of a recording as a new file beside it, and prints its path.\n"
                 "A TIME is in seconds or [HOURS:]MINUTES:SECONDS, with or without decimals."),
    trimOptions,
    runTrim,
    nullptr,
    recordingOperand};

constinit const Command gifCommand{"gif",
                                   translatable("Make an animated GIF of a recording."),
                                   "FILE [OPTIONS]",
                                   translatable("Makes an animated GIF, or an animated WebP, of a recording, "
                                                "which loops forever."),
                                   gifOptions,
                                   runGif,
                                   nullptr,
                                   recordingOperand};

constinit const Command shareCommand{
    "share",
    translatable("Make a small copy of a recording, to send it."),
    "FILE [OPTIONS]",
    translatable(
        "Makes a small copy of a recording, as one MP4 file that every program plays, and prints "
        "its path.\nFewer and smaller pictures are used only where text would not be legible otherwise."),
    shareOptions,
    runShare,
    nullptr,
    recordingOperand};

constinit const Command zoomCommand{
    "zoom",
    translatable("Enlarge the places of clicks in a copy of a recording."),
    "FILE [OPTIONS]",
    translatable(
        "Saves a copy of a recording in which the view moves smoothly to every click and back, and prints "
        "its path.\nIt needs a recording that contains where the pointer was."),
    zoomOptions,
    runZoom,
    nullptr,
    recordingOperand};

constinit const Command mixCommand{
    "mix",
    translatable("Mix the audio tracks of a recording into one."),
    "FILE",
    translatable("Mixes the audio tracks of a recording into one, in place. The pictures stay as they are."),
    {},
    runMix,
    nullptr,
    recordingOperand};

constinit const Command cleanVoiceCommand{
    "clean-voice",
    translatable("Reduce the noise behind the voice in a recording."),
    "FILE [OPTIONS]",
    translatable(
        "Reduces the noise of a recording's microphone track, in place. The original track is kept as "
        "the last one, until the tracks are mixed. Everything else stays as it is."),
    cleanVoiceOptions,
    runCleanVoice,
    nullptr,
    recordingOperand};

constinit const Command convertCommand{
    "convert",
    translatable("Make an MP4 file of a recording."),
    "FILE [OPTIONS]",
    translatable("Makes an MP4 file of a recording, beside it and without re-encoding anything."),
    convertOptions,
    runConvert,
    nullptr,
    recordingOperand};

}  // namespace lumicrate::app
