// SPDX-License-Identifier: GPL-3.0-or-later
// The command "data": prints or removes the input that was recorded with a movie.
#include "App/CommandLine/CommandLine.h"
#include "App/CommandLine/LongCommand.h"
#include "App/CommandLine/Printing.h"
#include "Linux/Desktop/FileManager.h"
#include "Linux/Media/Editing/Assets.h"
#include "Lumicrate/Movie/InputRemoval.h"
#include "Platform/RecordedInput.h"
#include "Support/Text.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <vector>

namespace lumicrate::app {

namespace {

using OptionKind = OptionSpec::Kind;
using Kind = RecordedInput::Kind;

constexpr std::array<std::string_view, 3> kindNames{"pointer", "press", "keys"};  // as in Kind

constexpr std::array dataOptions{
    OptionSpec{"json", OptionKind::flag, "", translatable("Print the events as JSON, for programs.")},
    OptionSpec{"remove", OptionKind::flag, "",
               translatable("Remove the data from the file; pictures and sound stay as they are.")},
};

constexpr std::array recordingOperand{ValueKind::recording};

nlohmann::ordered_json toJson(const RecordedInput& event) {
    constexpr double microsecond = 1e-6;
    nlohmann::ordered_json json;
    json["time"] = std::round(event.time.seconds() / microsecond) * microsecond;
    json["kind"] = kindNames.at(static_cast<std::size_t>(event.kind));
    if (event.kind == Kind::keys) {
        json["keys"] = event.keys;
    } else {
        json["x"] = event.position.x;
        json["y"] = event.position.y;
    }
    if (event.kind == Kind::press) json["button"] = event.button;
    return json;
}

/// "1.250000 press 0.50000 0.25000 1", "2.500000 keys Ctrl+S".
void print(const RecordedInput& event) {
    fmt::print("{:.6f} {}", event.time.seconds(), kindNames.at(static_cast<std::size_t>(event.kind)));
    if (event.kind == Kind::keys) {
        fmt::print(" {}", onOneLine(event.keys));
    } else {
        fmt::print(" {:.5f} {:.5f}", event.position.x, event.position.y);
    }
    if (event.kind == Kind::press) fmt::print(" {}", event.button);
    fmt::print("\n");
}

void printEvents(const std::vector<RecordedInput>& events, bool asJson) {
    if (!asJson) {
        for (const RecordedInput& each : events)
            print(each);
        return;
    }
    auto list = nlohmann::ordered_json::array();
    for (const RecordedInput& each : events)
        list.push_back(toJson(each));
    printJson(list);
}

int runData(const ParsedOptions& parsed) {
    const std::filesystem::path file = oneFile(parsed);
    if (!parsed.has("remove")) {
        printEvents(media::Assets().recordedInput(file), parsed.has("json"));
        return exitDone;
    }
    if (parsed.has("json")) throw UsageError(localized("--json and --remove exclude each other."));
    desktop::FileManager files;
    bool removed = false;
    runLongWork(localized("Removing the data…"), [&](const LongWork& work) {
        removed = removeRecordedInput(media::Assets(), files, file, work);
    });
    if (!removed) fmt::print(stderr, "lumicrate: {}\n", localized("The recording has no such data."));
    fmt::print("{}\n", file.string());
    return exitDone;
}

}  // namespace

constinit const Command dataCommand{
    "data",
    translatable("Show or remove the pointer's positions and clicks in a recording."),
    "FILE [--json | --remove]",
    translatable("Prints what was recorded besides pictures and sound, a line for each event: its time in\n"
                 "seconds, then “pointer” with its position, “press” with position and button (1 left, 2\n"
                 "middle, 3 right), or “keys” with the keys that were shown. Positions are parts of the\n"
                 "picture: 0 0 is its top left corner, 1 1 the bottom right one."),
    dataOptions,
    runData,
    nullptr,
    recordingOperand};

}  // namespace lumicrate::app
