// SPDX-License-Identifier: GPL-3.0-or-later
// AudioGapReport: adds up the sound that is missing in a recording, and reports it in sentences for the user.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate::pipewire {

/// Counts gaps that last longer than a second. Not thread-safe; no side effects.
class AudioGapReport {
 public:
    using Time = std::chrono::nanoseconds;  ///< on the host clock

    /// The track that is watched.
    struct Track {
        bool isMicrophone = false;
        /// The name of the microphone that the user chose; without one, the default microphone is recorded.
        std::optional<std::string> chosen;
    };
    /// Why sound is missing. Where several causes follow each other, the highest value is reported.
    enum class Cause { none, noDevice, noServer };

    explicit AudioGapReport(Track track) : track_(std::move(track)) {}

    /// Sound that is missing before that time does not count. Sound may have been added already.
    void expectFrom(Time start);
    /// Sound was captured for that time range.
    void addSound(Time from, Time until);
    /// The cause of gaps from now on. Setting it does not create a gap.
    void setCause(Cause cause);
    /// Whether, from now on, another microphone is recorded instead of the chosen one.
    void setReplaced(bool replaced) { replaced_ = replaced; }
    /// No more sound is expected from `end` on.
    void finish(Time end);

    /// A sentence with the total time for each cause.
    std::vector<std::string> sentences() const;

 private:
    void countGap(Time until);

    const Track track_;
    std::optional<Time> until_;  ///< the end of the last sound; nothing before sound is expected
    Cause cause_ = Cause::none;
    Cause gapCause_ = Cause::none;  ///< the highest cause since the last sound
    bool replaced_ = false;
    std::map<Cause, Time> missing_;
    Time replacedFor_{};
};

}  // namespace lumicrate::pipewire
