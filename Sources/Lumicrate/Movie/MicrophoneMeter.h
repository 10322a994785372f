// SPDX-License-Identifier: GPL-3.0-or-later
// MicrophoneMeter: mutes microphone samples and measures their level.
#pragma once

#include "Platform/CMSampleBuffer.h"

#include <functional>

namespace lumicrate {

/// Changes samples in place. One thread.
class MicrophoneMeter {
 public:
    using Sink = std::function<void(float level)>;

    /// `sink` receives levels, at most about fifteen per second: 0 … 1, linear over −50 … 0 dBFS. For
    /// example, −25 dBFS is 0.5.
    void setSink(Sink sink) { sink_ = std::move(sink); }
    /// A muted microphone has level 0 and its samples are overwritten with silence.
    void setMuted(bool muted) { muted_ = muted; }

    /// Sound without a description is neither measured nor muted.
    void process(const CMSampleBuffer& sample);

 private:
    Sink sink_;
    bool muted_ = false;
    CMTime lastReport_ = CMTime::zero();
};

}  // namespace lumicrate
