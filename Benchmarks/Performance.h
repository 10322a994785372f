// Performance: one recorder records one scene while both, and the X server, are measured.
#pragma once

#include "Benchmarks/Recorder.h"
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
    std::string scene;
    std::string recorder;
    stage::ChildResult cost;
    double serverSeconds = 0;  // CPU time of the X server meanwhile
    double wallSeconds = 0;
    std::uintmax_t fileBytes = 0;
    std::size_t pictures = 0;
    // Steps that the scene drew from the first one in the file on; how many of them are in the file, and how
    // many not.
    int drawn = 0;
    int delivered = 0;
    int lost = 0;
    int unreadable = 0;
    // Structural similarity with the screen: of the last picture, at rest, and of some in mid-run (mean).
    double similarityAtRest = 0;
    std::optional<double> similarityMoving;
};

class Performance {
 public:
    // Recordings and what else is needed go to the folder.
    Performance(const stage::Xvfb& display, std::filesystem::path folder)
        : display_(display), folder_(std::move(folder)) {}

    // Throws std::runtime_error when the scene or the recorder fails.
    Measurement measure(const std::string& scene, const Recorder& recorder, double seconds);

 private:
    // Gives the number of steps drawn.
    int record(Measurement& measurement, const Recorder& recorder, const Assignment& assignment);
    void countArrivals(Measurement& measurement, stage::MovieProbe& probe, int drawn);

    const stage::Xvfb& display_;
    std::filesystem::path folder_;
};

}  // namespace lumicrate::bench
