// SPDX-License-Identifier: GPL-3.0-or-later
// MpvPlayer: plays a movie with libmpv and shows the right picture in sparse recordings, too.
#pragma once

#include "Linux/Player/MpvSession.h"
#include "Platform/AVPlayer.h"
#include "Support/Executor.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

namespace lumicrate::player {

/// libmpv answers a seek with the first picture at or after the time, which is the wrong one wherever a
/// picture is shown for long. So:
/// - While paused, it is sent to the beginning of the picture that is shown at the time.
/// - While playing a recording with gaps, a filter repeats pictures at the nominal rate, so that there is a
///   picture at every time.
///
/// Example: pictures at 0 s and 60 s. Seeking to 30 s while paused goes to 0 s. Playing from there sets the
/// filter, goes to 30 s and plays, so that the sound begins at 30 s and the second picture comes after 30 s.
class MpvPlayer final : public AVPlayer {
 public:
    /// See AVPlayerFactory. Reports arrive on `executor`, which must outlive the player.
    MpvPlayer(Executor& executor, const std::filesystem::path& url);
    ~MpvPlayer() override;

    void setPictureTimes(const std::vector<CMTime>& times) override;
    void play() override;
    void pause() override;
    void seek(CMTime time, Seek how) override;
    void setRate(double rate) override;
    void setVolume(double volume) override;
    void setMuted(bool muted) override;
    void setPlaybackRange(std::optional<CMTimeRange> range) override;
    void setPictureSize(int width, int height) override;
    RenderedPicture picture() const override;

 private:
    struct Target {
        double time = 0;
        Seek how = Seek::exact;
    };

    void handleReport();
    void seekTo(Target target);
    void sendNextSeek();
    void repeatPictures(bool repeat);
    double pictureTime(double time) const;
    void change(const std::function<void(State&)>& edit);

    std::vector<double> pictureTimes_;
    std::optional<double> repeatRate_;  ///< pictures per second of the filter; none where there are no gaps
    bool isRepeating_ = false;
    std::optional<Target> wanted_;
    bool playerIsAtEnd_ = false;  ///< also while a seek is in flight, when the end is not yet reported
    bool isSeekInFlight_ = true;  ///< opening the file counts as one
    /// Whether the position is the player's. After a seek while paused it is not: the player then stands at
    /// the beginning of the picture.
    bool followsPlayer_ = false;
    std::optional<CMTimeRange> range_;
    std::shared_ptr<MpvPlayer*> self_;  ///< what posted reports find null when they come too late
    MpvSession session_;
};

}  // namespace lumicrate::player
