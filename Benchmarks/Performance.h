// SPDX-License-Identifier: GPL-3.0-or-later
// Performance: measures a recorder and the display server while the recorder records a scene.
#pragma once

#include "Benchmarks/Assignment.h"
#include "Benchmarks/Recorder.h"
#include "Benchmarks/Screen.h"
#include "Benchmarks/Stagehand.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/MovieProbe.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate::bench {

struct Measurement {
    stage::ChildResult cost;
    double serverSeconds = 0;  // CPU time of the display's processes during the recording
    // From the command to the capture of the first picture; nothing when no step determines it.
    std::optional<double> startSeconds;
    double finishSeconds = 0;  // from the order to stop to the end of the process
    std::uintmax_t fileBytes = 0;
    std::size_t pictures = 0;
    // Steps drawn since the first one in the file, and how many of them the file shows or lacks. Nothing for
    // a still scene.
    struct Steps {
        int drawn = 0;
        int shown = 0;
        int lost = 0;
        int torn = 0;  // pictures without a valid number
    };
    std::optional<Steps> steps;
    // Structural similarity with the screen: of the last picture, and the mean of some during the motion.
    double similarityAtRest = 0;
    std::optional<double> similarityMoving;
};

// Where scenes are played and recorded.
struct BenchDisplay {
    std::string name;  // ":N", or "wayland-N"
    PixelSize size;
    // The display server, and what carries its pictures to recorders.
    std::vector<pid_t> processes;
    // An X display of the same size, on which scenes look the same and can be read. It may be the same one.
    std::string reference;
};

class Performance {
 public:
    // `folder` is for recordings and temporary files.
    Performance(BenchDisplay display, Setting setting, std::filesystem::path folder)
        : display_(std::move(display)), setting_(std::move(setting)), folder_(std::move(folder)) {}

    // Throws std::runtime_error when the scene or the recorder fails.
    Measurement measure(const std::string& scene, const Recorder& recorder);

 private:
    Assignment assign(const Stagehand& scene, const std::string& name, const Recorder& recorder) const;
    // Returns the times of the steps drawn, since the start of the recorder.
    Stagehand::Times record(Measurement& measurement, const Recorder& recorder, const Assignment& assignment,
                            Stagehand& scene);
    void countArrivals(Measurement& measurement, const std::string& scene, const Assignment& assignment,
                       const Stagehand::Times& drawn);
    // What a perfect recorder would have written after that many steps.
    Screen reference(const std::string& scene, const Assignment& assignment, int steps) const;

    double serverSeconds() const;

    BenchDisplay display_;
    Setting setting_;
    std::filesystem::path folder_;
};

}  // namespace lumicrate::bench
