// SPDX-License-Identifier: GPL-3.0-or-later
#include "Benchmarks/Performance.h"

#include "Benchmarks/Inspection.h"

#include <malloc.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace lumicrate::bench {

namespace {

constexpr double endTimeout = 60;
// The scene pauses this long before the recording ends, so that its last picture can be compared.
constexpr double restSeconds = 0.5;
constexpr int comparedInMotion = 3;

double processorSeconds(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string line;
    std::getline(file, line);
    // The name in brackets may contain anything; after it, user and system time are fields 12 and 13.
    std::istringstream fields(line.substr(line.rfind(')') + 1));
    std::string skipped;
    for (int i = 0; i < 11; ++i) {
        fields >> skipped;
    }
    long user = 0;
    long system = 0;
    fields >> user >> system;
    return static_cast<double>(user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// CLOCK_MONOTONIC, as in the output of scenes.
double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// When the first picture was captured: in the middle between the step that it shows and the next one. When
// the first picture is torn, it is computed back from the next.
std::optional<double> captureOfFirst(const Arrivals& arrivals, const Stagehand::Times& drawn) {
    if (arrivals.shown.empty()) return std::nullopt;
    const auto [step, shownAt] = *arrivals.shown.begin();
    const auto index = static_cast<std::size_t>(step);
    if (index + 1 >= drawn.size()) return std::nullopt;
    return (drawn[index] + drawn[index + 1]) / 2 - shownAt;
}

}  // namespace

Assignment Performance::assign(const Stagehand& scene, const std::string& name,
                               const Recorder& recorder) const {
    Assignment assignment;
    assignment.setting = setting_;
    assignment.display = display_.name;
    assignment.file = folder_ / (name + "-" + recorder.name + "." + recorder.extension);
    switch (setting_.source) {
        case Source::Screen:
            assignment.frame = {0, 0, display_.size.width, display_.size.height};
            break;
        case Source::Area:
            assignment.frame = setting_.area;
            break;
        case Source::Window: {
            assignment.window = scene.window();
            const auto [width, height] = sizeOfWindow(display_.name, scene.window());
            assignment.frame = {0, 0, width, height};
            break;
        }
    }
    return assignment;
}

double Performance::serverSeconds() const {
    double sum = 0;
    for (const pid_t process : display_.processes)
        sum += processorSeconds(process);
    return sum;
}

Stagehand::Times Performance::record(Measurement& measurement, const Recorder& recorder,
                                     const Assignment& assignment, Stagehand& scene) {
    if (!isWayland(display_.name)) hidePointer(display_.name);
    std::filesystem::remove(assignment.file);
    auto command = recorder.command(assignment, recorder.program);

    const double serverBefore = serverSeconds();
    malloc_trim(0);  // the memory of this process counts in the child's maximum
    const double start = now();
    stage::Environment environment;
    if (!isWayland(display_.name)) environment["DISPLAY"] = display_.name;
    stage::ChildProcess process(std::move(command), environment);
    const auto ended = process.wait(setting_.seconds - restSeconds);
    auto drawn = scene.rest();
    if (ended || process.wait(start + setting_.seconds - now()))
        throw std::runtime_error(recorder.name + " ended early: " + process.standardError());
    const double order = now();
    recorder.stop(process, assignment);
    measurement.cost = process.mustEnd(endTimeout);
    measurement.finishSeconds = now() - order;
    measurement.serverSeconds = serverSeconds() - serverBefore;
    if (measurement.cost.exitStatus != recorder.statusWhenStopped)
        throw std::runtime_error(recorder.name + " failed: " + process.standardError());
    for (double& time : drawn) {
        time -= start;
    }
    return drawn;
}

Screen Performance::reference(const std::string& scene, const Assignment& assignment, int steps) const {
    const auto& display = display_.reference;
    std::optional<CoveredWindows> kept;
    if (setting_.source == Source::Window) kept.emplace(display);
    Stagehand again(display, scene, setting_, steps);
    again.awaitLast();
    const Screen screen(display, again.window(), assignment.frame);
    const auto [width, height] = assignment.pictureSize();
    return assignment.isScaled() ? screen.scaledTo(width, height) : screen;
}

void Performance::countArrivals(Measurement& measurement, const std::string& scene,
                                const Assignment& assignment, const Stagehand::Times& drawn) {
    stage::MovieProbe probe(assignment.file);
    const auto arrivals = inspect(probe, assignment.scale());
    measurement.pictures = arrivals.pictures;
    if (!drawn.empty() && arrivals.shown.empty())
        throw std::runtime_error("The recording shows nothing of the scene");
    const auto last = probe.lastPicture();
    measurement.similarityAtRest =
        similarity(probe, *last, reference(scene, assignment, static_cast<int>(drawn.size())));
    if (drawn.empty()) return;  // nothing moves in the scene
    Measurement::Steps steps;
    steps.drawn =
        static_cast<int>(drawn.size()) - (arrivals.shown.empty() ? 0 : arrivals.shown.begin()->first);
    steps.shown = static_cast<int>(arrivals.shown.size());
    steps.lost = steps.drawn - steps.shown;
    steps.torn = arrivals.unreadable;
    measurement.steps = steps;
    measurement.startSeconds = captureOfFirst(arrivals, drawn);

    double sum = 0;
    const auto numbers = spread(arrivals, comparedInMotion);
    for (const int number : numbers) {
        const auto picture = probe.pictureAt(arrivals.shown.at(number));
        sum += similarity(probe, *picture, reference(scene, assignment, number + 1));
    }
    if (!numbers.empty()) measurement.similarityMoving = sum / static_cast<double>(numbers.size());
}

Measurement Performance::measure(const std::string& scene, const Recorder& recorder) {
    Measurement measurement;
    Assignment assignment;
    Stagehand::Times drawn;
    {
        Stagehand playing(display_.name, scene, setting_);
        assignment = assign(playing, scene, recorder);
        drawn = record(measurement, recorder, assignment, playing);
    }
    measurement.fileBytes = std::filesystem::file_size(assignment.file);
    countArrivals(measurement, scene, assignment, drawn);
    return measurement;
}

}  // namespace lumicrate::bench
