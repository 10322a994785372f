#include "Benchmarks/Performance.h"

#include "Benchmarks/Inspection.h"
#include "Benchmarks/Screen.h"

#include <malloc.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace lumicrate::bench {

namespace {

constexpr double patience = 60;
// The scene rests that long before the recording ends, so that its last picture can be compared at rest.
constexpr double restSeconds = 0.5;
constexpr int comparedInMotion = 3;

double processorSeconds(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string line;
    std::getline(file, line);
    // The name in brackets may hold anything; counted from behind it, user and system time are fields 12
    // and 13.
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

// A scene on the display, at its beginning.
class Stagehand {
 public:
    Stagehand(const std::string& display, const std::string& scene, std::vector<std::string> extra)
        : process_(command(scene, std::move(extra)), options(display)) {
        expect("ready");
    }

    // Halts the scene, whose picture stays, and gives the number of steps that it drew.
    int rest() {
        process_.signal(SIGUSR1);
        return awaitLast();
    }

    int awaitLast() { return std::stoi(expect("drawn").substr(6)); }

 private:
    static std::vector<std::string> command(const std::string& scene, std::vector<std::string> extra) {
        std::vector<std::string> all{LUMICRATE_SCENE, scene, "--hold"};
        all.insert(all.end(), extra.begin(), extra.end());
        return all;
    }

    static stage::ChildProcess::Options options(const std::string& display) {
        stage::ChildProcess::Options options;
        options.environment = {{"DISPLAY", display}};
        options.output = stage::ChildProcess::Output::Capture;
        return options;
    }

    std::string expect(const std::string& word) {
        auto line = process_.readLine(patience);
        if (!line || !line->starts_with(word))
            throw std::runtime_error("The scene failed: " + process_.standardError());
        return *line;
    }

    stage::ChildProcess process_;
};

}  // namespace

int Performance::record(Measurement& measurement, const Recorder& recorder, const Assignment& assignment) {
    Stagehand scene(display_.displayName(), measurement.scene, {"--number"});
    hidePointer(display_.displayName());

    const double serverBefore = processorSeconds(display_.processId());
    const auto start = std::chrono::steady_clock::now();
    stage::ChildProcess::Options options;
    options.environment = {{"DISPLAY", display_.displayName()}};
    options.output = stage::ChildProcess::Output::Capture;
    malloc_trim(0);  // what this process holds now counts into the child's peak
    stage::ChildProcess process(recorder.command(assignment, recorder.program), options);
    if (process.wait(assignment.seconds - restSeconds)) {
        throw std::runtime_error(recorder.name + " ended early: " + process.standardError());
    }
    const int drawn = scene.rest();
    measurement.cost = process.mustEnd(patience);
    measurement.wallSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    measurement.serverSeconds = processorSeconds(display_.processId()) - serverBefore;
    if (measurement.cost.exitStatus != 0) {
        throw std::runtime_error(recorder.name + " failed: " + process.standardError());
    }
    stage::MovieProbe probe(assignment.file);
    measurement.similarityAtRest = similarity(probe, *probe.lastPicture(), Screen(display_.displayName()));
    return drawn;
}

void Performance::countArrivals(Measurement& measurement, stage::MovieProbe& probe, int drawn) {
    const auto arrivals = inspect(probe);
    measurement.pictures = arrivals.pictures;
    if (drawn == 0 || arrivals.shown.empty()) return;  // nothing moves in the scene
    measurement.unreadable = arrivals.unreadable;
    measurement.drawn = drawn - arrivals.shown.begin()->first;
    measurement.delivered = static_cast<int>(arrivals.shown.size());
    measurement.lost = measurement.drawn - measurement.delivered;

    double sum = 0;
    const auto numbers = spread(arrivals, comparedInMotion);
    for (const int number : numbers) {
        Stagehand scene(display_.displayName(), measurement.scene,
                        {"--number", "--steps", std::to_string(number + 1)});
        scene.awaitLast();
        const auto picture = probe.pictureAt(arrivals.shown.at(number));
        sum += similarity(probe, *picture, Screen(display_.displayName()));
    }
    if (!numbers.empty()) measurement.similarityMoving = sum / static_cast<double>(numbers.size());
}

Measurement Performance::measure(const std::string& scene, const Recorder& recorder, double seconds) {
    Measurement measurement;
    measurement.scene = scene;
    measurement.recorder = recorder.name;
    const auto file = folder_ / (scene + "-" + recorder.name + "." + recorder.extension);
    const Assignment assignment{display_.displayName(), display_.width(), display_.height(), seconds, file};
    const int drawn = record(measurement, recorder, assignment);
    measurement.fileBytes = std::filesystem::file_size(file);
    stage::MovieProbe probe(file);
    countArrivals(measurement, probe, drawn);
    return measurement;
}

}  // namespace lumicrate::bench
