// Beeper: sounds a tone on the default output at a planned instant, to within a few milliseconds.
//
// How: a playback stream runs all the time and plays silence. Each time the sound server asks for samples it
// says when the cycle began and how far the samples handed over now are from being heard; from that every
// sample's own instant follows, and the tone is written into exactly those samples whose instants lie in the
// planned span. Starting a stream only when the tone is due would add the start-up time, which nobody knows.
#pragma once

#include "Tests/Stage/Scene/Pacer.h"

#include <memory>

namespace lumicrate::stage {

class Beeper {
 public:
    static constexpr double frequency = 1000;
    static constexpr float amplitude = 0.5F;

    // Returns when the stream runs. Throws std::runtime_error when there is no sound server.
    Beeper();
    Beeper(const Beeper&) = delete;
    Beeper& operator=(const Beeper&) = delete;
    ~Beeper();

    // Plans the next tone; a plan that has not been played out yet is replaced.
    void beep(Nanoseconds start, Nanoseconds length);

 private:
    struct Stream;
    std::unique_ptr<Stream> stream_;
};

}  // namespace lumicrate::stage
