// InputContainer: somebody's movie file, opened by FFmpeg's libraries.
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

/// Reads the head. Only containers that hold their media themselves are understood: a list of other files
/// could have anything opened. `mostProbed` is how many bytes and microseconds of the media may be looked at;
/// 0 for as many as the libraries like. Gives a code of the libraries, negative on failure.
int openContainer(const std::filesystem::path& path, int mostProbed, InputContainer& opened);

}  // namespace lumicrate::media
