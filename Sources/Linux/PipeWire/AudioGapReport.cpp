// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/AudioGapReport.h"

#include "Support/Text.h"

#include <algorithm>

namespace lumicrate::pipewire {

namespace {

/// Shorter gaps are not reported.
constexpr std::chrono::seconds minGap{1};

std::string durationText(AudioGapReport::Time time) {
    return formatElapsed(std::chrono::duration<double>(time).count());
}

std::string gapText(const AudioGapReport::Track& track, AudioGapReport::Cause cause,
                    AudioGapReport::Time time) {
    const std::string duration = durationText(time);
    switch (cause) {
        case AudioGapReport::Cause::noServer:
            return localized("The sound server was gone for {}", {duration});
        case AudioGapReport::Cause::noDevice:
            if (track.chosen)
                return localized("The microphone “{}” was missing for {}", {*track.chosen, duration});
            return track.isMicrophone ? localized("The microphone was missing for {}", {duration})
                                      : localized("The sound output was missing for {}", {duration});
        case AudioGapReport::Cause::none:
            break;
    }
    return track.isMicrophone
               ? localized("The sound server gave no sound of the microphone for {}", {duration})
               : localized("The sound server gave no system sound for {}", {duration});
}

}  // namespace

void AudioGapReport::expectFrom(Time start) {
    until_ = std::max(until_.value_or(start), start);
}

void AudioGapReport::addSound(Time from, Time until) {
    countGap(from);
    if (replaced_) replacedFor_ += until - from;
    until_ = std::max(until_.value_or(until), until);
    gapCause_ = cause_;
}

void AudioGapReport::setCause(Cause cause) {
    cause_ = cause;
    gapCause_ = std::max(gapCause_, cause);
}

void AudioGapReport::finish(Time end) {
    countGap(end);
    until_ = end;
}

void AudioGapReport::countGap(Time until) {
    if (until_ && until - *until_ > minGap) missing_[gapCause_] += until - *until_;
}

std::vector<std::string> AudioGapReport::sentences() const {
    std::vector<std::string> all;
    for (const auto& [cause, time] : missing_) {
        all.push_back(gapText(track_, cause, time) +
                      (track_.isMicrophone ? localized("; the microphone's sound is silent there.")
                                           : localized("; the system sound is silent there.")));
    }
    if (replacedFor_ > minGap) {
        all.push_back(gapText(track_, Cause::noDevice, replacedFor_) +
                      localized("; the default one was recorded instead."));
    }
    return all;
}

}  // namespace lumicrate::pipewire
