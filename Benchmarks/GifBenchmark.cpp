// SPDX-License-Identifier: GPL-3.0-or-later
// Measures the cost of a GIF and its similarity to the movie, compared with the usual FFmpeg command with a
// palette, which decodes, scales and writes the same: 12 frames a second, 640 pixels wide.
//
//   lumicrate-gif-bench [--seconds S] [--movie FILE] [--keep FOLDER] [CONTENT…]

#include "Benchmarks/GifMovies.h"
#include "Benchmarks/GifQuality.h"
#include "Linux/Media/Editing/Assets.h"
#include "Linux/Media/Images/ImageIO.h"
#include "Lumicrate/Preview/GIFExporter.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/ChildProcess.h"

#include <fmt/format.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

namespace lumicrate {
namespace {

constexpr int width = 640;
constexpr int fps = 12;

struct Result {
    double seconds = 0;
    double cpuSeconds = 0;
    double memory = 0;  // MiB, maximum
    double kibibytes = 0;
    bench::GifQuality quality;
};

using Command = std::vector<std::string>;

Result measure(const Command& command, const std::filesystem::path& gif, const std::filesystem::path& movie,
               const std::string& choice) {
    const auto start = std::chrono::steady_clock::now();
    stage::ChildProcess process(command);
    const stage::ChildResult ended = process.mustEnd(600);
    if (ended.exitStatus != 0) throw std::runtime_error("It failed: " + command.front());
    Result result;
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    result.cpuSeconds = ended.cpuSeconds();
    result.memory = static_cast<double>(ended.maxResidentKiB) / 1024;
    result.kibibytes = static_cast<double>(std::filesystem::file_size(gif)) / 1024;
    result.quality = bench::judgeGif(gif, movie, fmt::format("{},scale={}:-1:flags=lanczos", choice, width),
                                     gif.parent_path());
    return result;
}

void print(const std::string& content, const std::string& name, const Result& result) {
    fmt::print(
        "{:<10} {:<10} {:>7.2f} {:>7.2f} {:>6.0f} {:>8.0f} {:>7} {:>7.2f} {:>8.4f} {:>7.2f} {:>8.4f}\n",
        content, name, result.seconds, result.cpuSeconds, result.memory, result.kibibytes,
        result.quality.frames, result.quality.noise, result.quality.similarity, result.quality.seenNoise,
        result.quality.seenSimilarity);
    std::fflush(stdout);
}

void compare(const std::string& content, const std::filesystem::path& movie,
             const std::filesystem::path& folder) {
    const std::filesystem::path ours = folder / (content + "-lumicrate.gif");
    const std::filesystem::path theirs = folder / (content + "-ffmpeg.gif");
    std::filesystem::remove(ours);
    // Each is compared with the pictures that it chooses: the one shown at a time, or the nearest.
    const auto mine = measure({std::filesystem::read_symlink("/proc/self/exe"), "--make", movie, ours}, ours,
                              movie, fmt::format("fps={}:round=up", fps));
    const auto other =
        measure({"ffmpeg", "-v", "error", "-y", "-i", movie, "-vf",
                 fmt::format("fps={},scale={}:-1:flags=lanczos,split[a][b];[a]palettegen[p];[b][p]paletteuse",
                             fps, width),
                 theirs},
                theirs, movie, fmt::format("fps={}", fps));
    print(content, "lumicrate", mine);
    print(content, "ffmpeg", other);
    fmt::print("{:<10} {:<10} {:>7.3f} {:>7.3f} {:>6.3f} {:>8.3f}\n", content, "ratio",
               mine.seconds / other.seconds, mine.cpuSeconds / other.cpuSeconds, mine.memory / other.memory,
               mine.kibibytes / other.kibibytes);
}

void run(Command arguments) {
    if (arguments.size() == 3 && arguments[0] == "--make") {
        exportGIF(media::Assets(), media::ImageIO(), arguments[1], arguments[2], {width, fps}, {});
        return;
    }
    const auto take = [&](const std::string& option, std::string value) {
        const auto found = std::find(arguments.begin(), arguments.end(), option);
        if (found == arguments.end() || found + 1 == arguments.end()) return value;
        value = found[1];
        arguments.erase(found, found + 2);
        return value;
    };
    const test::TemporaryFolder temporary;
    const int seconds = std::stoi(take("--seconds", "10"));
    const std::filesystem::path movie = take("--movie", "");
    const std::filesystem::path folder = take("--keep", temporary.path());
    if (movie.empty() && arguments.empty())
        arguments = {"typing", "scrolling", "dragging", "moving", "camera"};
    fmt::print("{:<10} {:<10} {:>7} {:>7} {:>6} {:>8} {:>7} {:>7} {:>8} {:>7} {:>8}\n", "content", "", "s",
               "cpu s", "MiB", "KiB", "frames", "PSNR", "SSIM", "afar", "afar");
    if (!movie.empty()) compare(movie.stem(), movie, folder);
    for (const std::string& content : arguments) {
        const std::filesystem::path made = folder / (content + ".mp4");
        if (!std::filesystem::exists(made)) bench::makeGifMovie(content, seconds, made);
        compare(content, made, folder);
    }
}

}  // namespace
}  // namespace lumicrate

int main(int argc, char** argv) {
    try {
        lumicrate::run({argv + 1, argv + argc});
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        fmt::print(stderr, "lumicrate-gif-bench: {}\n", error.what());
        return EXIT_FAILURE;
    }
}
