// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Overlays/WebcamBubbleModel.h"

#include "Lumicrate/Overlays/WebcamBubbleGeometry.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <utility>

namespace lumicrate {

namespace {

constexpr NSColor white{1, 1, 1};

}  // namespace

std::optional<NSColor> NSColor::fromHex(std::string_view text) {
    const std::size_t first = text.find_first_not_of('#');
    if (first == std::string_view::npos) return std::nullopt;
    text = text.substr(first, text.find_last_not_of('#') + 1 - first);
    std::uint32_t number = 0;
    const char* const textEnd = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), textEnd, number, 16);
    if (text.size() != 6 || error != std::errc{} || end != textEnd) return std::nullopt;
    const auto component = [number](int shift) { return ((number >> shift) & 0xFF) / 255.0; };
    return NSColor{component(16), component(8), component(0)};
}

void WebcamBubbleModel::change(const std::function<void(WebcamBubbleAppearance&)>& edit) {
    WebcamBubbleAppearance next = *appearance;
    edit(next);
    if (next != *appearance) appearance = std::move(next);
}

void WebcamBubbleModel::applyOptions(const RecordingOptions& options) {
    change([&](WebcamBubbleAppearance& next) {
        next.shape = options.webcamShape;
        next.borderWidth = bubble::borderWidth(options.webcamBorder);
        next.borderColor = NSColor::fromHex(options.webcamBorderColor).value_or(white);
        next.mirrored = options.webcamMirror;
    });
}

void WebcamBubbleModel::setDisconnected(bool disconnected) {
    change([&](WebcamBubbleAppearance& next) { next.disconnected = disconnected; });
}

void WebcamBubbleModel::setMicrophoneLevel(std::optional<float> level) {
    // Smaller changes are not visible, and every change is a repaint.
    constexpr float steps = 64;
    if (level) level = std::round(std::clamp(*level, 0.0F, 1.0F) * steps) / steps;
    change([&](WebcamBubbleAppearance& next) { next.level = level; });
}

bool WebcamBubbleModel::isOnHandle(Point inside) const {
    return bubble::isOnHandle(inside, appearance->shape, actions_.frame().size());
}

void WebcamBubbleModel::mouseMoved(Point inside) {
    hovering_ = true;
    if (drag_ == Drag::none) updateHandleAndCursor(inside);
}

void WebcamBubbleModel::mouseExited() {
    hovering_ = false;
    if (drag_ == Drag::none) updateHandleAndCursor(std::nullopt);
}

void WebcamBubbleModel::mouseDown(Point inside) {
    dragStartFrame_ = actions_.frame();
    dragStartMouse_ = {dragStartFrame_.minX() + inside.x, dragStartFrame_.minY() + inside.y};
    drag_ = isOnHandle(inside) ? Drag::resize : Drag::move;
    updateHandleAndCursor(inside);
}

void WebcamBubbleModel::mouseDragged(Point onScreen) {
    const double dx = onScreen.x - dragStartMouse_.x;
    const double dy = onScreen.y - dragStartMouse_.y;
    if (drag_ == Drag::move) actions_.setFrame(dragStartFrame_.offsetBy(dx, dy));
    if (drag_ != Drag::resize) return;
    actions_.setFrame(bubble::resized(dragStartFrame_, appearance->shape, dx, dy));
    updateHandleAndCursor(std::nullopt);
}

void WebcamBubbleModel::mouseUp(Point inside) {
    const Drag ended = std::exchange(drag_, Drag::none);
    updateHandleAndCursor(inside);
    if (ended != Drag::none && actions_.frame() != dragStartFrame_) actions_.dragEnded(ended);
}

void WebcamBubbleModel::reset() {
    drag_ = Drag::none;
    mouseExited();
}

/// `inside` is where the mouse is, if that matters for the cursor.
void WebcamBubbleModel::updateHandleAndCursor(std::optional<Point> inside) {
    using Cursor = WebcamBubbleAppearance::Cursor;
    const bool resizing = drag_ == Drag::resize;
    change([&](WebcamBubbleAppearance& next) {
        next.showsHandle = hovering_ || resizing;
        next.sizeLabel = resizing ? std::to_string(std::lround(actions_.frame().width)) : std::string();
        next.cursor = drag_ == Drag::move                                        ? Cursor::closedHand
                      : resizing || (hovering_ && inside && isOnHandle(*inside)) ? Cursor::resize
                                                                                 : Cursor::arrow;
    });
}

}  // namespace lumicrate
