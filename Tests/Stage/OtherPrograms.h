// OtherPrograms: what FFmpeg, MediaInfo, mpv and AtomicParsley report about a movie file.
#pragma once

#include "Tests/Stage/ChildProcess.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace lumicrate::stage {

/// Everything that ffprobe, a decoding ffmpeg that stops at the first error, MediaInfo and a playing mpv
/// complain about, each line with the program's name; empty when there is nothing.
std::vector<std::string> complaintsAbout(const std::filesystem::path& file);

/// The output of those of ffmpeg and mpv that do not get to the end of a file, which may be cut off in the
/// middle of a sample; empty when both do.
std::vector<std::string> refusalsOf(const std::filesystem::path& file);

/// A box as AtomicParsley reports it.
struct Atom {
    std::string type;
    std::uint64_t offset = 0;
    std::uint64_t size = 0;

    bool operator==(const Atom&) const = default;
    auto operator<=>(const Atom&) const = default;
};

/// All boxes in file order; none for QuickTime files, which AtomicParsley does not read.
std::vector<Atom> atomsOf(const std::filesystem::path& file);
/// The types of all boxes that MediaInfo reports, in file order.
std::vector<std::string> boxTypesOf(const std::filesystem::path& file);

}  // namespace lumicrate::stage
