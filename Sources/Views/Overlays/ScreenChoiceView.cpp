// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/ScreenChoiceView.h"

#include "Views/Overlays/OverlayStyle.h"
#include "Views/Widgets/Accessibility.h"
#include "Views/Widgets/FlatButton.h"
#include "Views/Widgets/Pictures.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Symbols.h"
#include "Views/Widgets/Theme.h"

#include <QFontMetricsF>
#include <QMouseEvent>
#include <QPainter>
#include <QVBoxLayout>
#include <functional>
#include <string_view>
#include <utility>

namespace lumicrate::views {

namespace {

constexpr double dimmed = 0.45;
constexpr double dimmedUnderPointer = 0.15;
constexpr double outlineWidth = 6;
constexpr int highlightMilliseconds = 120;

constexpr int padding = 28;
constexpr double corner = 20;
constexpr int groupWidth = 216;  ///< inside of the padding; more if the name needs it
constexpr int maxNameWidth = 420;
constexpr int symbolSide = 40;
constexpr double symbolOpacity = 0.92;
constexpr int titleSize = 22;
constexpr int pixelsSize = 13;
constexpr double pixelsOpacity = 0.65;
constexpr int badgeSide = 28;
constexpr double badgeCorner = 8;
constexpr int badgeSize = 16;
constexpr double badgeOpacity = 0.16;
constexpr double badgeGap = 10;

/// A part of the group without interaction.
class Drawing final : public QWidget {
 public:
    Drawing(QSize size, std::function<void(QPainter&, const QRectF&)> draw, QWidget* parent)
        : QWidget(parent), draw_(std::move(draw)) {
        setFixedHeight(size.height());
        setMinimumWidth(size.width());
    }

 protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        draw_(painter, rect());
    }

 private:
    std::function<void(QPainter&, const QRectF&)> draw_;
};

QRectF centered(const QSizeF& size, const QRectF& in) {
    QRectF rect(QPointF(), size);
    rect.moveCenter(in.center());
    return rect;
}

Drawing* symbolDrawing(QWidget* parent) {
    const auto draw = [](QPainter& painter, const QRectF& place) {
        paintSymbol(painter, centered(QSizeF(symbolSide, symbolSide), place), "display",
                    overlay::white(symbolOpacity));
    };
    return new Drawing({symbolSide, symbolSide}, draw, parent);
}

/// The number, which looks like a key because that key chooses the screen, and the name.
Drawing* titleDrawing(int number, const QString& whole, QWidget* parent) {
    const QFontMetricsF metrics(overlay::font(titleSize, QFont::DemiBold));
    const QString name = metrics.elidedText(whole, Qt::ElideRight, maxNameWidth);
    const double nameWidth = metrics.horizontalAdvance(name);
    const double width = badgeSide + badgeGap + nameWidth;
    const auto draw = [=](QPainter& painter, const QRectF& place) {
        const QRectF row = centered(QSizeF(width, place.height()), place);
        QRectF badge = centered(QSizeF(badgeSide, badgeSide), row);
        const bool isMirrored = painter.layoutDirection() == Qt::RightToLeft;
        badge.moveLeft(isMirrored ? row.right() - badgeSide : row.left());
        painter.setPen(Qt::NoPen);
        painter.setBrush(overlay::white(badgeOpacity));
        painter.drawRoundedRect(badge, badgeCorner, badgeCorner);
        painter.setPen(Qt::white);
        painter.setFont(overlay::font(badgeSize, QFont::DemiBold));
        painter.drawText(badge, Qt::AlignCenter, QString::number(number));
        painter.setFont(overlay::font(titleSize, QFont::DemiBold));
        const double beside = isMirrored ? row.left() : row.left() + badgeSide + badgeGap;
        const QRectF namePlace(beside, row.top(), nameWidth + 1, row.height());
        painter.drawText(namePlace, Qt::AlignLeft | Qt::AlignVCenter, name);
    };
    return new Drawing({static_cast<int>(width) + 1, static_cast<int>(metrics.height()) + 1}, draw, parent);
}

Drawing* pixelsDrawing(const QString& text, QWidget* parent) {
    const QFont font = overlay::font(pixelsSize);
    const auto draw = [=](QPainter& painter, const QRectF& place) {
        painter.setFont(font);
        painter.setPen(overlay::white(pixelsOpacity));
        painter.drawText(place, Qt::AlignCenter, text);
    };
    return new Drawing({0, static_cast<int>(QFontMetricsF(font).height()) + 1}, draw, parent);
}

/// For the buttons: overlays are dark on any desktop.
QPalette darkPalette() {
    QPalette palette(overlay::white(0.92), overlay::opaqueGround);
    palette.setColor(QPalette::ButtonText, overlay::white(0.92));
    return palette;
}

}  // namespace

/// The plate in the middle. Opaque, because text may be below it.
class ScreenChoiceView::Group final : public QWidget {
 public:
    Group(const ScreenChoice& model, ScreenChoiceView* parent) : QWidget(parent) {
        setPalette(darkPalette());
        auto* const column = new QVBoxLayout(this);
        column->setContentsMargins(padding, padding, padding, padding);
        column->setSpacing(0);
        column->addWidget(symbolDrawing(this));
        column->addSpacing(measure::gap + 2);
        column->addWidget(titleDrawing(model.number, qtText(model.name), this));
        column->addSpacing(measure::gap / 2);
        column->addWidget(pixelsDrawing(qtText(model.pixels), this));
        column->addSpacing(measure::margin + measure::gap / 2);
        FlatButton* const choose =
            addButton(translatable("Record This Screen"), "record.circle.fill", model.onChoose);
        choose->setObjectName(QStringLiteral("choose"));
        column->addSpacing(measure::gap);
        FlatButton* const cancel = addButton(translatable("Cancel"), "", model.onCancel);
        cancel->setObjectName(QStringLiteral("cancel"));
        cancel->setTone(FlatButton::Tone::neutral);
        column->addStrut(groupWidth);
        choose->setFocus();
    }

 protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(overlay::white(0.12), 1));
        painter.setBrush(overlay::opaqueGround);
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), corner, corner);
    }

 private:
    FlatButton* addButton(std::string_view title, std::string_view symbol, std::function<void()> action) {
        auto* const button = new FlatButton(FlatButton::Role::prominent, this);
        button->setText(localizedText(title));
        button->setSymbol(symbol);
        connect(button, &QAbstractButton::clicked, this, [action = std::move(action)] { action(); });
        layout()->addWidget(button);
        return button;
    }
};

ScreenChoiceView::ScreenChoiceView(ScreenChoice& model) : model_(model) {
    setAccessibleName(QStringLiteral("%1 %2").arg(QString::number(model.number), qtText(model.name)));
    setAccessibleDescription(qtText(model.pixels));
    auto* const middle = new QVBoxLayout(this);
    middle->setContentsMargins(0, 0, 0, 0);
    middle->addWidget(new Group(model, this), 0, Qt::AlignCenter);
    highlight_.setStartValue(0.0);
    highlight_.setEndValue(1.0);
    highlight_.setDuration(highlightMilliseconds);
    connect(&highlight_, &QVariantAnimation::valueChanged, this, [this] { update(); });
}

void ScreenChoiceView::enterEvent(QEnterEvent*) {
    highlight(true);
}

void ScreenChoiceView::leaveEvent(QEvent*) {
    highlight(false);
}

void ScreenChoiceView::highlight(bool wanted) {
    highlight_.setDirection(wanted ? QAbstractAnimation::Forward : QAbstractAnimation::Backward);
    if (highlight_.state() == QAbstractAnimation::Stopped) startMotion(highlight_);
    // Without a compositing manager each step would repaint the picture of the whole screen.
    if (!isComposited()) highlight_.setCurrentTime(wanted ? highlight_.duration() : 0);
}

void ScreenChoiceView::mousePressEvent(QMouseEvent* event) {
    isPressed_ = event->button() == Qt::LeftButton;
}

void ScreenChoiceView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !std::exchange(isPressed_, false)) return;
    if (rect().contains(event->position().toPoint())) model_.onChoose();
}

void ScreenChoiceView::paintBackdrop(QPainter& painter) const {
    painter.fillRect(rect(), overlay::opaqueGround);
    if (!model_.backdrop) return;
    // In pixel coordinates, so that the picture is not scaled.
    painter.save();
    painter.scale(1 / devicePixelRatio(), 1 / devicePixelRatio());
    painter.drawImage(0, 0, sharedImage(*model_.backdrop));
    painter.restore();
}

void ScreenChoiceView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    if (!isComposited()) paintBackdrop(painter);
    const double lit = highlight_.currentValue().toDouble();
    painter.fillRect(rect(), overlay::black(dimmed + (dimmedUnderPointer - dimmed) * lit));
    if (lit <= 0) return;
    // The outer half of the line lies outside of the widget.
    painter.setPen(
        QPen(faded(overlay::blue, lit), 2 * outlineWidth, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
    painter.drawRect(QRectF(rect()));
}

}  // namespace lumicrate::views
