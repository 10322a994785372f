// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Portal/PortalHotKeys.h"

#include "Linux/Portal/PortalBus.h"
#include "Linux/Portal/PortalError.h"
#include "Support/Log.h"
#include "Support/Text.h"
#include "Support/VirtualKeys.h"

#include <QDBusServiceWatcher>
#include <algorithm>
#include <chrono>

namespace lumicrate::portal {

namespace {

using State = HotKeyAssignment::State;

/// A portal that is restarted needs a moment.
constexpr std::chrono::seconds rebindDelay(1);

}  // namespace

PortalHotKeys::PortalHotKeys(Executor& executor, Registry& registry)
    : executor_(executor),
      portal_(executor, registry),
      portalStart_(
          std::make_unique<QDBusServiceWatcher>(service, bus(), QDBusServiceWatcher::WatchForRegistration)) {
    QObject::connect(portalStart_.get(), &QDBusServiceWatcher::serviceRegistered, portalStart_.get(), [this] {
        if (assignment_->state == State::unavailable) bindAgain();
    });
}

PortalHotKeys::~PortalHotKeys() {
    if (timer_) executor_.cancel(*timer_);
}

std::string PortalHotKeys::trigger(std::uint32_t keyCode, std::uint32_t modifiers) {
    constexpr std::pair<std::uint32_t, const char*> names[] = {
        {0x1000, "CTRL+"}, {0x800, "ALT+"}, {0x200, "SHIFT+"}, {0x100, "LOGO+"}};
    const VirtualKey* const key = virtualKey(keyCode);
    if (!key) return {};
    std::string text;
    for (const auto& [mask, name] : names)
        if ((modifiers & mask) != 0) text += name;
    return text + key->name;
}

EventHotKeyRef PortalHotKeys::RegisterEventHotKey(std::uint32_t keyCode, std::uint32_t modifiers,
                                                  EventHotKeyID id, const HotKeyPurpose& purpose) {
    hotKeys_.push_back({++lastRef_, id, {purpose.name, purpose.description, trigger(keyCode, modifiers)}});
    bindSoon();
    return lastRef_;
}

void PortalHotKeys::UnregisterEventHotKey(EventHotKeyRef hotKey) {
    if (std::erase_if(hotKeys_, [&](const HotKey& each) { return each.ref == hotKey; }) > 0) bindSoon();
}

void PortalHotKeys::bindAgain() {
    wanted_.reset();
    bound_.reset();
    publish({});
    bindSoon(rebindDelay);
}

void PortalHotKeys::bindSoon(std::chrono::nanoseconds delay) {
    if (timer_) executor_.cancel(*timer_);
    timer_ = executor_.after(delay, [this] {
        timer_.reset();
        bindIfChanged();
    });
}

void PortalHotKeys::bindIfChanged() {
    std::vector<GlobalShortcut> wanted;
    for (const HotKey& each : hotKeys_)
        wanted.push_back(each.shortcut);
    if (wanted == wanted_) return;
    wanted_ = wanted;
    binding_.cancel();
    bound_.reset();
    publish({});
    if (!wanted.empty()) binding_ = RunningTask(executor_, bind(std::move(wanted)));
}

Task<void> PortalHotKeys::bind(std::vector<GlobalShortcut> wanted) {
    HotKeyAssignment outcome;
    try {
        Task<std::optional<GlobalShortcuts>> binding = portal_.bind(std::move(wanted));
        bound_ = co_await binding;
        if (!bound_) {
            outcome.state = State::refused;
            outcome.reason =
                localized("No shortcuts were set up, because the desktop’s question was cancelled.");
        }
    } catch (const PortalError& error) {
        outcome.state =
            error.reason() == PortalError::Reason::unavailable ? State::unavailable : State::refused;
        outcome.reason = error.what();
    }
    if (!bound_) {
        log(LogArea::input, "portal: no shortcuts: ", outcome.reason);
        publish(std::move(outcome));
        co_return;
    }
    bound_->setOnActivated([this](const std::string& name) { activated(name); });
    bound_->setOnChanged([this] { follow(); });
    bound_->setOnClosed([this] {
        log(LogArea::input, "portal: the desktop has ended the delivery of shortcuts");
        bindAgain();
    });
    follow();
}

void PortalHotKeys::follow() {
    HotKeyAssignment outcome{State::assigned, {}, {}};
    for (const BoundShortcut& each : bound_->bound())
        outcome.triggers.emplace(each.id, each.trigger);
    publish(std::move(outcome));
}

void PortalHotKeys::activated(const std::string& name) const {
    const auto found = std::ranges::find(hotKeys_, name, [](const HotKey& each) { return each.shortcut.id; });
    if (found == hotKeys_.end() || !handler_) return;
    // Copies: the handler may install another one and change the registrations.
    const auto handler = handler_;
    handler(EventHotKeyID(found->id));
}

void PortalHotKeys::publish(HotKeyAssignment next) {
    if (next != *assignment_) assignment_ = std::move(next);
}

}  // namespace lumicrate::portal
