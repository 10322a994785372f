// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Widgets/FlatButton.h"

#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Symbols.h"
#include "Views/Widgets/Theme.h"

#include <QFontMetrics>
#include <QKeyEvent>
#include <QPainter>
#include <QPainterPath>
#include <QStyle>
#include <algorithm>

namespace lumicrate::views {

namespace {

constexpr int tileSymbol = 20;
constexpr int padding = 10;
constexpr int tilePadding = 7;
constexpr int prominentHeight = 48;
constexpr int chevronSide = 12;

QFont scaled(QFont font, double factor, QFont::Weight weight) {
    font.setPointSizeF(font.pointSizeF() * factor);
    font.setWeight(weight);
    return font;
}

/// A place in the button, for its direction of writing.
QRect visual(const QWidget& button, const QRect& place) {
    return QStyle::visualRect(button.layoutDirection(), button.rect(), place);
}

}  // namespace

void SymbolButton::setSymbol(std::string_view name) {
    if (symbol_ == name) return;
    symbol_ = name;
    updateGeometry();
    update();
}

void SymbolButton::setHelp(const std::string& help) {
    setAccessibleName(qtText(help));
    setToolTip(accessibleName());
}

struct FlatButton::Colors {
    QColor fill = Qt::transparent;
    QColor border = Qt::transparent;
    QColor symbol;
    QColor text;
    QColor progress;
};

FlatButton::FlatButton(Role role, QWidget* parent) : SymbolButton(parent), role_(role) {
    const bool stretches = role == Role::field || role == Role::prominent || role == Role::tile;
    setSizePolicy(stretches ? QSizePolicy::MinimumExpanding : QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void FlatButton::setTone(Tone tone) {
    tone_ = tone;
    update();
}

void FlatButton::setDetail(const QString& detail) {
    if (detail_ == detail) return;
    detail_ = detail;
    update();
}

void FlatButton::setProgress(std::optional<double> share) {
    progress_ = share;
    update();
}

QFont FlatButton::textFont() const {
    switch (role_) {
        case Role::tile:
            return scaled(font(), 0.88, QFont::Normal);
        case Role::prominent:
            return scaled(font(), 1.2, QFont::DemiBold);
        case Role::plain:
        case Role::chevron:
        case Role::field:
            break;
    }
    return font();
}

QFont FlatButton::detailFont() const {
    QFont figures = textFont();
    figures.setWeight(QFont::Normal);
    return figures;
}

QSize FlatButton::sizeHint() const {
    const QFontMetrics metrics(textFont());
    const int width = metrics.horizontalAdvance(text());
    switch (role_) {
        case Role::plain:
            return {measure::symbol + 2 * padding - 4, measure::symbol + 2 * padding - 4};
        case Role::chevron:
            return {chevronSide + 6, chevronSide + 2 * padding};
        case Role::tile:
            return {std::max(width + 8, 44), tileSymbol + metrics.height() + 2 * tilePadding + 3};
        case Role::field:
            return {width + measure::symbol + chevronSide + 4 * padding, metrics.height() + 2 * padding};
        case Role::prominent:
            return {text().isEmpty() ? prominentHeight : width + measure::symbol + 6 * padding,
                    std::max(prominentHeight, metrics.height() + 2 * padding)};
    }
    return {};
}

QSize FlatButton::minimumSizeHint() const {
    if (role_ != Role::field) return sizeHint();
    return {measure::symbol + chevronSide + 8 * padding, sizeHint().height()};
}

FlatButton::Colors FlatButton::colors() const {
    const ThemeColors theme = ThemeColors::of(*this);
    const QColor text = palette().color(QPalette::ButtonText);
    const bool hovered = isHovered();
    Colors colors;
    colors.text = text;
    colors.progress = faded(theme.accent, 0.25);
    switch (role_) {
        case Role::plain:
        case Role::chevron:
            if (hovered) colors.fill = theme.cardHover;
            break;
        case Role::tile:
            colors.fill = hovered ? theme.cardHover : theme.card;
            colors.border = theme.separator;
            if (isChecked()) {
                colors.text = isEnabled() ? theme.accent : text;
                colors.fill = faded(theme.accent, isEnabled() ? (hovered ? 0.2 : 0.14) : 0.06);
                colors.border = faded(theme.accent, isEnabled() ? 0.5 : 0.2);
            } else if (isEnabled()) {
                colors.text = theme.secondary;
            }
            break;
        case Role::field:
            colors.fill = hovered ? theme.cardHover : theme.card;
            colors.border = theme.separator;
            break;
        case Role::prominent:
            colors.fill = hovered ? theme.cardHover : theme.card;
            colors.border = theme.separator;
            if (!isEnabled()) {
                // What is waited for is to be read, other than what cannot be had.
                if (tone_ == Tone::neutral) colors.text = theme.secondary;
                break;
            }
            if (tone_ == Tone::inviting) {
                colors.fill = theme.recordGround.darker(hovered ? 112 : 100);
                colors.border = Qt::transparent;
                colors.text = Qt::white;
            } else if (tone_ == Tone::active) {
                colors.fill = faded(theme.record, hovered ? 0.17 : 0.12);
                colors.border = theme.record;
                colors.text = theme.record;
            }
            break;
    }
    colors.symbol = colors.text;
    if (isDown()) colors.fill = colors.fill.darker(110);
    return colors;
}

void FlatButton::paintGround(QPainter& painter, const Colors& colors) const {
    const QRectF ground = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    QPainterPath outline;
    outline.addRoundedRect(ground, measure::corner, measure::corner);
    painter.fillPath(outline, colors.fill);
    if (progress_) {
        painter.save();
        painter.setClipPath(outline);
        QRectF done(ground.left(), ground.top(), ground.width() * *progress_, ground.height());
        if (isRightToLeft()) done.moveRight(ground.right());
        painter.fillRect(done, colors.progress);
        painter.restore();
    }
    painter.setPen(colors.border);
    painter.drawPath(outline);
    if (!hasFocus() || !window()->testAttribute(Qt::WA_KeyboardFocusChange)) return;
    // Within the outline, where the accent colour would not stand out from the record colour.
    const bool isFilled = role_ == Role::prominent && tone_ == Tone::inviting && isEnabled();
    painter.setPen(QPen(isFilled ? QColor(Qt::white) : ThemeColors::of(*this).accent, 2));
    const int inset = isFilled ? 3 : 1;
    painter.drawRoundedRect(ground.adjusted(inset, inset, -inset, -inset), measure::corner - inset,
                            measure::corner - inset);
}

void FlatButton::paintTile(QPainter& painter, const Colors& colors) const {
    painter.setFont(textFont());
    painter.setPen(colors.text);
    const QRect symbolPlace((width() - tileSymbol) / 2, tilePadding, tileSymbol, tileSymbol);
    paintSymbol(painter, symbolPlace, symbolName(), colors.symbol);
    const QRect textPlace = rect().adjusted(2, symbolPlace.bottom() + 3, -2, -tilePadding + 2);
    const QString shown = painter.fontMetrics().elidedText(text(), Qt::ElideRight, textPlace.width());
    painter.drawText(textPlace, Qt::AlignHCenter | Qt::AlignVCenter, shown);
}

void FlatButton::paintField(QPainter& painter, const Colors& colors) const {
    const int middle = height() / 2;
    const auto square = [&](int left, int side) {
        return visual(*this, {left, middle - side / 2, side, side});
    };
    paintSymbol(painter, square(padding, measure::symbol), symbolName(), colors.symbol);
    paintSymbol(painter, square(width() - padding - chevronSide, chevronSide), "chevron.down", colors.symbol);
    const QRect place = visual(
        *this, rect().adjusted(2 * padding + measure::symbol - 2, 0, -2 * padding - chevronSide + 4, 0));
    painter.setFont(textFont());
    painter.setPen(colors.text);
    const QString shown = painter.fontMetrics().elidedText(text(), Qt::ElideRight, place.width());
    painter.drawText(place, Qt::AlignLeft | Qt::AlignVCenter, shown);
}

void FlatButton::paintCentered(QPainter& painter, const Colors& colors) const {
    const QFontMetrics title(textFont());
    const QFontMetrics figures(detailFont());
    const int symbolWidth = symbolName().empty() ? 0 : measure::symbol;
    // Figures are of one width in the fonts that interfaces are set in; the room for them is that of zeros.
    const int detailWidth = figures.horizontalAdvance(QString(detail_.size(), QLatin1Char('0')));
    const int textWidth = title.horizontalAdvance(text());
    const int gapBefore = symbolWidth > 0 && textWidth > 0 ? measure::gap : 0;
    const int gapAfter = detailWidth > 0 && textWidth > 0 ? measure::gap + 2 : 0;
    int x = (width() - symbolWidth - gapBefore - textWidth - gapAfter - detailWidth) / 2;
    if (symbolWidth > 0)
        paintSymbol(painter, visual(*this, {x, (height() - symbolWidth) / 2, symbolWidth, symbolWidth}),
                    symbolName(), colors.symbol);
    x += symbolWidth + gapBefore;
    painter.setPen(colors.text);
    painter.setFont(textFont());
    painter.drawText(visual(*this, {x, 0, textWidth + 1, height()}), Qt::AlignLeft | Qt::AlignVCenter,
                     text());
    x += textWidth + gapAfter;
    painter.setFont(detailFont());
    painter.drawText(visual(*this, {x, 0, width() - x, height()}), Qt::AlignLeft | Qt::AlignVCenter, detail_);
}

void FlatButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const Colors now = colors();
    paintGround(painter, now);
    switch (role_) {
        case Role::tile:
            return paintTile(painter, now);
        case Role::field:
            return paintField(painter, now);
        case Role::chevron:
            return paintSymbol(
                painter,
                QRect((width() - chevronSide) / 2, (height() - chevronSide) / 2, chevronSide, chevronSide),
                "chevron.down", now.symbol);
        case Role::plain:
        case Role::prominent:
            return paintCentered(painter, now);
    }
}

void FlatButton::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        click();
    } else {
        SymbolButton::keyPressEvent(event);
    }
}

}  // namespace lumicrate::views
