// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Input/PointerFollower.h"

#include "Linux/X11/Input/ButtonMapping.h"
#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Server/EventThread.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/MediaTime.h"

#include <xcb/xinput.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>

namespace lumicrate::x11 {

namespace {

/// Between two positions.
constexpr std::chrono::milliseconds interval(33);

/// Motion is selected until the first event. Then it waits for its turn, is selected again, and the position
/// is read: so the last position is always reported, and a resting pointer costs nothing.
class Monitor final : public NSEventMonitor {
 public:
    using Handler = std::function<void(const NSPointerEvent&)>;

    Monitor(Executor& mainThread, const std::string& displayName, Handler onEvent);
    ~Monitor() override;
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;

 private:
    void handleEvent(const xcb_generic_event_t& event);
    void selectMotion(bool selected);
    NSPointerEvent pointer() const;
    void post(std::function<void(Monitor&)> work);
    void moved();
    void report();
    void pressed(const NSPointerEvent& press);
    void tell(const NSPointerEvent& position);

    Executor& mainThread_;
    Handler onEvent_;
    std::shared_ptr<Monitor*> self_;  ///< posted work holds it weakly
    std::optional<Executor::TimerId> turn_;
    std::optional<Point> last_;
    std::chrono::nanoseconds lastReport_{};

    // Guarded by access to events_:
    Connection connection_;
    std::uint8_t inputOpcode_;
    ButtonMapping buttons_;
    bool motionSelected_ = false;

    EventThread events_;  // Destroyed first: its thread uses all the others.
};

Monitor::Monitor(Executor& mainThread, const std::string& displayName, Handler onEvent)
    : mainThread_(mainThread),
      onEvent_(std::move(onEvent)),
      self_(std::make_shared<Monitor*>(this)),
      connection_(displayName),
      inputOpcode_(connection_.extension(xcb_input_id, "XInputExtension").major_opcode),
      buttons_(connection_),
      events_(connection_, [this](const xcb_generic_event_t& event) { handleEvent(event); }) {
    {
        const auto access = events_.access();
        // Since 2.1, raw events come also while another client has a grab.
        const auto version = connection_.await(xcb_input_xi_query_version_reply,
                                               xcb_input_xi_query_version(connection_.get(), 2, 2));
        log(LogArea::input, "following the pointer with XInputExtension ", version->major_version, ".",
            version->minor_version);
    }
    report();
}

Monitor::~Monitor() {
    if (turn_) mainThread_.cancel(*turn_);
}

/// On the thread of the events.
void Monitor::handleEvent(const xcb_generic_event_t& event) {
    buttons_.handleEvent(event, connection_);
    if (eventType(event) != XCB_GE_GENERIC) return;
    const auto& generic = eventAs<xcb_ge_generic_event_t>(event);
    if (generic.extension != inputOpcode_) return;
    if (generic.event_type == XCB_INPUT_RAW_MOTION && motionSelected_) {
        selectMotion(false);
        post([](Monitor& monitor) { monitor.moved(); });
    } else if (generic.event_type == XCB_INPUT_RAW_BUTTON_PRESS) {
        const auto button = buttons_.logical(eventAs<xcb_input_raw_button_press_event_t>(event).detail);
        if (button < 1 || button > 3) return;
        NSPointerEvent press = pointer();
        press.button = static_cast<int>(button);
        post([press](Monitor& monitor) { monitor.pressed(press); });
    }
}

void Monitor::selectMotion(bool selected) {
    connection_.selectInputEvents(XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS |
                                  (selected ? XCB_INPUT_XI_EVENT_MASK_RAW_MOTION : 0));
    motionSelected_ = selected;
}

NSPointerEvent Monitor::pointer() const {
    const auto reply =
        connection_.await(xcb_query_pointer_reply, xcb_query_pointer(connection_.get(), connection_.root()));
    NSPointerEvent event;
    event.pixel = {static_cast<double>(reply->root_x), static_cast<double>(reply->root_y)};
    event.time = CMTime::from(HostClock::now());
    return event;
}

void Monitor::post(std::function<void(Monitor&)> work) {
    mainThread_.post([weak = std::weak_ptr(self_), work = std::move(work)] {
        if (const auto self = weak.lock()) work(**self);
    });
}

/// On the main thread, as everything below.
void Monitor::moved() {
    if (turn_) return;
    const auto wait = lastReport_ + interval - HostClock::now();
    turn_ = mainThread_.after(std::max(wait, std::chrono::nanoseconds(0)), [this] {
        turn_.reset();
        report();
    });
}

void Monitor::report() {
    NSPointerEvent now;
    try {
        const auto access = events_.access();
        // Before the query, so that motion after the reply is reported.
        selectMotion(true);
        now = pointer();
    } catch (const PlatformError&) {
        // Without a connection the pointer does not move any more.
        return;
    }
    lastReport_ = HostClock::now();
    tell(now);
}

/// A program can move the pointer without a motion event; then the press is the first that tells of it.
void Monitor::pressed(const NSPointerEvent& press) {
    NSPointerEvent position = press;
    position.button = 0;
    tell(position);
    onEvent_(press);
}

void Monitor::tell(const NSPointerEvent& position) {
    if (last_ == position.pixel) return;
    last_ = position.pixel;
    onEvent_(position);
}

}  // namespace

std::unique_ptr<NSEventMonitor> PointerFollower::addPointerMonitor(
    std::function<void(const NSPointerEvent&)> onEvent) {
    return std::make_unique<Monitor>(mainThread_, displayName_, std::move(onEvent));
}

}  // namespace lumicrate::x11
