// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Overlays/KeystrokeDisplay.h"

#include "Lumicrate/Shortcuts/Shortcut.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace lumicrate {

namespace {

using namespace std::chrono_literals;

constexpr auto holdTime = 1500ms;
constexpr auto fadeTime = 250ms;
constexpr auto fadeInterval = 25ms;
/// Longer than it takes to press a command.
constexpr auto modifiersTime = 400ms;
constexpr std::size_t maxKeys = 3;
/// Characters of typed text in one capsule; only the last ones are kept.
constexpr std::ptrdiff_t maxTyped = 32;

/// Of a valid UTF-8 text.
bool beginsCharacter(char byte) {
    return (byte & 0xC0) != 0x80;
}

void appendTyped(std::string& text, const std::string& more) {
    text += more;
    auto excess = std::ranges::count_if(text, beginsCharacter) - maxTyped;
    if (excess <= 0) return;
    const auto kept =
        std::ranges::find_if(text, [&excess](char byte) { return beginsCharacter(byte) && excess-- == 0; });
    text.erase(text.begin(), kept);
}

Rect pointIn(const Rect& recorded) {
    return {recorded.minX(), recorded.minY(), 1, 1};
}

void add(const KeystrokeLabel& label, std::vector<Keystroke>& keys) {
    if (!keys.empty() && keys.back().label.isModifiers) keys.pop_back();
    if (!keys.empty() && label.isTyped && keys.back().label.isTyped)
        return appendTyped(keys.back().label.text, label.text);
    if (!keys.empty() && keys.back().label == label) {
        ++keys.back().count;
        return;
    }
    keys.push_back({label, 1});
    if (keys.size() > maxKeys) keys.erase(keys.begin());
}

}  // namespace

double keystrokes::rowHeight(KeysSize size) {
    constexpr std::array<double, 3> heights = {34, 48, 66};
    return heights.at(static_cast<std::size_t>(size));
}

Rect keystrokes::rowFrame(const Rect& recorded, KeysSize size, KeysPlace place) {
    const double height = std::min(rowHeight(size), recorded.height);
    const double side = std::min(24.0, recorded.width / 20);
    // At the bottom, above the place where a control bar or a dock usually is.
    const bool isBottom =
        place == KeysPlace::bottom || place == KeysPlace::bottomLeft || place == KeysPlace::bottomRight;
    const double wanted = isBottom ? std::clamp(recorded.height * 0.09, 24.0, 100.0) : 24.0;
    const double margin = std::min(wanted, (recorded.height - height) / 2);
    const double bottom = isBottom ? recorded.minY() + margin : recorded.maxY() - margin - height;
    return Rect{recorded.minX() + side, bottom, recorded.width - 2 * side, height}.integral().intersection(
        recorded);
}

KeystrokeDisplay::KeystrokeDisplay(Executor& executor, const NSUserDefaults& defaults,
                                   NSGlobalMonitoring& presses, OverlayContents& contents)
    : executor_(executor), defaults_(defaults), presses_(presses), contents_(contents) {}

KeystrokeDisplay::~KeystrokeDisplay() {
    hide();
}

std::string KeystrokeDisplay::show(const RecordingOptions& options, const Rect& recorded) {
    hide();
    try {
        monitor_ = presses_.addGlobalMonitor([this](const NSGlobalEvent& event) { handle(event); });
    } catch (const PlatformError& error) {
        return localized("Pressed keys can't be shown: {}", {error.what()});
    }
    recorded_ = recorded;
    showsTypedText_ = options.showTypedText;
    model_.size = options.keysSize;
    model_.place = options.keysPlace;
    NSPanel::Settings settings;
    settings.frame = pointIn(recorded_);
    settings.level = NSPanel::screenSaverLevel;
    settings.ignoresMouseEvents = true;
    panel_ = contents_.keystrokes(model_)->makePanel(std::move(settings));
    panel_->orderFrontRegardless();
    log(LogArea::recorder, "pressed keys are shown");
    return {};
}

void KeystrokeDisplay::hide() {
    monitor_.reset();
    cancel(timer_);
    cancel(modifiersTimer_);
    modifiers_ = {};
    heldKey_.reset();
    panel_.reset();
    if (*model_.row != KeystrokeRow()) model_.row = KeystrokeRow();
}

void KeystrokeDisplay::move(const Rect& recorded) {
    if (!panel_) return;
    recorded_ = recorded;
    const bool isShown = !model_.row->keys.empty();
    panel_->setFrame(isShown ? keystrokes::rowFrame(recorded_, model_.size, model_.place)
                             : pointIn(recorded_));
}

bool KeystrokeDisplay::isOwnShortcut(const NSGlobalEvent& press) const {
    return std::ranges::any_of(allCases<ShortcutAction>(), [&](ShortcutAction action) {
        const auto bound = shortcut(action, defaults_);
        return bound && bound->keyCode == press.event.keyCode && bound->modifiers == modifiersOf(press.event);
    });
}

void KeystrokeDisplay::handle(const NSGlobalEvent& event) {
    if (!panel_) return;
    if (event.source == NSGlobalEvent::Source::modifiers) return modifiersChanged(event.event);
    if (!event.isUp) return pressed(event);
    const bool isShown = heldKey_ && heldKey_->source == event.source && heldKey_->code == event.code;
    if (!isShown) return;
    heldKey_.reset();
    fadeUnlessHeld();
}

void KeystrokeDisplay::pressed(const NSGlobalEvent& press) {
    const auto label = keystrokeLabel(press, showsTypedText_);
    if (!label || isOwnShortcut(press)) return;
    heldKey_ = {press.source, press.code};
    // Shift is held while other letters are typed.
    shownModifiers_ = press.event.modifierFlags & ~NSEvent::shiftFlag;
    show(*label);
}

void KeystrokeDisplay::modifiersChanged(const NSEvent& now) {
    const bool hasMore = (now.modifierFlags & ~modifiers_.modifierFlags) != 0;
    modifiers_ = now;
    if (hasMore || !modifiersLabel(now)) cancel(modifiersTimer_);
    if (hasMore && modifiersLabel(now)) {
        modifiersTimer_ = executor_.after(modifiersTime, [this] {
            modifiersTimer_.reset();
            showModifiers();
        });
    }
    if (!model_.row->keys.empty()) fadeUnlessHeld();
}

void KeystrokeDisplay::showModifiers() {
    heldKey_.reset();
    shownModifiers_ = modifiers_.modifierFlags & ~NSEvent::shiftFlag;
    show(*modifiersLabel(modifiers_));
}

void KeystrokeDisplay::show(const KeystrokeLabel& label) {
    cancel(modifiersTimer_);
    KeystrokeRow row = *model_.row;
    row.opacity = 1;
    add(label, row.keys);
    publish(std::move(row));
    // Other windows may have been raised above the panel.
    panel_->orderFrontRegardless();
    if (onShown_) onShown_(label.text);
    cancel(timer_);
    fadeUnlessHeld();
}

bool KeystrokeDisplay::isHeld() const {
    return heldKey_ || (modifiers_.modifierFlags & shownModifiers_) != 0;
}

/// Begins to wait when the last of what is shown goes up.
void KeystrokeDisplay::fadeUnlessHeld() {
    if (!isHeld() && !timer_) scheduleFade(holdTime, 0ms);
}

void KeystrokeDisplay::scheduleFade(std::chrono::nanoseconds delay, std::chrono::nanoseconds passed) {
    cancel(timer_);
    timer_ = executor_.after(delay, [this, passed] {
        timer_.reset();
        fade(passed);
    });
}

/// `passed`: since the fading began.
void KeystrokeDisplay::fade(std::chrono::nanoseconds passed) {
    const double rest = 1 - std::chrono::duration<double>(passed) / fadeTime;
    if (isMotionReduced_ || rest <= 0) return publish({});
    KeystrokeRow row = *model_.row;
    row.opacity = rest;
    publish(std::move(row));
    scheduleFade(fadeInterval, passed + fadeInterval);
}

/// The panel gets its frame before it shows something, and loses it afterwards.
void KeystrokeDisplay::publish(KeystrokeRow row) {
    const bool isEmpty = row.keys.empty();
    if (isEmpty) model_.row = std::move(row);
    const Rect frame =
        isEmpty ? pointIn(recorded_) : keystrokes::rowFrame(recorded_, model_.size, model_.place);
    if (frame != panel_->frame()) panel_->setFrame(frame);
    if (!isEmpty) model_.row = std::move(row);
}

void KeystrokeDisplay::cancel(std::optional<Executor::TimerId>& timer) {
    if (const auto running = std::exchange(timer, std::nullopt)) executor_.cancel(*running);
}

}  // namespace lumicrate
