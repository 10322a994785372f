// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Stage/OtherPrograms.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <functional>
#include <sstream>
#include <utility>

namespace lumicrate::stage {

namespace {

using Lines = std::vector<std::string>;

/// Those lines of a text that are wanted, after the name of the program that wrote them.
void append(
    Lines& all, const std::string& program, const std::string& text,
    const std::function<bool(const std::string&)>& isWanted = [](const std::string&) { return true; }) {
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (isWanted(line)) all.push_back(program + ": " + line);
    }
}

bool isComplaint(std::string line) {
    constexpr std::array words{"error",  "invalid",  "corrupt", "truncated", "wrong",
                               "failed", "couldn't", "can't",   "could not", "problem"};
    std::transform(line.begin(), line.end(), line.begin(),
                   [](unsigned char letter) { return std::tolower(letter); });
    return std::any_of(words.begin(), words.end(),
                       [&](const char* word) { return line.find(word) != std::string::npos; });
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

void appendMediaInfo(Lines& complaints, const std::filesystem::path& file) {
    const std::string details = runToEnd({"mediainfo", "--Details=1", file.string()}).output;
    bool isInMett = false;
    append(complaints, "mediainfo", details, [&isInMett](const std::string& line) {
        // MediaInfo has no name for the bits that end a parameter set, nor for the content of "mett".
        const bool isUnknown =
            line.find("Unknown:") != std::string::npos && line.find(" bits)") == std::string::npos;
        const bool isBox = !isUnknown && line.find(" bytes)") != std::string::npos;
        isInMett = line.ends_with("mett") || (isInMett && !isBox);
        return isComplaint(line) || (isUnknown && !isInMett);
    });
    if (details.find("MPEG-4, finished") == std::string::npos)
        complaints.emplace_back("mediainfo: doesn't finish");
    // Its conclusions, except about the file's extension.
    append(complaints, "mediainfo", runToEnd({"mediainfo", file.string()}).output,
           [](const std::string& line) {
               return !line.starts_with("FileExtension") && !line.starts_with("Complete name") &&
                      (isComplaint(line) || line.find("Conformance") != std::string::npos);
           });
}

std::size_t count(const std::string& text, const std::string& word) {
    std::size_t found = 0;
    for (auto at = text.find(word); at != std::string::npos; at = text.find(word, at + 1))
        ++found;
    return found;
}

void appendAtomicParsley(Lines& complaints, const std::filesystem::path& file, std::size_t tracks) {
    const ProgramRun listed = runToEnd({"AtomicParsley", file.string(), "-T", "1"});
    append(complaints, "AtomicParsley", listed.error);
    if (listed.status != 0) complaints.push_back("AtomicParsley: status " + std::to_string(listed.status));
    for (const auto& [box, expected] :
         {std::pair{"ftyp", std::size_t{1}}, {"moov", 1}, {"mdat", 1}, {"trak", tracks}}) {
        if (count(listed.output, std::string("Atom ") + box + " @ ") != expected)
            complaints.push_back(std::string("AtomicParsley: another number of boxes ") + box);
    }
}

}  // namespace

std::vector<std::string> complaintsAbout(const std::filesystem::path& file) {
    Lines complaints;
    const auto probed =
        runToEnd({"ffprobe", "-v", "error", "-show_format", "-show_streams", "-show_packets", file.string()});
    append(complaints, "ffprobe", probed.error);
    // AtomicParsley does not read QuickTime files.
    if (count(probed.output, "major_brand=qt") == 0)
        appendAtomicParsley(complaints, file, count(probed.output, "[STREAM]"));
    const auto decoded = decode(file, {"-xerror"});
    append(complaints, "ffmpeg", decoded.everything());
    if (decoded.status != 0) complaints.push_back("ffmpeg: status " + std::to_string(decoded.status));
    appendMediaInfo(complaints, file);
    const auto played = play(file);
    append(complaints, "mpv", played.everything(),
           [](const std::string& line) { return line.starts_with("[") || isComplaint(line); });
    if (!wasPlayedToTheEnd(played)) complaints.emplace_back("mpv: doesn't play to the end");
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
