// SPDX-License-Identifier: GPL-3.0-or-later
// MovieBoxes: reads an MP4, M4A or QuickTime file box by box, strictly, and lists what is wrong with it. The
// samples are those that FFmpeg's demuxer finds.
//
// It is for what the recorder writes, not for what editing writes by FFmpeg's libraries. Players forgive
// much. This accepts only what the standards allow and this program promises: H.264 or HEVC in BT.709 without
// reordered pictures, parameter sets in the sample entry, sound in AAC, in plain and fragmented files.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace lumicrate::stage {

struct MovieSample {
    std::uint64_t offset = 0;    // in the file
    std::uint32_t size = 0;      // bytes
    std::int64_t mediaTime = 0;  // ticks, when it is presented, edits applied
    std::uint32_t duration = 0;  // ticks
    bool isSync = false;
    std::string bytes;
    double time = 0;  // mediaTime in seconds
};

struct MovieTrack {
    std::uint32_t id = 0;
    std::string handler;  // "vide", "soun" or "meta"
    std::string name;     // the handler's
    std::uint32_t timescale = 0;
    double presentedDuration = 0;      // seconds from the movie's beginning to the track's end
    std::vector<MovieSample> samples;  // in file order

    bool isVideo() const { return handler == "vide"; }
    bool isSound() const { return handler == "soun"; }
    bool isMetadata() const { return handler == "meta"; }
};

struct MovieBoxes {
    std::vector<std::string> boxes;  // the top-level boxes' types in file order
    std::string brand;               // the major one
    std::int64_t created = 0;        // seconds since 1970; before 1970 if unknown
    std::vector<MovieTrack> tracks;  // in file order
    bool isFragmented = false;
    std::vector<std::string> faults;  // sentences with box and offset

    // Whether the index of all samples stands before the first of them.
    bool indexInFront() const;
};

enum class Ending {
    Whole,
    CutOff,  // the writer was killed: an incomplete last fragment is ignored
};

// Throws std::runtime_error when the file cannot be read at all.
MovieBoxes readMovieBoxes(const std::filesystem::path& file, Ending ending = Ending::Whole);
// Nothing if the file is right.
std::vector<std::string> faultsOf(const std::filesystem::path& file, Ending ending = Ending::Whole);

// Which samples of two files differ: in bytes, times (to a tick), or durations except those of each track's
// last sample, which may not have been known yet. Ignores tracks without samples.
std::vector<std::string> differencesOf(const MovieBoxes& one, const MovieBoxes& other);

}  // namespace lumicrate::stage
