// SPDX-License-Identifier: GPL-3.0-or-later
#include "Benchmarks/Recorder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <stdexcept>
#include <string_view>

namespace lumicrate::bench {

namespace {

using Command = std::vector<std::string>;

std::string joined(std::initializer_list<int> numbers, char between) {
    std::string text;
    for (const int number : numbers) {
        if (!text.empty()) text += between;
        text += std::to_string(number);
    }
    return text;
}

void interrupt(stage::ChildProcess& process, const Assignment&) {
    process.signal(SIGINT);
}

Command lumicrateSource(const Assignment& assignment) {
    const auto& area = assignment.frame;
    switch (assignment.setting.source) {
        case Source::Area:
            return {"--area", joined({area.x, area.y, area.width, area.height}, ',')};
        case Source::Window:
            return {"--window", std::to_string(assignment.window)};
        case Source::Screen:
            break;
    }
    return {"--screen"};
}

Command lumicrateCommand(const Assignment& assignment, const std::string& program, const char* format) {
    Command command{program, "record", "--no-system-audio", "--no-microphone", "--no-countdown"};
    for (const auto& word : lumicrateSource(assignment)) {
        command.push_back(word);
    }
    for (const auto& word : {std::string("--quality"), assignment.setting.quality, std::string("--fps"),
                             std::to_string(assignment.setting.framesPerSecond), std::string("--format"),
                             std::string(format), std::string("--encoding-quality"), std::string("high"),
                             std::string("--output"), assignment.file.string()}) {
        command.push_back(word);
    }
    return command;
}

Command lumicrateH264Command(const Assignment& assignment, const std::string& program) {
    return lumicrateCommand(assignment, program, "mp4H264");
}

Command lumicrateHevcCommand(const Assignment& assignment, const std::string& program) {
    return lumicrateCommand(assignment, program, "movHEVC");
}

Command ffmpegCommand(const Assignment& assignment, const std::string& program) {
    const auto& area = assignment.frame;
    Command command{program, "-loglevel", "error", "-nostdin", "-y", "-f", "x11grab", "-framerate"};
    command.push_back(std::to_string(assignment.setting.framesPerSecond));
    if (assignment.setting.source == Source::Window) {
        command.insert(command.end(),
                       {"-window_id", std::to_string(assignment.window), "-i", assignment.display});
    } else {
        command.insert(command.end(), {"-video_size", joined({area.width, area.height}, 'x'), "-i",
                                       assignment.display + "+" + joined({area.x, area.y}, ',')});
    }
    if (assignment.isScaled()) {
        // Averages areas, as the reference does.
        command.insert(command.end(), {"-vf", "scale=-2:" + std::to_string(assignment.pictureSize().height) +
                                                  ":flags=area"});
    }
    command.insert(command.end(),
                   {"-c:v", "libx264", "-preset", "veryfast", "-b:v", std::to_string(assignment.bitRate()),
                    "-pix_fmt", "yuv420p", assignment.file.string()});
    return command;
}

// It has no option for the rate of pictures: it takes one when the screen has changed. With an average bit
// rate it writes grey pictures, so it gets a constant quality, and by the filter colours of the usual size.
Command wfRecorderCommand(const Assignment& assignment, const std::string& program) {
    std::string filter = "format=yuv420p";
    if (assignment.isScaled())
        filter = "scale=-2:" + std::to_string(assignment.pictureSize().height) + ":flags=area," + filter;
    return {program,  "-c", "libx264", "-p", "preset=veryfast",       "-p",
            "crf=23", "-F", filter,    "-f", assignment.file.string()};
}

// It ends with the next picture, and there is none on a still screen.
void stopWfRecorder(stage::ChildProcess& process, const Assignment&) {
    process.signal(SIGINT);
    stage::runProgram({"swaymsg", "--", "seat", "-", "cursor", "move", "-1", "0"});
}

std::filesystem::path besides(const Assignment& assignment, const char* extension) {
    auto path = assignment.file;
    return path.replace_extension(extension);
}

// It has no option for the size: it reads settings from a file, and orders to stop from standard input.
// "veryfast" is the third of its presets.
Command simpleScreenRecorderCommand(const Assignment& assignment, const std::string& program) {
    const auto settings = besides(assignment, ".conf");
    const auto pipe = besides(assignment, ".in");
    const auto& area = assignment.frame;
    const auto picture = assignment.pictureSize();
    const bool isWhole = assignment.setting.source == Source::Screen;
    std::ofstream(settings)
        << "[welcome]\nskip_page=true\n"
        << "[input]\nvideo_area=" << (isWhole ? "screen" : "fixed")
        << "\nvideo_area_screen=0\nvideo_x=" << area.x << "\nvideo_y=" << area.y << "\nvideo_w=" << area.width
        << "\nvideo_h=" << area.height << "\nvideo_frame_rate=" << assignment.setting.framesPerSecond
        << "\nvideo_scale=" << (assignment.isScaled() ? "true" : "false")
        << "\nvideo_scaled_w=" << picture.width << "\nvideo_scaled_h=" << picture.height
        << "\nvideo_record_cursor=true\naudio_enabled=false\n"
        << "[output]\nfile=" << assignment.file.string()
        << "\nseparate_files=false\nadd_timestamp=false\ncontainer=mp4\nvideo_codec=h264\n"
        << "video_h264_crf=23\nvideo_h264_preset=2\nvideo_allow_frame_skipping=true\n";
    std::filesystem::remove(pipe);
    if (mkfifo(pipe.c_str(), 0600) != 0) throw std::runtime_error("Could not make " + pipe.string());
    // Opened for reading and writing, so that opening does not block and there is never an end of file.
    const char* script =
        R"sh(exec "$1" --settingsfile="$2" --start-hidden --start-recording --no-systray <>"$3")sh";
    return {"sh", "-c", script, "sh", program, settings.string(), pipe.string()};
}

void stopSimpleScreenRecorder(stage::ChildProcess&, const Assignment& assignment) {
    constexpr std::string_view orders = "record-save\nquit\n";
    const stage::Descriptor pipe(open(besides(assignment, ".in").c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    if (write(pipe.get(), orders.data(), orders.size()) != static_cast<ssize_t>(orders.size()))
        throw std::runtime_error("SimpleScreenRecorder does not read orders");
}

}  // namespace

std::vector<Recorder> allRecorders(const std::string& lumicrate) {
    return {{"lumicrate", lumicrate, "mp4", lumicrateH264Command, interrupt, 0, true, Desktops::Both},
            {"lumicrate-hevc", lumicrate, "mov", lumicrateHevcCommand, interrupt, 0, true, Desktops::Both},
            // Interrupted, it finishes its file and exits with this status.
            {"ffmpeg", "ffmpeg", "mp4", ffmpegCommand, interrupt, 255},
            {"ssr", "simplescreenrecorder", "mp4", simpleScreenRecorderCommand, stopSimpleScreenRecorder, 0,
             false},
            {"wf", "wf-recorder", "mp4", wfRecorderCommand, stopWfRecorder, 0, false, Desktops::Wayland}};
}

}  // namespace lumicrate::bench
