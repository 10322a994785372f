// lumicrate-bench: what recording costs and what it is worth, beside what a user would take instead.
#include "Benchmarks/Performance.h"
#include "Benchmarks/Recorder.h"
#include "Benchmarks/Report.h"
#include "Tests/Stage/PrivateDesktop.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace lumicrate::bench {

namespace {

constexpr const char* usage =
    "lumicrate-bench --lumicrate PROGRAM [--scenes still,typing,scrolling,moving] [--recorders "
    "lumicrate,ffmpeg]\n"
    "                [--seconds S] [--size WxH] [--json FILE] [--keep FOLDER]\n"
    "Each recorder records each scene in turn on a display of its own. \"lumicrate-hevc\", which is not "
    "among\n"
    "those that run unless asked for, is lumicrate with the format movHEVC.\n"
    "  --keep FOLDER  where the recordings go; else they are deleted\n";

struct Request {
    std::string lumicrate;
    std::vector<std::string> scenes{"still", "typing", "scrolling", "moving"};
    std::vector<std::string> recorders{"lumicrate", "ffmpeg", "ssr"};
    double seconds = 10;
    int width = 1920;
    int height = 1080;
    std::string json;
    std::string keep;
};

std::vector<std::string> split(const std::string& list) {
    std::vector<std::string> items;
    std::istringstream stream(list);
    for (std::string item; std::getline(stream, item, ',');) {
        items.push_back(item);
    }
    return items;
}

bool wants(const Request& request, const std::string& recorder) {
    return std::find(request.recorders.begin(), request.recorders.end(), recorder) != request.recorders.end();
}

std::optional<Request> parse(const std::vector<std::string>& arguments) {
    Request request;
    for (std::size_t i = 0; i + 1 < arguments.size(); i += 2) {
        const auto& name = arguments[i];
        const auto& value = arguments[i + 1];
        if (name == "--lumicrate") {
            request.lumicrate = value;
        } else if (name == "--scenes") {
            request.scenes = split(value);
        } else if (name == "--recorders") {
            request.recorders = split(value);
        } else if (name == "--seconds") {
            request.seconds = std::strtod(value.c_str(), nullptr);
        } else if (name == "--size") {
            if (std::sscanf(value.c_str(), "%dx%d", &request.width, &request.height) != 2)
                return std::nullopt;
        } else if (name == "--json") {
            request.json = value;
        } else if (name == "--keep") {
            request.keep = value;
        } else {
            return std::nullopt;
        }
    }
    const bool needsProgram = wants(request, "lumicrate") || wants(request, "lumicrate-hevc");
    const bool isComplete = !request.lumicrate.empty() || !needsProgram;
    if (arguments.size() % 2 != 0 || !isComplete || request.seconds < 2) return std::nullopt;
    return request;
}

// Gives whether every recorder did its work.
bool run(const Request& request) {
    stage::PrivateDesktop::Options options;
    options.display = {request.width, request.height, false, false};
    options.sound = false;
    stage::PrivateDesktop desktop(options);
    const stage::StageFolder temporary;
    Performance performance(desktop.display(),
                            request.keep.empty() ? temporary.path().string() : request.keep);

    std::vector<Measurement> measurements;
    bool isWhole = true;
    for (const auto& scene : request.scenes) {
        for (const auto& recorder : allRecorders(request.lumicrate)) {
            if (!wants(request, recorder.name)) continue;
            try {
                std::fprintf(stderr, "%s, %s …\n", scene.c_str(), recorder.name.c_str());
                measurements.push_back(performance.measure(scene, recorder, request.seconds));
            } catch (const std::exception& error) {
                std::fprintf(stderr, "%s, %s: %s\n", scene.c_str(), recorder.name.c_str(), error.what());
                isWhole = false;
            }
        }
    }
    std::fputs(table(measurements, "ffmpeg").c_str(), stdout);
    if (!request.json.empty()) writeJson(request.json, measurements);
    return isWhole;
}

}  // namespace

}  // namespace lumicrate::bench

int main(int argc, char** argv) {
    const auto request = lumicrate::bench::parse({argv + 1, argv + argc});
    if (!request) {
        std::fputs(lumicrate::bench::usage, stderr);
        return 2;
    }
    try {
        return lumicrate::bench::run(*request) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "lumicrate-bench: %s\n", error.what());
        return 1;
    }
}
