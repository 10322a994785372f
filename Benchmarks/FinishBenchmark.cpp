// SPDX-License-Identifier: GPL-3.0-or-later
// Measures the time from the last sample to the finished file for several lengths of recordings, compared
// with FFmpeg, which copies the media to put the index in front.
//
//   lumicrate-finish-bench [FOLDER] [HOURS…]

#include "Linux/Media/MovieFile/MovieFile.h"
#include "Tests/Stage/ChildProcess.h"

#include <fmt/format.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace lumicrate {
namespace {

constexpr std::int64_t videoTimescale = 90000;
constexpr std::int64_t audioRate = 48000;
constexpr std::int64_t aacFrame = 1024;
constexpr int picturesPerSecond = 30;
/// About 1 Mbit/s of pictures and 320 kbit/s of sound, as for a busy screen.
constexpr std::size_t pictureBytes = 4000;
constexpr std::size_t systemAudioBytes = 512;
constexpr std::size_t microphoneBytes = 341;

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

struct SoundTrack {
    int number = 0;
    std::vector<std::uint8_t> sample;
    std::int64_t time = -aacFrame;
};

/// Writes a recording of that length as fast as the disk allows, without finishing it.
void writeMedia(media::MovieFile& file, std::int64_t seconds) {
    // The configurations may be wrong: the samples are not decoded.
    const isobmff::VideoDescription video{
        isobmff::VideoCodec::h264, 1920, 1080, {1, 100, 0, 40, 255, 224, 0}};
    const int pictures = file.addTrack({video, "Video", videoTimescale, 0}, 8'000'000);
    std::vector<SoundTrack> sounds;
    for (const std::size_t bytes : {systemAudioBytes, microphoneBytes}) {
        const isobmff::AudioDescription sound{audioRate, 2, 192000, {0x11, 0x90}};
        sounds.push_back({file.addTrack({sound, "Sound", audioRate, aacFrame}, 192000),
                          std::vector<std::uint8_t>(bytes, 0x21)});
    }
    file.begin();
    std::vector<std::uint8_t> picture(pictureBytes, 0xff);
    picture[0] = picture[1] = 0;
    picture[2] = (pictureBytes - 4) >> 8;
    picture[3] = (pictureBytes - 4) & 0xff;
    for (std::int64_t i = 0; i < seconds * picturesPerSecond; ++i) {
        while (file.backlog() > 0.5)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        const std::int64_t time = i * videoTimescale / picturesPerSecond;
        picture[4] = i % 60 == 0 ? 0x65 : 0x41;
        file.write(pictures, {picture, time, 90, i % 60 == 0});
        for (SoundTrack& each : sounds) {
            for (; each.time * videoTimescale < time * audioRate; each.time += aacFrame)
                file.write(each.number, {each.sample, each.time, aacFrame, true});
        }
    }
    while (file.backlog() > 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

double finishWithCopy(const std::filesystem::path& movie) {
    const std::filesystem::path copy = movie.parent_path() / "lumicrate-finish-bench-copy.mp4";
    const auto start = Clock::now();
    stage::runProgram({"ffmpeg", "-v", "quiet", "-y", "-i", movie.string(), "-map", "0", "-c", "copy",
                       "-movflags", "+faststart", copy.string()},
                      {}, 3600);
    const double seconds = secondsSince(start);
    std::filesystem::remove(copy);
    return seconds;
}

void measure(const std::filesystem::path& folder, double hours) {
    const std::filesystem::path path = folder / "lumicrate-finish-bench.mp4";
    std::filesystem::remove(path);
    media::MovieFile file(path, AVFileType::mpeg4, media::RecoveryList(folder / "lumicrate-finish-bench"));
    writeMedia(file, static_cast<std::int64_t>(hours * 3600));
    const auto start = Clock::now();
    file.finish();
    const double ours = secondsSince(start);
    const double theirs = finishWithCopy(path);
    fmt::print("{:>6.2f} h {:>8.0f} MiB {:>9.3f} s {:>10.2f} s {:>9.4f}\n", hours,
               static_cast<double>(std::filesystem::file_size(path)) / (1 << 20), ours, theirs,
               ours / theirs);
    std::filesystem::remove(path);
    std::filesystem::remove_all(folder / "lumicrate-finish-bench");
}

}  // namespace
}  // namespace lumicrate

int main(int argc, char** argv) {
    try {
        const std::vector<std::string> arguments(argv + 1, argv + argc);
        const std::filesystem::path folder = arguments.empty() ? "." : arguments[0];
        fmt::print("{:>8} {:>12} {:>11} {:>12} {:>9}\n", "length", "file", "finish", "ffmpeg copy", "ratio");
        if (arguments.size() < 2) lumicrate::measure(folder, 3);
        for (std::size_t i = 1; i < arguments.size(); ++i)
            lumicrate::measure(folder, std::stod(arguments[i]));
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        fmt::print(stderr, "lumicrate-finish-bench: {}\n", error.what());
        return EXIT_FAILURE;
    }
}
