#include "Linux/PipeWire/SoundLosses.h"

#include "Support/Text.h"

#include <algorithm>

namespace lumicrate::pipewire {

namespace {

/// Nobody needs to be told of less.
constexpr std::chrono::seconds noticeable{1};

std::string inQuotes(const std::string& name) {
    return localized("“") + name + localized("”");
}

std::string lasting(SoundLosses::Time time) {
    return localized(" for ") + formatElapsed(std::chrono::duration<double>(time).count());
}

std::string whatIsMissing(const SoundLosses::Track& track, SoundLosses::Obstacle reason) {
    switch (reason) {
        case SoundLosses::Obstacle::noServer:
            return localized("The sound server was gone");
        case SoundLosses::Obstacle::noDevice:
            if (track.chosen)
                return localized("The microphone ") + inQuotes(*track.chosen) + localized(" was missing");
            return track.isMicrophone ? localized("The microphone was missing")
                                      : localized("The sound output was missing");
        case SoundLosses::Obstacle::none:
            break;
    }
    return track.isMicrophone ? localized("The sound server gave no sound of the microphone")
                              : localized("The sound server gave no system sound");
}

}  // namespace

void SoundLosses::expectFrom(Time start) {
    until_ = std::max(until_.value_or(start), start);
}

void SoundLosses::heard(Time from, Time until) {
    countGap(from);
    if (replaced_) replacedFor_ += until - from;
    until_ = std::max(until_.value_or(until), until);
    reason_ = obstacle_;
}

void SoundLosses::setObstacle(Obstacle obstacle) {
    obstacle_ = obstacle;
    reason_ = std::max(reason_, obstacle);
}

void SoundLosses::finish(Time end) {
    countGap(end);
    until_ = end;
}

void SoundLosses::countGap(Time until) {
    if (until_ && until - *until_ > noticeable) missing_[reason_] += until - *until_;
}

std::vector<std::string> SoundLosses::sentences() const {
    std::vector<std::string> all;
    for (const auto& [reason, time] : missing_) {
        all.push_back(whatIsMissing(track_, reason) + lasting(time) +
                      (track_.isMicrophone ? localized("; the microphone's sound is silent there.")
                                           : localized("; the system sound is silent there.")));
    }
    if (replacedFor_ > noticeable) {
        all.push_back(whatIsMissing(track_, Obstacle::noDevice) + lasting(replacedFor_) +
                      localized("; the default one was recorded instead."));
    }
    return all;
}

}  // namespace lumicrate::pipewire
