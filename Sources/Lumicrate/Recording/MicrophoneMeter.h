// MicrophoneMeter: how loud a microphone is, on the recorder's level meter.
#pragma once

#include "Platform/CMSampleBuffer.h"

#include <functional>

namespace lumicrate {

/// Measures and mutes microphone samples in place and reports their level now and then. One thread.
class MicrophoneMeter {
 public:
    using Sink = std::function<void(float level)>;

    /// Levels go to `sink`: 0 … 1, a linear scale over −50 … 0 dBFS, about fifteen times a second at most.
    void setSink(Sink sink) { sink_ = std::move(sink); }
    /// A muted microphone has level 0 and its samples are overwritten with silence.
    void setMuted(bool muted) { muted_ = muted; }

    /// Takes the next sample. Sound without a description is left as it is and not measured.
    void process(const CMSampleBuffer& sample);

 private:
    Sink sink_;
    bool muted_ = false;
    CMTime lastReport_ = CMTime::zero();
};

}  // namespace lumicrate
