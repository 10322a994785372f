// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Input/ButtonWatch.h"

#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/Published.h"

#include <xcb/xinput.h>

#include <optional>
#include <utility>

namespace lumicrate::x11 {

namespace {

constexpr std::uint32_t left = 1;
constexpr std::uint32_t right = 3;

}  // namespace

struct ButtonWatch::Monitors {
    ButtonWatch* watch;  ///< null once it is destroyed
    Observers<bool> observers;
};

class ButtonWatch::Monitor final : public NSEventMonitor {
 public:
    Monitor(std::shared_ptr<Monitors> all, std::function<void(bool)> onMouseDown)
        : all_(std::move(all)), subscription_(all_->observers.add(std::move(onMouseDown))) {}
    ~Monitor() override {
        subscription_.reset();
        if (all_->watch != nullptr && all_->observers.isEmpty()) all_->watch->select(false);
    }
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;

 private:
    std::shared_ptr<Monitors> all_;
    std::optional<Subscription> subscription_;
};

ButtonWatch::ButtonWatch(Executor& mainThread, const std::string& displayName)
    : mainThread_(mainThread),
      monitors_(std::make_shared<Monitors>(Monitors{this, {}})),
      connection_(displayName),
      inputOpcode_(connection_.extension(xcb_input_id, "XInputExtension").major_opcode),
      buttons_(connection_),
      events_(connection_, [this](const xcb_generic_event_t& event) { handleEvent(event); }) {
    const auto access = events_.access();
    const auto version = connection_.await(xcb_input_xi_query_version_reply,
                                           xcb_input_xi_query_version(connection_.get(), 2, 2));
    log(LogArea::input, "extension XInputExtension ", version->major_version, ".", version->minor_version);
}

ButtonWatch::~ButtonWatch() {
    monitors_->watch = nullptr;
}

std::unique_ptr<NSEventMonitor> ButtonWatch::addMouseDownMonitor(
    std::function<void(bool secondary)> onMouseDown) {
    const bool isFirst = monitors_->observers.isEmpty();
    auto monitor = std::make_unique<Monitor>(monitors_, std::move(onMouseDown));
    if (isFirst) select(true);
    return monitor;
}

void ButtonWatch::select(bool wanted) noexcept {
    try {
        const auto access = events_.access();
        connection_.selectInputEvents(wanted ? XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS : 0);
        // So that every later click is reported.
        connection_.sync();
    } catch (const PlatformError&) {
        // Without a connection there are no clicks.
    }
}

void ButtonWatch::handleEvent(const xcb_generic_event_t& event) {
    buttons_.handleEvent(event, connection_);
    if (eventType(event) != XCB_GE_GENERIC) return;
    const auto& generic = eventAs<xcb_ge_generic_event_t>(event);
    if (generic.extension != inputOpcode_ || generic.event_type != XCB_INPUT_RAW_BUTTON_PRESS) return;
    const std::uint32_t button = buttons_.logical(eventAs<xcb_input_raw_button_press_event_t>(event).detail);
    if (button != left && button != right) return;
    mainThread_.post([weak = std::weak_ptr(monitors_), secondary = button == right] {
        const auto monitors = weak.lock();
        if (monitors && monitors->watch != nullptr) monitors->observers.notify(secondary);
    });
}

}  // namespace lumicrate::x11
