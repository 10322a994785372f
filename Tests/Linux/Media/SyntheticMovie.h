// SPDX-License-Identifier: GPL-3.0-or-later
// SyntheticMovie: any number of fake samples that look real to a movie file, each recognizable by its size.
#pragma once

#include "Linux/Media/MovieFile/MovieFile.h"

#include <cstdint>
#include <filesystem>
#include <vector>

namespace lumicrate::test {

/// One video track of 30 pictures a second and one sound track.
class SyntheticMovie {
 public:
    static constexpr std::uint32_t videoTimescale = 90000;
    static constexpr std::uint32_t frameTicks = 3000;
    /// Duration of the last picture.
    static constexpr std::uint32_t lastTicks = 90;
    static constexpr std::uint32_t aacFrame = 1024;

    explicit SyntheticMovie(media::MovieFile& file) : file_(file) {
        video_ = file.addTrack({isobmff::VideoDescription{isobmff::VideoCodec::h264, 64, 64, configuration()},
                                "Video", videoTimescale, 0},
                               1'000'000);
        audio_ = file.addTrack(
            {isobmff::AudioDescription{48000, 2, 192000, {0x11, 0x90}}, "System audio", 48000, aacFrame},
            192000);
    }

    static std::size_t pictureSize(int index) { return 40 + static_cast<std::size_t>(index % 61); }
    static std::size_t soundSize(int index) { return 20 + static_cast<std::size_t>(index % 37); }
    static bool isKey(int index) { return index % 60 == 0; }

    /// Pictures up to number `end`, with the sound that belongs to them.
    void writeUpTo(int end) {
        for (; next_ < end; ++next_) {
            writePicture(next_);
            while (soundTime_ * videoTimescale < std::int64_t{next_} * frameTicks * 48000)
                writeSound();
        }
    }
    int soundCount() const { return sounds_; }

 private:
    /// From a real encoder: High profile, 64 by 64.
    static std::vector<std::uint8_t> configuration() {
        return {0x01, 0x64, 0x00, 0x0a, 0xff, 0xe1, 0x00, 0x18, 0x67, 0x64, 0x00, 0x0a, 0xac, 0xb2, 0x08,
                0x4d, 0x80, 0x88, 0x00, 0x00, 0x03, 0x00, 0x08, 0x00, 0x00, 0x03, 0x01, 0xe0, 0x78, 0x91,
                0x32, 0x40, 0x01, 0x00, 0x06, 0x68, 0xeb, 0xc3, 0xcb, 0x22, 0xc0, 0xfd, 0xf8, 0xf8, 0x00};
    }

    void writePicture(int index) {
        const std::size_t size = pictureSize(index);
        data_.assign(size, 0xff);
        // One NAL unit after its length.
        data_[0] = data_[1] = data_[2] = 0;
        data_[3] = static_cast<std::uint8_t>(size - 4);
        data_[4] = isKey(index) ? 0x65 : 0x41;
        file_.write(video_, {data_, std::int64_t{index} * frameTicks, lastTicks, isKey(index)});
    }

    void writeSound() {
        // Begins as a pair of channels, ends with the end element.
        data_.assign(soundSize(sounds_++), 0x21);
        data_.back() = 0xe0;
        file_.write(audio_, {data_, soundTime_, aacFrame, true});
        soundTime_ += aacFrame;
    }

    media::MovieFile& file_;
    int video_ = 0;
    int audio_ = 0;
    int next_ = 0;
    int sounds_ = 0;
    std::int64_t soundTime_ = -static_cast<std::int64_t>(aacFrame);
    std::vector<std::uint8_t> data_;
};

}  // namespace lumicrate::test
