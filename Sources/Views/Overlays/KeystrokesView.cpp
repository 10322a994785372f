// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/KeystrokesView.h"

#include "Views/Overlays/OverlayStyle.h"
#include "Views/Widgets/QtText.h"

#include <QFontMetricsF>
#include <QPainter>
#include <array>
#include <cmath>
#include <cstddef>

namespace lumicrate::views {

namespace {

// In heights of the row.
constexpr double cornerShare = 0.28;
constexpr double paddingShare = 0.42;
constexpr double gapShare = 0.2;

/// Pixels of a screen with one pixel for each point. The smallest is legible in a movie of 720 lines that
/// shows 1080.
int textSize(KeysSize size) {
    constexpr std::array<int, 3> sizes = {18, 26, 36};
    return sizes.at(static_cast<std::size_t>(size));
}

bool isAtTheLeft(KeysPlace place) {
    return place == KeysPlace::bottomLeft || place == KeysPlace::topLeft;
}

bool isAtTheRight(KeysPlace place) {
    return place == KeysPlace::bottomRight || place == KeysPlace::topRight;
}

}  // namespace

KeystrokesView::KeystrokesView(const Keystrokes& model)
    : model_(model), row_(*model.row), font_(overlay::font(textSize(model.size), QFont::DemiBold, font())) {
    setAccessibleName(localizedText("Pressed keys"));
    subscription_ = model.row.observe([this](const KeystrokeRow& row) { change(row); });
}

void KeystrokesView::change(const KeystrokeRow& row) {
    const bool keysChanged = row.keys != row_.keys;
    row_ = row;
    if (!keysChanged) {
        if (isComposited()) update();
        return;
    }
    layOut();
    shapeChanged();
}

void KeystrokesView::resizeEvent(QResizeEvent*) {
    layOut();
}

KeystrokesView::Capsule KeystrokesView::capsuleFor(const Keystroke& key) const {
    const QFontMetricsF metrics(font_);
    const double padding = height() * paddingShare;
    Capsule capsule;
    if (key.count > 1) capsule.count = QStringLiteral(" × %1").arg(key.count);
    const double counted = capsule.count.isEmpty() ? 0 : metrics.horizontalAdvance(capsule.count);
    // The end of typed text is what was typed last.
    const Qt::TextElideMode cut = key.label.isTyped ? Qt::ElideLeft : Qt::ElideRight;
    capsule.text = metrics.elidedText(qtText(key.label.text), cut, width() - 2 * padding - counted);
    const double inner = metrics.horizontalAdvance(capsule.text) + counted;
    capsule.frame = QRectF(0, 0, std::min<double>(std::ceil(inner + 2 * padding), width()), height());
    return capsule;
}

void KeystrokesView::layOut() {
    capsules_.clear();
    const double gap = std::round(height() * gapShare);
    double all = 0;
    for (auto key = row_.keys.rbegin(); key != row_.keys.rend(); ++key) {
        Capsule capsule = capsuleFor(*key);
        const double more = capsule.frame.width() + (capsules_.empty() ? 0 : gap);
        if (all + more > width()) break;
        all += more;
        capsules_.insert(capsules_.begin(), std::move(capsule));
    }
    const double free = width() - all;
    double left = isAtTheLeft(model_.place) ? 0 : isAtTheRight(model_.place) ? free : std::round(free / 2);
    for (Capsule& each : capsules_) {
        each.frame.moveLeft(left);
        left = each.frame.right() + gap;
    }
}

QPainterPath KeystrokesView::silhouette() const {
    QPainterPath all;
    for (const Capsule& each : capsules_)
        all.addRoundedRect(each.frame, height() * cornerShare, height() * cornerShare);
    return all;
}

std::optional<QPainterPath> KeystrokesView::paintedArea() const {
    QPainterPath all;
    for (const Capsule& each : capsules_)
        all.addRect(each.frame);
    return all;
}

void KeystrokesView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    if (isComposited()) painter.setOpacity(row_.opacity);
    painter.setRenderHint(QPainter::Antialiasing, isComposited());
    for (const Capsule& each : capsules_)
        paintCapsule(painter, each);
}

void KeystrokesView::paintCapsule(QPainter& painter, const Capsule& capsule) const {
    overlay::paintPlate(painter, capsule.frame, height() * cornerShare, isComposited());
    const double padding = height() * paddingShare;
    const QRectF inner = capsule.frame.adjusted(padding, 0, -padding, 0);
    painter.setFont(font_);
    painter.setPen(overlay::control::text);
    painter.drawText(inner, Qt::AlignVCenter | Qt::AlignLeft | Qt::TextDontClip, capsule.text);
    painter.setPen(overlay::control::faintText);
    painter.drawText(inner, Qt::AlignVCenter | Qt::AlignRight | Qt::TextDontClip, capsule.count);
}

}  // namespace lumicrate::views
