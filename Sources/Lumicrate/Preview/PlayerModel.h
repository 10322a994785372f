// SPDX-License-Identifier: GPL-3.0-or-later
// PlayerModel: the player of a preview window: transport, position, volume, and choosing the part to keep.
#pragma once

#include "Lumicrate/Preview/TrimRange.h"
#include "Platform/AVPlayer.h"
#include "Platform/NSUserDefaults.h"
#include "Support/Published.h"

#include <array>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace lumicrate {

/// Created once for a window and used for every file that the window shows. Main thread.
class PlayerModel {
 public:
    static constexpr std::array rates = {0.5, 1.0, 1.25, 1.5, 2.0};

    /// How trimming ended: with the range to keep, or cancelled.
    using TrimHandler = std::function<void(std::optional<CMTimeRange>)>;

    /// `defaults` must outlive this object.
    PlayerModel(AVPlayerFactory factory, NSUserDefaults& defaults);
    PlayerModel(const PlayerModel&) = delete;
    PlayerModel& operator=(const PlayerModel&) = delete;

    /// The player of the current file; null before the first and after detach(). It changes with each open().
    AVPlayer* player() const { return player_.get(); }
    const PictureTable& pictures() const { return pictures_; }
    bool canTrim() const { return player_ && hasPictures_; }

    /// A new player is announced, or its state has changed.
    [[nodiscard]] Subscription observe(std::function<void()> changed) const { return changes_.add(changed); }

    Published<std::string> error;  ///< why nothing plays; empty when it does
    Published<double> volume;
    Published<bool> muted;
    Published<double> rate;
    /// What trimming keeps; none while not trimming.
    Published<std::optional<TrimRange>> trim;

    /// Shows a file from its beginning, paused; ends trimming.
    void open(const std::filesystem::path& url);
    /// The pictures of the open file, once they are known. Until then trimming cannot begin.
    void setPictures(PictureTable pictures);
    /// Closes the file.
    void detach();

    const AVPlayer::State& state() const { return state_; }
    CMTime time() const;
    bool isPlaying() const { return state_.isPlaying; }
    void play();
    void pause();
    void togglePlay();
    /// By pictures, forwards or backwards.
    void step(int pictures);
    void jump(double seconds);
    void seek(CMTime time, AVPlayer::Seek how = AVPlayer::Seek::exact);

    /// Volume and mute are stored for the next window.
    void setVolume(double volume);
    void setMuted(bool muted);
    void setRate(double rate);

    /// Shows the handles until endTrimming(); `ended` is then called once.
    void beginTrimming(TrimHandler ended);
    void setTrimStart(CMTime time);
    void setTrimEnd(CMTime time);
    /// Accepting everything counts as cancelling, as there is nothing to cut.
    void endTrimming(bool accept);
    /// Plays the whole file again.
    void resetTrim();

 private:
    void applyTrim(TrimRange range);
    void store(std::string_view key, const DefaultsValue& value);

    AVPlayerFactory factory_;
    NSUserDefaults& defaults_;
    PictureTable pictures_;
    bool hasPictures_ = false;
    AVPlayer::State state_;  ///< a copy, because observers are notified before the player's changes
    TrimHandler trimEnded_;
    mutable Observers<> changes_;
    std::unique_ptr<AVPlayer> player_;
    Subscription following_;
};

}  // namespace lumicrate
