#include "Benchmarks/Recorder.h"

#include <array>
#include <cstdio>
#include <fstream>

namespace lumicrate::bench {

namespace {

// The rate that the encoding quality "high" allows 1080p at 30 a second, so that both stand under the same
// ceiling.
constexpr const char* bitRate = "7464960";

std::string number(double value) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%g", value);
    return text.data();
}

std::string size(const Assignment& assignment) {
    return std::to_string(assignment.width) + "x" + std::to_string(assignment.height);
}

std::vector<std::string> lumicrateCommand(const Assignment& assignment, const std::string& program,
                                          const char* format) {
    return {program,
            "record",
            "--screen",
            "--no-system-audio",
            "--no-microphone",
            "--no-countdown",
            "--quality",
            "native",
            "--fps",
            "30",
            "--format",
            format,
            "--encoding-quality",
            "high",
            "--duration",
            number(assignment.seconds),
            "--output",
            assignment.file.string()};
}

std::vector<std::string> lumicrateH264Command(const Assignment& assignment, const std::string& program) {
    return lumicrateCommand(assignment, program, "mp4H264");
}

std::vector<std::string> lumicrateHevcCommand(const Assignment& assignment, const std::string& program) {
    return lumicrateCommand(assignment, program, "movHEVC");
}

std::vector<std::string> ffmpegCommand(const Assignment& assignment, const std::string& program) {
    return {program,
            "-loglevel",
            "error",
            "-nostdin",
            "-y",
            "-f",
            "x11grab",
            "-framerate",
            "30",
            "-video_size",
            size(assignment),
            "-i",
            assignment.display,
            "-t",
            number(assignment.seconds),
            "-c:v",
            "libx264",
            "-preset",
            "veryfast",
            "-b:v",
            bitRate,
            "-pix_fmt",
            "yuv420p",
            assignment.file.string()};
}

// Its command line knows no length and no size; it reads its settings from a file and is told to stop on its
// standard input. "veryfast" is the third of its presets.
std::vector<std::string> simpleScreenRecorderCommand(const Assignment& assignment,
                                                     const std::string& program) {
    auto settings = assignment.file;
    settings.replace_extension(".conf");
    std::ofstream(settings)
        << "[welcome]\nskip_page=true\n"
        << "[input]\nvideo_area=screen\nvideo_area_screen=0\nvideo_x=0\nvideo_y=0\nvideo_w="
        << assignment.width << "\nvideo_h=" << assignment.height
        << "\nvideo_frame_rate=30\nvideo_scale=false\nvideo_record_cursor=true\naudio_enabled=false\n"
        << "[output]\nfile=" << assignment.file.string()
        << "\nseparate_files=false\nadd_timestamp=false\ncontainer=mp4\nvideo_codec=h264\n"
        << "video_h264_crf=23\nvideo_h264_preset=2\nvideo_allow_frame_skipping=true\n";
    // It is told to save over its standard input.
    const char* script = R"sh(
        (sleep "$1"; echo record-save; echo quit) |
            "$2" --settingsfile="$3" --start-hidden --start-recording --no-systray)sh";
    return {"sh", "-c", script, "sh", number(assignment.seconds), program, settings.string()};
}

}  // namespace

std::vector<Recorder> allRecorders(const std::string& lumicrate) {
    return {{"lumicrate", lumicrateH264Command, lumicrate, "mp4"},
            {"lumicrate-hevc", lumicrateHevcCommand, lumicrate, "mov"},
            {"ffmpeg", ffmpegCommand, "ffmpeg", "mp4"},
            {"ssr", simpleScreenRecorderCommand, "simplescreenrecorder", "mp4"}};
}

}  // namespace lumicrate::bench
