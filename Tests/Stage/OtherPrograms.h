// OtherPrograms: what the programs that people open their movies with make of a file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace lumicrate::stage {

struct ProgramRun {
    int status = 0;
    std::string output;
    std::string error;

    std::string everything() const { return output + error; }
};

// Runs a program to its end. Throws std::runtime_error when it does not start or does not end in time.
ProgramRun runToEnd(std::vector<std::string> arguments, double seconds = 60);

// All that ffprobe, a decoding ffmpeg that stops at the first error, MediaInfo and a playing mpv have to find
// fault with, each with the program's name. Nothing if nothing.
std::vector<std::string> complaintsAbout(const std::filesystem::path& file);

// Whether the programs get to the end of what there is, be it cut off in the middle of a sample. Gives what
// they said if they do not.
std::vector<std::string> refusalsOf(const std::filesystem::path& file);

// A box as another program found it.
struct Atom {
    std::string type;
    std::uint64_t offset = 0;
    std::uint64_t size = 0;

    bool operator==(const Atom&) const = default;
    auto operator<=>(const Atom&) const = default;
};

// All boxes that AtomicParsley sees, in file order; none in QuickTime files, which it does not take.
std::vector<Atom> atomsOf(const std::filesystem::path& file);
// The types of all boxes that MediaInfo sees, in file order.
std::vector<std::string> boxTypesOf(const std::filesystem::path& file);

}  // namespace lumicrate::stage
