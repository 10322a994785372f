// SPDX-License-Identifier: GPL-3.0-or-later
// OtherPrograms: what FFmpeg, MediaInfo, AtomicParsley and mpv report about a movie file.
#pragma once

#include "Tests/Stage/ChildProcess.h"

#include <filesystem>
#include <string>
#include <vector>

namespace lumicrate::stage {

/// Everything that ffprobe, a decoding ffmpeg that stops at the first error, MediaInfo, AtomicParsley and a
/// playing mpv complain about, each line with the program's name; empty when there is nothing.
std::vector<std::string> complaintsAbout(const std::filesystem::path& file);

/// The output of those of ffmpeg and mpv that do not get to the end of a file, which may be cut off in the
/// middle of a sample; empty when both do.
std::vector<std::string> refusalsOf(const std::filesystem::path& file);

}  // namespace lumicrate::stage
