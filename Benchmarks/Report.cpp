#include "Benchmarks/Report.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace lumicrate::bench {

namespace {

std::string ratio(const Measurement& one, const std::vector<Measurement>& all, const std::string& peer) {
    const auto other = std::find_if(all.begin(), all.end(), [&](const Measurement& candidate) {
        return candidate.scene == one.scene && candidate.recorder == peer;
    });
    if (other == all.end() || other->cost.cpuSeconds() <= 0) return "-";
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.3f", one.cost.cpuSeconds() / other->cost.cpuSeconds());
    return text.data();
}

std::string similarityText(std::optional<double> similarity) {
    if (!similarity) return "-";
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.4f", *similarity);
    return text.data();
}

}  // namespace

std::string table(const std::vector<Measurement>& measurements, const std::string& peer) {
    std::array<char, 256> line{};
    std::snprintf(line.data(), line.size(),
                  "%-10s %-14s %7s %7s %8s %7s %7s %9s %7s %6s %6s %5s %5s %8s %8s\n", "scene", "recorder",
                  "cpu s", "ratio", "rss MiB", "X cpu s", "wall s", "file KiB", "frames", "drawn", "shown",
                  "lost", "torn", "ssim end", "ssim run");
    std::string text = line.data();
    for (const auto& one : measurements) {
        std::snprintf(line.data(), line.size(),
                      "%-10s %-14s %7.2f %7s %8.1f %7.2f %7.2f %9.0f %7zu %6d %6d %5d %5d %8s %8s\n",
                      one.scene.c_str(), one.recorder.c_str(), one.cost.cpuSeconds(),
                      ratio(one, measurements, peer).c_str(),
                      static_cast<double>(one.cost.maxResidentKiB) / 1024, one.serverSeconds, one.wallSeconds,
                      static_cast<double>(one.fileBytes) / 1024, one.pictures, one.drawn, one.delivered,
                      one.lost, one.unreadable, similarityText(one.similarityAtRest).c_str(),
                      similarityText(one.similarityMoving).c_str());
        text += line.data();
    }
    return text;
}

void writeJson(const std::filesystem::path& file, const std::vector<Measurement>& measurements) {
    auto all = nlohmann::json::array();
    for (const auto& one : measurements) {
        nlohmann::json entry{{"scene", one.scene},
                             {"recorder", one.recorder},
                             {"userSeconds", one.cost.userSeconds},
                             {"systemSeconds", one.cost.systemSeconds},
                             {"cpuSeconds", one.cost.cpuSeconds()},
                             {"maxResidentKiB", one.cost.maxResidentKiB},
                             {"serverSeconds", one.serverSeconds},
                             {"wallSeconds", one.wallSeconds},
                             {"fileBytes", one.fileBytes},
                             {"pictures", one.pictures},
                             {"drawn", one.drawn},
                             {"delivered", one.delivered},
                             {"lost", one.lost},
                             {"unreadable", one.unreadable},
                             {"similarityAtRest", one.similarityAtRest}};
        entry["similarityMoving"] =
            one.similarityMoving ? nlohmann::json(*one.similarityMoving) : nlohmann::json();
        all.push_back(entry);
    }
    std::ofstream stream(file);
    stream << all.dump(2) << "\n";
    if (!stream.flush()) throw std::runtime_error("Could not write " + file.string());
}

}  // namespace lumicrate::bench
