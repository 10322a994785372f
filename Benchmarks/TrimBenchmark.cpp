// How long it takes to cut a range out of a recording, as whole processes, beside FFmpeg.
//
//   lumicrate-trim-bench [FOLDER] [MINUTES]

#include "Tests/Linux/Media/MovieMaker.h"
#include "Tests/Stage/ChildProcess.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

namespace lumicrate {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int width = 1920;
constexpr int height = 1080;
constexpr int picturesPerSecond = 30;
constexpr int rounds = 5;
constexpr double longest = 3600;

/// A page on which a window plays and somebody types.
void writeRecording(const std::filesystem::path& path, int minutes) {
    const CMTime start(1000, 1);
    test::MovieMaker maker(
        {test::videoSettings(width, height, 7'464'960, picturesPerSecond), test::audioSettings(2)});
    test::TestPicture page(width, height);
    page.print({0, 0, width, height}, 1);
    const std::vector<float> hum(48000 / picturesPerSecond, 0.01F);
    for (int i = 0; i < minutes * 60 * picturesPerSecond; ++i) {
        const PixelRect window{320 + i % 200, 200, 160, 120};
        const PixelRect glyph{9 * (i / 4 % 200), 18 * (i / 800 % 60), 9, 18};
        page.noise(window, static_cast<unsigned>(i));
        page.print(glyph, static_cast<unsigned>(i));
        const CMTime time = start + CMTime(i, picturesPerSecond);
        maker.append(0, test::frame(time, std::make_shared<test::TestPicture>(page),
                                    test::frameInfo(static_cast<std::uint64_t>(i), {window, glyph})));
        maker.append(1, test::sound(time, hum, 2));
    }
    maker.finish();
    std::filesystem::copy_file(maker.path(), path, std::filesystem::copy_options::overwrite_existing);
}

/// The middle of several runs, in seconds.
double measured(const std::vector<std::string>& command, const std::filesystem::path& made, int count) {
    std::vector<double> times;
    for (int i = 0; i < count; ++i) {
        const auto start = Clock::now();
        stage::runProgram(command, {}, longest);
        times.push_back(std::chrono::duration<double>(Clock::now() - start).count());
        std::filesystem::remove(made);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

void compare(const std::filesystem::path& recording, double from, double to, bool precise) {
    const std::filesystem::path folder = recording.parent_path();
    const std::filesystem::path ours = folder / (recording.stem().string() + "_trimmed.mp4");
    const std::filesystem::path theirs = folder / "lumicrate-trim-bench-ffmpeg.mp4";
    const std::string begin = fmt::format("{}", from);
    const std::string end = fmt::format("{}", to);
    std::vector<std::string> lumicrate{LUMICRATE_PROGRAM, "trim", recording, "--from", begin, "--to", end};
    std::vector<std::string> ffmpeg{"ffmpeg", "-v", "quiet", "-y", "-ss", begin, "-to", end, "-i", recording};
    if (precise) {
        lumicrate.emplace_back("--precise");
    } else {
        ffmpeg.insert(ffmpeg.end(), {"-c", "copy"});
    }
    ffmpeg.push_back(theirs);
    const double one = measured(lumicrate, ours, rounds);
    const double other = measured(ffmpeg, theirs, precise ? 1 : rounds);
    fmt::print("{:<8} {:>6.1f} … {:>6.1f} s {:>9.3f} s {:>9.3f} s {:>9.4f}\n", precise ? "precise" : "fast",
               from, to, one, other, one / other);
}

void run(const std::filesystem::path& folder, int minutes) {
    const std::filesystem::path recording = folder / "lumicrate-trim-bench.mp4";
    writeRecording(recording, minutes);
    const double length = minutes * 60;
    fmt::print("{} minutes, {:.0f} MiB\n", minutes,
               static_cast<double>(std::filesystem::file_size(recording)) / (1 << 20));
    fmt::print("{:<8} {:>17} {:>11} {:>11} {:>9}\n", "cut", "range", "Lumicrate", "ffmpeg", "ratio");
    for (const bool precise : {false, true}) {
        compare(recording, length / 3 + 1.1, length / 3 + 31.1, precise);
        compare(recording, 5.1, length - 5.1, precise);
    }
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
        fmt::print(stderr, "lumicrate-trim-bench: {}\n", error.what());
        return EXIT_FAILURE;
    }
}
