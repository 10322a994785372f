// Player: plays tones on an output of the sound server, at known times.
#pragma once

#include "Linux/PipeWire/Session.h"

#include <pipewire/filter.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace lumicrate::test {

/// Runs inside the server's cycle without buffering: what it writes in a cycle is what the output receives in
/// that cycle. Plays silence while it plays no tone. The right channel has half the left one's amplitude.
class Player {
 public:
    /// `output` is a node's name. Returns when the server accepts sound.
    explicit Player(const std::string& output);
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    /// Starts a sine with the next cycle. Returns the host time at which the output receives its first frame.
    std::chrono::nanoseconds beginTone(double frequency, double amplitude);
    void endTone() { sounding_ = false; }

 private:
    struct DestroyFilter {
        void operator()(pw_filter* filter) const { pw_filter_destroy(filter); }
    };

    static const pw_filter_events events;
    static void onStateChanged(void* self, pw_filter_state old, pw_filter_state state, const char* error);
    static void onProcess(void* self, spa_io_position* position);
    void connect(const std::string& nodeName);
    void fill(const spa_io_position& position);

    pipewire::Session session_;
    spa_hook listener_{};
    pw_filter_state state_ = PW_FILTER_STATE_UNCONNECTED;
    std::array<void*, 2> ports_{};
    std::unique_ptr<pw_filter, DestroyFilter> filter_;

    std::atomic<bool> sounding_ = false;
    std::atomic<double> frequency_ = 0;
    std::atomic<double> amplitude_ = 0;
    std::atomic<std::int64_t> beganAt_ = 0;  ///< nanoseconds; 0 before the tone
    std::int64_t played_ = 0;                ///< frames of the tone; server's thread only
};

}  // namespace lumicrate::test
