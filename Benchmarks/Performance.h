// Performance: one recorder records one scene while both, and the X server, are measured.
#pragma once

#include "Benchmarks/Assignment.h"
#include "Benchmarks/Recorder.h"
#include "Benchmarks/Screen.h"
#include "Benchmarks/Stagehand.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/MovieProbe.h"
#include "Tests/Stage/Xvfb.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>

namespace lumicrate::bench {

struct Measurement {
    stage::ChildResult cost;
    double serverSeconds = 0;  // CPU time of the X server meanwhile
    // From the command to the capture of the first picture; nothing where no step tells when that was.
    std::optional<double> startSeconds;
    double finishSeconds = 0;  // from the order to stop to the recorder's end
    std::uintmax_t fileBytes = 0;
    std::size_t pictures = 0;
    // Steps that the scene drew from the first one in the file on; how many of them are in the file, and how
    // many not. Nothing for a scene in which nothing moves.
    struct Steps {
        int drawn = 0;
        int shown = 0;
        int lost = 0;
        int torn = 0;  // pictures with a number that belongs to none
    };
    std::optional<Steps> steps;
    // Structural similarity with the screen: of the last picture, at rest, and of some in mid-run (mean).
    double similarityAtRest = 0;
    std::optional<double> similarityMoving;
};

class Performance {
 public:
    // Recordings and what else is needed go to the folder.
    Performance(const stage::Xvfb& display, Setting setting, std::filesystem::path folder)
        : display_(display), setting_(std::move(setting)), folder_(std::move(folder)) {}

    // Throws std::runtime_error when the scene or the recorder fails.
    Measurement measure(const std::string& scene, const Recorder& recorder);

 private:
    Assignment assign(const Stagehand& scene, const std::string& name, const Recorder& recorder) const;
    // Gives the times of the steps drawn, on the clock that starts with the recorder.
    Stagehand::Times record(Measurement& measurement, const Recorder& recorder, const Assignment& assignment,
                            Stagehand& scene);
    void countArrivals(Measurement& measurement, const std::string& scene, const Assignment& assignment,
                       const Stagehand::Times& drawn);
    // What a faultless recorder would have written after so many steps.
    Screen reference(const std::string& scene, const Assignment& assignment, int steps) const;

    const stage::Xvfb& display_;
    Setting setting_;
    std::filesystem::path folder_;
};

}  // namespace lumicrate::bench
