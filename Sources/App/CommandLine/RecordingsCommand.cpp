#include "App/CommandLine/RecordingsCommand.h"

#include "App/CommandLine/CommandLine.h"
#include "App/CommandLine/OptionParser.h"
#include "App/CommandLine/TerminalText.h"
#include "App/LibraryServices.h"
#include "App/QtExecutor.h"
#include "Linux/Desktop/FileManager.h"
#include "Linux/Desktop/Workspace.h"
#include "Lumicrate/Library/RecordingFolder.h"
#include "Lumicrate/Library/RecordingLibrary.h"
#include "Support/Notifications.h"
#include "Support/Text.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <QEventLoop>
#include <array>
#include <chrono>
#include <ctime>
#include <optional>

namespace lumicrate::app {

namespace {

constexpr std::array specs{
    OptionSpec{"json", OptionSpec::Kind::flag, "", "As JSON, for programs."},
    OptionSpec{"help", OptionSpec::Kind::flag, "", "Show this."},
};

/// All recordings with their lengths, newest first.
std::vector<Recording> findRecordings() {
    QtExecutor executor;
    desktop::FileManager files;
    const desktop::Calendar calendar;
    desktop::Workspace workspace;
    NotificationCenter notifications;
    const RecordingFolder folder(files, calendar);
    RecordingLibrary library({executor, files, notifications, folder, workspace, lengthReaders(),
                              /*watch=*/nullptr, /*showPreview=*/nullptr, /*beep=*/nullptr});
    library.reload();
    QEventLoop untilRead;
    const Subscription reading = library.readsLengths().observe([&untilRead](bool still) {
        if (!still) untilRead.quit();
    });
    if (*library.readsLengths()) untilRead.exec();
    return library.recordings.get();
}

/// Nothing where the file system keeps no date.
std::optional<std::tm> localTime(const Recording& recording) {
    if (recording.created == Recording().created) return std::nullopt;
    const std::time_t time = std::chrono::system_clock::to_time_t(recording.created);
    std::tm local{};
    if (localtime_r(&time, &local) == nullptr) return std::nullopt;
    return local;
}

std::string formatted(const std::tm& time, const char* format) {
    std::array<char, 64> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), format, &time);
    return {text.data(), length};
}

/// By ISO 8601: "2024-05-01T14:03:22+02:00".
std::string isoDate(const std::tm& time) {
    std::string text = formatted(time, "%Y-%m-%dT%H:%M:%S%z");
    return text.insert(text.size() - 2, ":");
}

void printJson(const std::vector<Recording>& recordings) {
    auto list = nlohmann::ordered_json::array();
    for (const Recording& each : recordings) {
        nlohmann::ordered_json entry{
            {"path", each.url.string()}, {"created", nullptr}, {"size", each.size}, {"duration", nullptr}};
        if (const auto time = localTime(each)) entry["created"] = isoDate(*time);
        if (each.duration) entry["duration"] = *each.duration;
        list.push_back(std::move(entry));
    }
    // A name need not be UTF-8, but JSON must.
    fmt::print("{}\n", list.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

void print(const std::vector<Recording>& recordings) {
    if (recordings.empty()) fmt::print("{}\n", localized("No recordings yet."));
    for (const Recording& each : recordings) {
        const auto time = localTime(each);
        fmt::print("{:<16}  {:>8}  {:>8}  {}\n", time ? formatted(*time, "%Y-%m-%d %H:%M") : "–",
                   each.duration ? formatElapsed(*each.duration) : "–", formatByteCount(each.size),
                   onOneLine(each.url.filename().string()));
    }
}

}  // namespace

int runRecordingsCommand(const std::vector<std::string>& arguments) {
    const ParsedOptions parsed = parseOptions(specs, arguments);
    if (parsed.has("help")) {
        fmt::print("{}\n\n{}", localized("Usage: lumicrate recordings [OPTIONS]"), describeOptions(specs));
        return exitDone;
    }
    refusePositional(parsed);
    const std::vector<Recording> recordings = findRecordings();
    if (parsed.has("json")) {
        printJson(recordings);
    } else {
        print(recordings);
    }
    return exitDone;
}

}  // namespace lumicrate::app
