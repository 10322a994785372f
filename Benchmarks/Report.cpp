// SPDX-License-Identifier: GPL-3.0-or-later
#include "Benchmarks/Report.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>

namespace lumicrate::bench {

namespace {

using Value = std::optional<double>;

constexpr int notShown = -1;

struct Figure {
    const char* key;      // in JSON
    const char* heading;  // in the table
    int decimals;         // or notShown
    bool hasRatio;        // in the table
    Value (*of)(const Measurement&);
};

template <int Measurement::Steps::*Member>
Value step(const Measurement& one) {
    return one.steps ? Value((*one.steps).*Member) : std::nullopt;
}

using Steps = Measurement::Steps;

constexpr Figure figures[] = {
    {"userSeconds", "", notShown, false, [](const Measurement& one) { return Value(one.cost.userSeconds); }},
    {"systemSeconds", "", notShown, false,
     [](const Measurement& one) { return Value(one.cost.systemSeconds); }},
    {"cpuSeconds", "cpu s", 2, true, [](const Measurement& one) { return Value(one.cost.cpuSeconds()); }},
    {"serverSeconds", "server s", 2, true, [](const Measurement& one) { return Value(one.serverSeconds); }},
    {"memoryMiB", "rss MiB", 1, false,
     [](const Measurement& one) { return Value(static_cast<double>(one.cost.maxResidentKiB) / 1024); }},
    {"startSeconds", "start s", 2, false, [](const Measurement& one) { return one.startSeconds; }},
    {"finishSeconds", "finish s", 2, false, [](const Measurement& one) { return Value(one.finishSeconds); }},
    {"fileKiB", "file KiB", 0, true,
     [](const Measurement& one) { return Value(static_cast<double>(one.fileBytes) / 1024); }},
    {"pictures", "frames", 0, false,
     [](const Measurement& one) { return Value(static_cast<double>(one.pictures)); }},
    {"drawn", "drawn", 0, false, step<&Steps::drawn>},
    {"shown", "shown", 0, false, step<&Steps::shown>},
    {"lost", "lost", 0, false, step<&Steps::lost>},
    {"torn", "torn", 0, false, step<&Steps::torn>},
    {"similarityAtRest", "ssim end", 4, false,
     [](const Measurement& one) { return Value(one.similarityAtRest); }},
    {"similarityMoving", "ssim run", 4, false, [](const Measurement& one) { return one.similarityMoving; }},
};

// Of the runs that have the figure.
Value median(const Result& result, const Figure& figure) {
    std::vector<double> values;
    for (const auto& run : result.runs) {
        if (const auto value = figure.of(run)) values.push_back(*value);
    }
    if (values.empty()) return std::nullopt;
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 != 0 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

Value ratio(const Result& one, const std::vector<Result>& all, const std::string& peer,
            const Figure& figure) {
    const auto other = std::find_if(all.begin(), all.end(), [&](const Result& candidate) {
        return candidate.scene == one.scene && candidate.recorder == peer;
    });
    if (other == all.end()) return std::nullopt;
    const auto mine = median(one, figure);
    const auto theirs = median(*other, figure);
    if (!mine || !theirs || *theirs <= 0) return std::nullopt;
    return *mine / *theirs;
}

std::string cell(const std::string& text) {
    constexpr std::size_t width = 9;
    return std::string(width - std::min(width, text.size()), ' ') + text;
}

std::string cell(Value value, int decimals) {
    if (!value) return cell("-");
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.*f", decimals, *value);
    return cell(text.data());
}

std::string title(const std::string& scene, const std::string& recorder) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%-10s %-14s", scene.c_str(), recorder.c_str());
    return text.data();
}

nlohmann::json orNull(Value value) {
    return value ? nlohmann::json(*value) : nlohmann::json();
}

}  // namespace

std::string table(const std::vector<Result>& results, const std::string& peer) {
    std::string text = title("scene", "recorder");
    for (const auto& figure : figures) {
        if (figure.decimals == notShown) continue;
        text += cell(figure.heading);
        if (figure.hasRatio) text += cell("/" + peer);
    }
    text += "\n";
    for (const auto& result : results) {
        text += title(result.scene, result.recorder);
        for (const auto& figure : figures) {
            if (figure.decimals == notShown) continue;
            text += cell(median(result, figure), figure.decimals);
            if (figure.hasRatio) text += cell(ratio(result, results, peer, figure), 3);
        }
        text += "\n";
    }
    return text;
}

nlohmann::json json(const std::vector<Result>& results, const std::string& peer) {
    auto all = nlohmann::json::array();
    for (const auto& result : results) {
        nlohmann::json medians;
        nlohmann::json ratios;
        auto runs = nlohmann::json::array();
        for (const auto& figure : figures) {
            medians[figure.key] = orNull(median(result, figure));
            ratios[figure.key] = orNull(ratio(result, results, peer, figure));
        }
        for (const auto& run : result.runs) {
            nlohmann::json values;
            for (const auto& figure : figures) {
                values[figure.key] = orNull(figure.of(run));
            }
            runs.push_back(values);
        }
        all.push_back({{"scene", result.scene},
                       {"recorder", result.recorder},
                       {"median", medians},
                       {"ratioTo", {{peer, ratios}}},
                       {"runs", runs}});
    }
    return all;
}

}  // namespace lumicrate::bench
