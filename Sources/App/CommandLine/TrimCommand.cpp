#include "App/CommandLine/TrimCommand.h"

#include "App/CommandLine/CommandLine.h"
#include "App/CommandLine/LongWorkRunner.h"
#include "App/CommandLine/OptionParser.h"
#include "Linux/Desktop/FileManager.h"
#include "Linux/Media/Editing/Assets.h"
#include "Lumicrate/Preview/Trimming.h"
#include "Support/Error.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <exception>
#include <filesystem>

namespace lumicrate::app {

namespace {

constexpr std::array specs{
    OptionSpec{"from", OptionSpec::Kind::value, "TIME", "Where it begins; the start if not given."},
    OptionSpec{"to", OptionSpec::Kind::value, "TIME", "Where it ends; the end if not given."},
    OptionSpec{"precise", OptionSpec::Kind::flag, "",
               "Begin exactly there, without hidden pictures before it; takes longer."},
    OptionSpec{"replace", OptionSpec::Kind::flag, "", "Put it in the recording's place."},
    OptionSpec{"help", OptionSpec::Kind::flag, "", "Show this."},
};

constexpr std::int64_t microseconds = 1'000'000;

void printHelp() {
    fmt::print("{}\n{}\n{}\n\n{}",
               localized("Usage: lumicrate trim FILE [--from TIME] [--to TIME] [OPTIONS]"),
               localized("Saves a part of a recording as a new file beside it, and prints its path."),
               localized("A TIME is in seconds or [HOURS:]MINUTES:SECONDS, with decimals or without."),
               describeOptions(specs));
}

/// Digits and nothing else, no more than can be a time.
std::optional<std::int64_t> wholeNumber(std::string_view text) {
    constexpr std::size_t mostDigits = 9;
    std::int64_t number = 0;
    if (text.empty() || text.size() > mostDigits) return std::nullopt;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || text.front() == '-') return std::nullopt;
    return number;
}

/// In microseconds; what is finer is cut off.
std::optional<std::int64_t> decimals(std::string_view text) {
    if (!std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; })) return std::nullopt;
    std::int64_t value = 0;
    std::int64_t unit = microseconds;
    for (const char digit : text.substr(0, 6))
        value += (digit - '0') * (unit /= 10);
    return value;
}

std::optional<CMTime> timeOption(const ParsedOptions& parsed, std::string_view name) {
    const auto text = parsed.value(name);
    if (!text) return std::nullopt;
    const auto time = parseTime(*text);
    if (time) return time;
    throw UsageError(fmt::format(fmt::runtime(localized("“{}” is not a time.")), *text));
}

/// The range that is asked for. What begins behind the end is found when the recording is read.
CMTimeRange rangeOf(const media::Assets& assets, const std::filesystem::path& url, std::optional<CMTime> from,
                    std::optional<CMTime> to) {
    CMTimeRange range;
    range.start = from.value_or(CMTime::zero());
    if (to && !(range.start < *to)) throw PlatformError(localized("The range is empty."));
    if (!to) {
        const double duration = assets.summary(url).duration;
        to = CMTime(static_cast<std::int64_t>(duration * microseconds + 0.5), microseconds);
        if (!(range.start < *to)) throw PlatformError(localized("The range lies outside the recording."));
    }
    range.end = *to;
    return range;
}

}  // namespace

std::optional<CMTime> parseTime(std::string_view text) {
    const std::size_t point = std::min(text.find('.'), text.size());
    const auto fraction = decimals(text.substr(std::min(point + 1, text.size())));
    std::string_view rest = text.substr(0, point);
    std::int64_t seconds = 0;
    for (int parts = 0; parts < 3; ++parts) {
        const std::size_t colon = rest.find(':');
        const auto part = wholeNumber(rest.substr(0, colon));
        const bool carries = parts > 0 && part && *part >= 60;
        if (!part || !fraction || carries) return std::nullopt;
        seconds = seconds * 60 + *part;
        if (colon == std::string_view::npos) return CMTime(seconds * microseconds + *fraction, microseconds);
        rest.remove_prefix(colon + 1);
    }
    return std::nullopt;
}

int runTrimCommand(const std::vector<std::string>& arguments) {
    const ParsedOptions parsed = parseOptions(specs, arguments);
    if (parsed.has("help")) {
        printHelp();
        return exitDone;
    }
    const std::filesystem::path file = oneFile(parsed);
    const std::optional<CMTime> from = timeOption(parsed, "from");
    const std::optional<CMTime> to = timeOption(parsed, "to");

    const media::Assets assets;
    desktop::FileManager files;
    const Trimming trimming(assets, files);
    std::filesystem::path saved;
    try {
        Trimming::Request request;
        request.url = std::filesystem::absolute(file);
        request.range = rangeOf(assets, request.url, from, to);
        request.precise = parsed.has("precise");
        request.replacing = parsed.has("replace");
        runLongWork(localized(request.precise ? "Trimming precisely…" : "Trimming…"),
                    [&](const LongWork& work) { saved = trimming.save(request, work); });
    } catch (const std::exception&) {
        throw PlatformError(Trimming::message(std::current_exception()));
    }
    fmt::print("{}\n", saved.string());
    return exitDone;
}

}  // namespace lumicrate::app
