// SPDX-License-Identifier: GPL-3.0-or-later
// AVPlayer: plays one movie or sound file.
#pragma once

#include "Platform/AVAsset.h"
#include "Platform/RenderedPicture.h"
#include "Support/MediaTime.h"
#include "Support/Published.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate {

/// Plays from a file, muted or not, at any rate. Nothing waits for the decoder: each call returns at once,
/// and its effect appears in `state` and in the pictures. Main thread.
///
/// The picture shown is always the latest one that begins at or before the position, as soon as the player
/// knows when the pictures begin. For example, in a recording with pictures at 0 s and 60 s, a seek to 30 s
/// shows the first.
class AVPlayer {
 public:
    enum class Status { loading, ready, failed };

    struct State {
        Status status = Status::loading;
        std::string error;  ///< a sentence for the user when failed
        bool isPlaying = false;
        double time = 0;      ///< seconds from the beginning
        double duration = 0;  ///< seconds; 0 while unknown
        bool isAtEnd = false;
        bool isSeeking = false;  ///< a seek has not yet reached its picture

        bool operator==(const State&) const = default;
    };

    /// How a seek lands: on a key picture nearby, which is quick, or exactly.
    enum class Seek { coarse, exact };

    virtual ~AVPlayer() = default;

    Published<State> state;

    /// When the pictures of the file begin, ascending; none for sound.
    virtual void setPictureTimes(const std::vector<CMTime>& times) = 0;

    virtual void play() = 0;
    virtual void pause() = 0;
    /// The latest of several seeks wins: at most one is carried out at a time.
    virtual void seek(CMTime time, Seek how) = 0;
    /// 0.5 … 2; the pitch of the sound stays.
    virtual void setRate(double rate) = 0;
    /// 0 … 1.
    virtual void setVolume(double volume) = 0;
    virtual void setMuted(bool muted) = 0;
    /// The reverse and forward playback end times: playing repeats this range. None: everything, once.
    virtual void setPlaybackRange(std::optional<CMTimeRange> range) = 0;

    /// The size in pixels in which pictures are rendered, without changing their aspect ratio: the rest is
    /// black. Nothing is rendered at 0 × 0.
    virtual void setPictureSize(int width, int height) = 0;
    /// The current picture; without pixels before the first one and for sound.
    virtual RenderedPicture picture() const = 0;
    /// `changed` is called when picture() has changed.
    [[nodiscard]] Subscription observePictures(std::function<void()> changed) const {
        return pictures_.add(std::move(changed));
    }

 protected:
    mutable Observers<> pictures_;
};

/// Opens a file in a new player, paused. Throws PlatformError when no player is installed.
using AVPlayerFactory = std::function<std::unique_ptr<AVPlayer>(const std::filesystem::path& url)>;

}  // namespace lumicrate
