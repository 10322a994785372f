// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Preview/PlayerModel.h"

#include "Support/Error.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

namespace lumicrate {

namespace {

constexpr std::string_view volumeKey = "previewVolume";
constexpr std::string_view mutedKey = "previewMuted";

}  // namespace

PlayerModel::PlayerModel(AVPlayerFactory factory, NSUserDefaults& defaults)
    : factory_(std::move(factory)), defaults_(defaults) {
    defaults.registerDefaults({{std::string(volumeKey), 1.0}});
    volume = std::clamp(defaults.doubleForKey(volumeKey), 0.0, 1.0);
    muted = defaults.boolForKey(mutedKey);
    rate = 1.0;
}

void PlayerModel::open(const std::filesystem::path& url) {
    detach();
    try {
        player_ = factory_(url);
    } catch (const LocalizedError& failure) {
        error = failure.what();
        return;
    }
    error = "";
    player_->setVolume(*volume);
    player_->setMuted(*muted);
    if (*rate != 1) player_->setRate(*rate);
    following_ = player_->state.observe([this](const AVPlayer::State& coming) {
        state_ = coming;
        if (coming.status == AVPlayer::Status::failed && *error != coming.error) error = coming.error;
        changes_.notify();
    });
    changes_.notify();
}

void PlayerModel::detach() {
    endTrimming(false);
    following_ = Subscription();
    player_.reset();
    state_ = {};
    pictures_ = {};
    hasPictures_ = false;
    changes_.notify();
}

void PlayerModel::setPictures(PictureTable pictures) {
    if (!player_) return;
    pictures_ = std::move(pictures);
    hasPictures_ = true;
    player_->setPictureTimes(pictures_.times());
    changes_.notify();
}

CMTime PlayerModel::time() const {
    return CMTime::fromSeconds(state().time);
}

void PlayerModel::play() {
    if (player_) player_->play();
}

void PlayerModel::pause() {
    if (player_) player_->pause();
}

void PlayerModel::togglePlay() {
    isPlaying() ? pause() : play();
}

void PlayerModel::step(int pictures) {
    if (!player_) return;
    // The position while playing is a moment old: first stand still, then count.
    pause();
    seek(pictures_.stepped(time(), pictures));
}

void PlayerModel::jump(double seconds) {
    seek(time() + CMTime::fromSeconds(seconds));
}

void PlayerModel::seek(CMTime time, AVPlayer::Seek how) {
    if (!player_) return;
    const CMTime end = hasPictures_ ? pictures_.duration() : std::max(time, CMTime::zero());
    player_->seek(std::clamp(time, CMTime::zero(), end), how);
}

void PlayerModel::setVolume(double wanted) {
    volume = std::clamp(wanted, 0.0, 1.0);
    if (player_) player_->setVolume(*volume);
    if (*volume > 0 && *muted) setMuted(false);
    store(volumeKey, *volume);
}

void PlayerModel::setMuted(bool wanted) {
    muted = wanted;
    if (player_) player_->setMuted(wanted);
    store(mutedKey, wanted);
}

void PlayerModel::setRate(double wanted) {
    rate = wanted;
    if (player_) player_->setRate(wanted);
}

void PlayerModel::beginTrimming(TrimHandler ended) {
    if (!canTrim() || *trim) return;
    trimEnded_ = std::move(ended);
    applyTrim(TrimRange(pictures_));
}

void PlayerModel::setTrimStart(CMTime time) {
    if (!*trim) return;
    TrimRange moved = **trim;
    moved.setStart(time);
    applyTrim(moved);
}

void PlayerModel::setTrimEnd(CMTime time) {
    if (!*trim) return;
    TrimRange moved = **trim;
    moved.setEnd(time);
    applyTrim(moved);
}

void PlayerModel::applyTrim(TrimRange range) {
    trim = range;
    player_->setPlaybackRange(range.isEverything() ? std::nullopt : std::optional(range.range()));
}

void PlayerModel::endTrimming(bool accept) {
    if (!*trim) return;
    pause();
    const TrimRange chosen = **trim;
    trim = std::nullopt;
    const TrimHandler ended = std::exchange(trimEnded_, nullptr);
    const bool keepsPart = accept && !chosen.isEverything();
    if (!keepsPart) resetTrim();
    if (ended) ended(keepsPart ? std::optional(chosen.range()) : std::nullopt);
}

void PlayerModel::resetTrim() {
    if (player_) player_->setPlaybackRange(std::nullopt);
}

/// A preference that cannot be written only means another volume next time.
void PlayerModel::store(std::string_view key, const DefaultsValue& value) {
    try {
        defaults_.set(key, value);
    } catch (const LocalizedError&) {
    }
}

}  // namespace lumicrate
