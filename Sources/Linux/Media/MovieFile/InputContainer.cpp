// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/MovieFile/InputContainer.h"

extern "C" {
#include <libavutil/log.h>
}

namespace lumicrate::media {

int openContainer(const std::filesystem::path& path, int maxProbed, InputContainer& opened) {
    av_log_set_level(AV_LOG_QUIET);
    AVDictionary* options = nullptr;
    av_dict_set(&options, "format_whitelist", "mov,matroska,avi,mpegts,mpeg,flv,ogg,asf,gif,mp3,wav,flac", 0);
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    if (maxProbed > 0) {
        av_dict_set_int(&options, "probesize", maxProbed, 0);
        av_dict_set_int(&options, "analyzeduration", maxProbed, 0);
    }
    AVFormatContext* input = nullptr;
    const int result = avformat_open_input(&input, ("file:" + path.string()).c_str(), nullptr, &options);
    av_dict_free(&options);
    opened.reset(result < 0 ? nullptr : input);
    return result;
}

}  // namespace lumicrate::media
