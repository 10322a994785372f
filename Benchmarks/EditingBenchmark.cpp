// SPDX-License-Identifier: GPL-3.0-or-later
// Measures trimming, mixing and converting a recording as whole processes, compared with FFmpeg.
//
//   lumicrate-editing-bench [FOLDER] [MINUTES]

#include "Tests/Linux/Media/MovieMaker.h"
#include "Tests/Stage/ChildProcess.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int width = 1920;
constexpr int height = 1080;
constexpr int picturesPerSecond = 30;
constexpr int rounds = 5;
constexpr double longest = 3600;

/// A page with a moving window and somebody typing.
void writeRecording(const std::filesystem::path& path, int minutes) {
    const CMTime start(1000, 1);
    test::MovieMaker maker({test::videoSettings(width, height, 7'464'960, picturesPerSecond),
                            test::audioSettings(2), test::audioSettings(1)});
    test::TestPicture page(width, height);
    page.print({0, 0, width, height}, 1);
    std::mt19937 random(1);
    std::normal_distribution<float> hiss(0, 0.05F);
    std::vector<float> sound(48000 / picturesPerSecond);
    for (int i = 0; i < minutes * 60 * picturesPerSecond; ++i) {
        const PixelRect window{320 + i % 200, 200, 160, 120};
        const PixelRect glyph{9 * (i / 4 % 200), 18 * (i / 800 % 60), 9, 18};
        page.noise(window, static_cast<unsigned>(i));
        page.print(glyph, static_cast<unsigned>(i));
        const CMTime time = start + CMTime(i, picturesPerSecond);
        maker.append(0, test::frame(time, std::make_shared<test::TestPicture>(page),
                                    test::frameInfo(static_cast<std::uint64_t>(i), {window, glyph})));
        for (const int channels : {2, 1}) {
            std::generate(sound.begin(), sound.end(), [&] { return hiss(random); });
            maker.append(channels == 2 ? 1 : 2, test::sound(time, sound, channels));
        }
    }
    maker.finish();
    std::filesystem::copy_file(maker.path(), path, std::filesystem::copy_options::overwrite_existing);
}

/// A command, the file that it makes, and the file that it needs.
struct Job {
    std::vector<std::string> command;
    std::filesystem::path made;
    std::filesystem::path copyOf;  ///< `made` is one of this before the command changes it; empty for none
};

/// Seconds.
double measured(const Job& job) {
    if (!job.copyOf.empty()) std::filesystem::copy_file(job.copyOf, job.made);
    // So that writes of other processes are not measured.
    sync();
    const auto start = Clock::now();
    stage::runProgram(job.command, {}, longest);
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    std::filesystem::remove(job.made);
    return seconds;
}

double median(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

/// Medians of several runs, alternately.
void compare(const std::string& what, const Job& ours, const Job& theirs, int count) {
    std::vector<double> one;
    std::vector<double> other;
    for (int i = 0; i < count; ++i) {
        one.push_back(measured(ours));
        other.push_back(measured(theirs));
    }
    fmt::print("{:<28} {:>9.3f} s {:>9.3f} s {:>9.4f}\n", what, median(one), median(other),
               median(one) / median(other));
}

class Comparison {
 public:
    explicit Comparison(std::filesystem::path recording) : recording_(std::move(recording)) {}

    void trim(double from, double to, bool precise) const {
        const std::string begin = fmt::format("{}", from);
        const std::string end = fmt::format("{}", to);
        Job ours{
            {LUMICRATE_PROGRAM, "trim", recording_, "--from", begin, "--to", end}, beside("_trimmed"), {}};
        if (precise) ours.command.emplace_back("--precise");
        Job theirs = ffmpeg({"-ss", begin, "-to", end, "-i", recording_});
        if (!precise) theirs.command.insert(theirs.command.end() - 1, {"-map", "0", "-c", "copy"});
        compare(fmt::format("{} {:.1f} … {:.1f} s", precise ? "precise" : "fast", from, to), ours, theirs,
                precise ? 1 : rounds);
    }
    void mix() const {
        const std::filesystem::path copy = beside("_mixed");
        compare("mix", {{LUMICRATE_PROGRAM, "mix", copy}, copy, recording_},
                ffmpeg({"-i", recording_, "-filter_complex", "amix=inputs=2:normalize=0", "-c:v", "copy",
                        "-c:a", "aac", "-b:a", "192k"}),
                rounds);
    }
    void convert() const {
        compare("convert", {{LUMICRATE_PROGRAM, "convert", recording_}, beside("_2"), {}},
                ffmpeg({"-i", recording_, "-map", "0", "-c", "copy"}), rounds);
    }

 private:
    std::filesystem::path beside(const std::string& suffix) const {
        return recording_.parent_path() / (recording_.stem().string() + suffix + ".mp4");
    }
    Job ffmpeg(const std::vector<std::string>& arguments) const {
        Job job{{"ffmpeg", "-v", "quiet", "-y"}, beside("-ffmpeg"), {}};
        job.command.insert(job.command.end(), arguments.begin(), arguments.end());
        job.command.push_back(job.made);
        return job;
    }

    std::filesystem::path recording_;
};

void run(const std::filesystem::path& folder, int minutes) {
    const std::filesystem::path recording = folder / "lumicrate-editing-bench.mp4";
    writeRecording(recording, minutes);
    const double length = minutes * 60;
    fmt::print("{} minutes, {:.0f} MiB\n", minutes,
               static_cast<double>(std::filesystem::file_size(recording)) / (1 << 20));
    fmt::print("{:<28} {:>11} {:>11} {:>9}\n", "", "Lumicrate", "ffmpeg", "ratio");
    const Comparison comparison(recording);
    comparison.trim(length / 3 + 1.1, length / 3 + 31.1, false);
    comparison.trim(5.1, length - 5.1, false);
    comparison.trim(length / 3 + 1.1, length / 3 + 31.1, true);
    comparison.convert();
    comparison.mix();
    std::filesystem::remove(recording);
}

}  // namespace
}  // namespace lumicrate

int main(int argc, char** argv) {
    try {
        const std::vector<std::string> arguments(argv + 1, argv + argc);
        lumicrate::run(arguments.empty() ? "." : arguments[0],
                       arguments.size() < 2 ? 10 : std::stoi(arguments[1]));
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        fmt::print(stderr, "lumicrate-editing-bench: {}\n", error.what());
        return EXIT_FAILURE;
    }
}
