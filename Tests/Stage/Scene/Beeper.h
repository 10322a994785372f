// Beeper: plays a tone on the default output at a planned instant, to within a few milliseconds.
//
// A playback stream runs all the time and plays silence. Whenever the sound server asks for samples, it says
// when the cycle began and how long the new samples take until they are heard. So the instant of every sample
// is known, and the tone is written into the samples of the planned span. Starting a stream when the tone is
// due would add its unknown start-up time.
#pragma once

#include "Tests/Stage/Scene/Pacer.h"

#include <pipewire/pipewire.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>

namespace lumicrate::stage {

class Beeper {
 public:
    /// Throws std::runtime_error when there is no sound server.
    Beeper();
    Beeper(const Beeper&) = delete;
    Beeper& operator=(const Beeper&) = delete;
    ~Beeper();

    /// Returns when the stream runs. Throws std::runtime_error when it does not start.
    void awaitRunning();
    /// Plans the next tone, in place of one that has not been played to its end.
    void beep(Nanoseconds start, Nanoseconds length);

 private:
    void connect();
    void process();
    void stateChanged(pw_stream_state state, const char* error);
    float sampleFor(Nanoseconds instant) const;

    pw_thread_loop* loop_ = nullptr;
    pw_stream* stream_ = nullptr;
    pw_stream_events events_{};

    std::mutex mutex_;
    std::condition_variable changed_;
    bool isRunning_ = false;
    std::string failure_;

    // Read by the sound server's thread, which must not wait. The length is written before the start.
    std::atomic<Nanoseconds> toneStart_ = 0;
    std::atomic<Nanoseconds> toneLength_ = 0;
};

}  // namespace lumicrate::stage
