// SPDX-License-Identifier: GPL-3.0-or-later
// SoundSplice: joins the sound of two streams that record the same devices at the same time.
#pragma once

#include "Platform/SampleSource.h"

#include <chrono>
#include <optional>
#include <vector>

namespace lumicrate::pipewire {

/// Delivers one stream's sound at a time and changes from one to the other at a time on the host clock,
/// without a gap and without sound twice, however early or late the streams deliver. Not thread-safe.
class SoundSplice {
 public:
    using Time = std::chrono::nanoseconds;  ///< on the host clock
    enum class Track { first, second };

    /// Sound has `sampleRate` frames a second of `frameSize` bytes. Begins with the first track.
    SoundSplice(int sampleRate, std::size_t frameSize, SampleSource::SampleHandler deliver);

    /// The next piece of a track.
    void add(Track track, const CMSampleBuffer& piece);
    /// Changes to that track at that time, which must be later than the sound that was added so far. While
    /// the other one has not reached it, sound is held back, for up to `maxWait`. Ignored while the track is
    /// used, or will be.
    void use(Track track, Time from);
    /// The track that is delivered, or will be once the change is complete.
    Track target() const { return change_ ? change_->to : current_; }
    bool isChanging() const { return change_.has_value(); }

    static constexpr std::chrono::milliseconds maxWait{200};

 private:
    struct Change {
        Track to;
        Time from;
    };

    Time startOf(const CMSampleBuffer& piece) const;
    Time endOf(const CMSampleBuffer& piece) const;
    void deliverPart(const CMSampleBuffer& piece, std::optional<Time> from, std::optional<Time> until) const;
    void completeChange();

    const int sampleRate_;
    const std::size_t frameSize_;
    const SampleSource::SampleHandler deliver_;
    Track current_ = Track::first;
    std::optional<Time> from_;  ///< when the current track began
    std::optional<Change> change_;
    std::vector<CMSampleBuffer> held_;  ///< of the track that is changed to
};

}  // namespace lumicrate::pipewire
