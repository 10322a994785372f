// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/SoundSplice.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

namespace lumicrate::pipewire {

SoundSplice::SoundSplice(int sampleRate, std::size_t frameSize, SampleSource::SampleHandler deliver)
    : sampleRate_(sampleRate), frameSize_(frameSize), deliver_(std::move(deliver)) {}

void SoundSplice::add(Track track, const CMSampleBuffer& piece) {
    if (!change_) {
        if (track == current_) deliverPart(piece, from_, std::nullopt);
        return;
    }
    if (track == current_) {
        deliverPart(piece, from_, change_->from);
        if (endOf(piece) >= change_->from) completeChange();
    } else if (endOf(piece) > change_->from) {
        held_.push_back(piece);
        if (endOf(piece) > change_->from + maxWait) completeChange();
    }
}

void SoundSplice::use(Track track, Time from) {
    if (track == target()) return;
    held_.clear();
    change_.reset();
    if (track != current_) change_ = {track, from};
}

SoundSplice::Time SoundSplice::startOf(const CMSampleBuffer& piece) const {
    return Time(piece.presentationTimeStamp().converted(1'000'000'000));
}

SoundSplice::Time SoundSplice::endOf(const CMSampleBuffer& piece) const {
    const auto frames = static_cast<std::int64_t>(piece.audio->buffers[0].size() / frameSize_);
    return startOf(piece) + Time(frames * 1'000'000'000 / sampleRate_);
}

/// Cut at the frames that are nearest to these times.
void SoundSplice::deliverPart(const CMSampleBuffer& piece, std::optional<Time> from,
                              std::optional<Time> until) const {
    const Time start = startOf(piece);
    const auto& bytes = piece.audio->buffers[0];
    const auto frames = static_cast<std::int64_t>(bytes.size() / frameSize_);
    const auto frameAt = [&](Time time) {
        const double seconds = std::chrono::duration<double>(time - start).count();
        return std::clamp<std::int64_t>(std::llround(seconds * sampleRate_), 0, frames);
    };
    const std::int64_t first = from ? frameAt(*from) : 0;
    const std::int64_t end = until ? frameAt(*until) : frames;
    if (first >= end) return;
    if (first == 0 && end == frames) return deliver_(piece);
    CMSampleBuffer part = piece;
    part.timing.presentationTimeStamp = CMTime::from(start + Time(first * 1'000'000'000 / sampleRate_));
    part.audio = std::make_shared<AudioBufferList>();
    part.audio->description = piece.audio->description;
    const auto size = static_cast<std::ptrdiff_t>(frameSize_);
    part.audio->buffers.emplace_back(bytes.begin() + first * size, bytes.begin() + end * size);
    deliver_(part);
}

void SoundSplice::completeChange() {
    current_ = change_->to;
    from_ = change_->from;
    change_.reset();
    for (const CMSampleBuffer& piece : std::exchange(held_, {}))
        deliverPart(piece, from_, std::nullopt);
}

}  // namespace lumicrate::pipewire
