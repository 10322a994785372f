#include "Tests/Linux/PipeWire/Player.h"

#include "Tests/Stage/Await.h"
#include "Tests/Stage/ChildProcess.h"

#include <array>
#include <cmath>
#include <numbers>
#include <stdexcept>

namespace lumicrate::test {

namespace {

constexpr std::chrono::seconds timeout{20};
constexpr std::array channelNames{"FL", "FR"};

/// New ports become visible to other programs with a delay, so a failure is retried.
void link(const std::string& from, const std::string& to) {
    const bool linked = stage::eventually([&] {
        try {
            stage::runProgram({"pw-link", from, to});
            return true;
        } catch (const std::runtime_error&) {
            return false;
        }
    });
    if (!linked) throw std::runtime_error("Cannot link " + from + " to " + to);
}

}  // namespace

const pw_filter_events Player::events = [] {
    pw_filter_events handlers{};
    handlers.version = PW_VERSION_FILTER_EVENTS;
    handlers.state_changed = &Player::onStateChanged;
    handlers.process = &Player::onProcess;
    return handlers;
}();

Player::Player(const std::string& output) {
    const std::string nodeName = "player-on-" + output;
    connect(nodeName);
    for (const char* channel : channelNames)
        link(nodeName + ":out_" + channel, output + ":playback_" + channel);
    const pipewire::Session::Lock lock(session_);
    if (!session_.await([&] { return state_ == PW_FILTER_STATE_STREAMING; }, timeout)) {
        filter_.reset();
        throw std::runtime_error("Cannot play on " + output);
    }
}

Player::~Player() {
    const pipewire::Session::Lock lock(session_);
    filter_.reset();
}

void Player::connect(const std::string& nodeName) {
    const pipewire::Session::Lock lock(session_);
    filter_.reset(pw_filter_new(session_.core(), "test tone",
                                pw_properties_new(PW_KEY_NODE_NAME, nodeName.c_str(), PW_KEY_MEDIA_TYPE,
                                                  "Audio", PW_KEY_MEDIA_CATEGORY, "Playback", nullptr)));
    pw_filter_add_listener(filter_.get(), &listener_, &events, this);
    for (std::size_t i = 0; i < ports_.size(); ++i) {
        const std::string name = std::string("out_") + channelNames[i];
        ports_[i] = pw_filter_add_port(filter_.get(), PW_DIRECTION_OUTPUT, PW_FILTER_PORT_FLAG_MAP_BUFFERS, 1,
                                       pw_properties_new(PW_KEY_FORMAT_DSP, "32 bit float mono audio",
                                                         PW_KEY_PORT_NAME, name.c_str(), nullptr),
                                       nullptr, 0);
    }
    pw_filter_connect(filter_.get(), PW_FILTER_FLAG_RT_PROCESS, nullptr, 0);
}

std::chrono::nanoseconds Player::beginTone(double frequency, double amplitude) {
    frequency_ = frequency;
    amplitude_ = amplitude;
    beganAt_ = 0;
    sounding_ = true;
    beganAt_.wait(0);
    return std::chrono::nanoseconds(beganAt_.load());
}

void Player::onStateChanged(void* self, pw_filter_state /*old*/, pw_filter_state state,
                            const char* /*error*/) {
    auto& player = *static_cast<Player*>(self);
    player.state_ = state;
    player.session_.signal();
}

void Player::onProcess(void* self, spa_io_position* position) {
    static_cast<Player*>(self)->fill(*position);
}

void Player::fill(const spa_io_position& position) {
    const bool sounds = sounding_;
    if (sounds && beganAt_ == 0) {
        played_ = 0;
        beganAt_ = static_cast<std::int64_t>(position.clock.nsec);
        beganAt_.notify_all();
    }
    const auto frames = static_cast<std::uint32_t>(position.clock.duration);
    const double step = 2 * std::numbers::pi * frequency_ / position.clock.rate.denom;
    double amplitude = sounds ? amplitude_.load() : 0;
    for (void* port : ports_) {
        if (auto* samples = static_cast<float*>(pw_filter_get_dsp_buffer(port, frames))) {
            for (std::uint32_t i = 0; i < frames; ++i)
                samples[i] =
                    static_cast<float>(amplitude * std::sin(step * static_cast<double>(played_ + i)));
        }
        amplitude /= 2;
    }
    played_ += frames;
}

}  // namespace lumicrate::test
