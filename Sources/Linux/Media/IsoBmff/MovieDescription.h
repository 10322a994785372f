// SPDX-License-Identifier: GPL-3.0-or-later
// MovieDescription: the properties of a movie file and its tracks, known before the first sample.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace lumicrate::isobmff {

/// MPEG-4 (ISO/IEC 14496-14), QuickTime, or MPEG-4 marked as sound only.
enum class Brand { mpeg4, quickTime, m4a };

enum class VideoCodec {
    h264,  ///< sample entry "avc1"
    hevc,  ///< sample entry "hvc1"
};

/// BT.709 in video range, square pixels, no reordered pictures.
struct VideoDescription {
    VideoCodec codec = VideoCodec::h264;
    int width = 0;  ///< pixels, 1 … 65535
    int height = 0;
    /// The decoder configuration record, the content of "avcC" or "hvcC" (ISO/IEC 14496-15).
    std::vector<std::uint8_t> configuration;

    bool operator==(const VideoDescription&) const = default;
};

/// AAC.
struct AudioDescription {
    int sampleRate = 48000;  ///< 1 … 65535
    int channels = 2;        ///< 1 or 2
    int bitRate = 0;         ///< bits a second
    /// The AudioSpecificConfig (ISO/IEC 14496-3).
    std::vector<std::uint8_t> configuration;

    bool operator==(const AudioDescription&) const = default;
};

/// Timed texts of one format, which players ignore: neither enabled nor presented, and without influence on
/// the movie's duration. What a sample says holds until the next one. A key sample says all; the others are
/// valid at their own time only.
struct MetadataDescription {
    std::string mimeType;  ///< of the samples

    bool operator==(const MetadataDescription&) const = default;
};

struct TrackDescription {
    std::variant<VideoDescription, AudioDescription, MetadataDescription> media;
    std::string name;             ///< shown by some players; UTF-8
    std::uint32_t timescale = 0;  ///< ticks a second of the track's clock; not 0
    /// How far before time zero the first sample begins, ticks: what a decoder needs to settle, not to be
    /// heard.
    std::uint32_t leadIn = 0;

    bool isVideo() const { return std::holds_alternative<VideoDescription>(media); }
    bool isSound() const { return std::holds_alternative<AudioDescription>(media); }
    bool isMetadata() const { return std::holds_alternative<MetadataDescription>(media); }
    bool operator==(const TrackDescription&) const = default;
};

struct MovieDescription {
    Brand brand = Brand::mpeg4;
    std::int64_t created = 0;  ///< seconds since 1970, UTC
    std::vector<TrackDescription> tracks;

    bool operator==(const MovieDescription&) const = default;
};

/// Identifies a recording, to recognize its file after a crash.
using MovieIdentifier = std::array<std::uint8_t, 16>;

}  // namespace lumicrate::isobmff
