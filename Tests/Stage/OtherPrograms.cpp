#include "Tests/Stage/OtherPrograms.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <functional>
#include <sstream>

namespace lumicrate::stage {

namespace {

using Lines = std::vector<std::string>;

Lines linesOf(
    const std::string& text,
    const std::function<bool(const std::string&)>& isWanted = [](const std::string&) { return true; }) {
    Lines lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (isWanted(line)) lines.push_back(line);
    }
    return lines;
}

bool isComplaint(std::string line) {
    constexpr std::array words{"error",  "invalid",  "corrupt", "truncated", "wrong",
                               "failed", "couldn't", "can't",   "could not", "problem"};
    std::transform(line.begin(), line.end(), line.begin(),
                   [](unsigned char letter) { return std::tolower(letter); });
    return std::any_of(words.begin(), words.end(),
                       [&](const char* word) { return line.find(word) != std::string::npos; });
}

void append(Lines& all, const std::string& program, const Lines& more) {
    for (const std::string& line : more) {
        all.push_back(program + ": " + line);
    }
}

ProgramRun decode(const std::filesystem::path& file, const Lines& options) {
    Lines command{"ffmpeg", "-v", "error", "-nostdin"};
    command.insert(command.end(), options.begin(), options.end());
    // ffmpeg would round the times of pictures to its guess of the frame rate.
    const Lines rest{"-i", file.string(), "-map", "0", "-enc_time_base:v", "1:90000", "-f", "null", "-"};
    command.insert(command.end(), rest.begin(), rest.end());
    return runToEnd(command);
}

/// As fast as possible, without output.
ProgramRun play(const std::filesystem::path& file) {
    return runToEnd({"mpv", "--no-config", "--vo=null", "--ao=null", "--untimed", "--ao-null-untimed=yes",
                     "--input-terminal=no", "--term-status-msg=", "--msg-level=all=error,cplayer=info",
                     file.string()});
}

bool wasPlayedToTheEnd(const ProgramRun& played) {
    return played.status == 0 && played.output.find("(End of file)") != std::string::npos;
}

Lines complaintsOfMediaInfo(const std::filesystem::path& file) {
    const auto details = runToEnd({"mediainfo", "--Details=1", file.string()});
    const auto isFault = [](const std::string& line) {
        // MediaInfo has no name for the bits that end a parameter set.
        const bool isUnknown =
            line.find("Unknown:") != std::string::npos && line.find(" bits)") == std::string::npos;
        return isComplaint(line) || isUnknown;
    };
    Lines lines = linesOf(details.output, isFault);
    if (details.output.find("MPEG-4, finished") == std::string::npos) lines.emplace_back("doesn't finish");
    // Its conclusions, except about the file's extension.
    const auto summary = runToEnd({"mediainfo", file.string()});
    append(lines, "summary", linesOf(summary.output, [](const std::string& line) {
               return !line.starts_with("FileExtension") && !line.starts_with("Complete name") &&
                      (isComplaint(line) || line.find("Conformance") != std::string::npos);
           }));
    return lines;
}

}  // namespace

std::vector<std::string> complaintsAbout(const std::filesystem::path& file) {
    Lines complaints;
    const auto probed =
        runToEnd({"ffprobe", "-v", "error", "-show_format", "-show_streams", "-show_packets", file.string()});
    append(complaints, "ffprobe", linesOf(probed.error));
    const auto decoded = decode(file, {"-xerror"});
    append(complaints, "ffmpeg", linesOf(decoded.everything()));
    if (decoded.status != 0) complaints.push_back("ffmpeg: status " + std::to_string(decoded.status));
    append(complaints, "mediainfo", complaintsOfMediaInfo(file));
    const auto played = play(file);
    append(complaints, "mpv", linesOf(played.everything(), [](const std::string& line) {
               return line.starts_with("[") || isComplaint(line);
           }));
    if (!wasPlayedToTheEnd(played)) complaints.push_back("mpv: doesn't play to the end");
    return complaints;
}

std::vector<std::string> refusalsOf(const std::filesystem::path& file) {
    Lines refusals;
    const auto decoded = decode(file, {});
    if (decoded.status != 0) refusals.push_back("ffmpeg: " + decoded.everything());
    const auto played = play(file);
    if (!wasPlayedToTheEnd(played)) refusals.push_back("mpv: " + played.everything());
    return refusals;
}

}  // namespace lumicrate::stage
