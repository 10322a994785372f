// SPDX-License-Identifier: GPL-3.0-or-later
// InputContainer: any movie file, opened by FFmpeg's libraries.
#pragma once

#include <filesystem>
#include <memory>

extern "C" {
#include <libavformat/avformat.h>
}

namespace lumicrate::media {

struct CloseInput {
    void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
};
using InputContainer = std::unique_ptr<AVFormatContext, CloseInput>;

/// Opens a file and reads its headers. Only containers that hold their media themselves are allowed, because
/// a playlist could make the libraries open anything. `maxProbed` limits the bytes, and the microseconds, of
/// media that are examined; 0 for the libraries' defaults. Returns a code of the libraries, negative on
/// failure.
int openContainer(const std::filesystem::path& path, int maxProbed, InputContainer& opened);

}  // namespace lumicrate::media
