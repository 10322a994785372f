// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Preview/TrimStrip.h"

#include "Views/Overlays/OverlayStyle.h"
#include "Views/Widgets/Accessibility.h"
#include "Views/Widgets/QtText.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <utility>

namespace lumicrate::views {

/// A handle's place for the keyboard and assistive technology. The strip paints the handle and takes the
/// pointer.
class TrimStrip::End final : public QWidget, public AccessibleValue {
 public:
    End(TrimStrip& strip, Grip grip, const QString& name) : QWidget(&strip), strip_(strip), grip_(grip) {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setFocusPolicy(Qt::TabFocus);
        setAccessibleName(name);
    }

    /// Follows the range, while there is one.
    void follow(const CMTimeRange& range) {
        const CMTime time = grip_ == Grip::start ? range.start : range.end;
        const double left = strip_.xOf(time) - (grip_ == Grip::start ? handleWidth : 0);
        const QRectF handle(left, labelHeight, handleWidth, trackHeight + 2 * frameWidth);
        // Around the handle, on whose own colour no line stands out.
        setGeometry(handle.adjusted(-ring, -ring, ring, ring).toRect());
        if (std::exchange(time_, time) != time) notifyValueChanged(*this);
    }

    double accessibleValue() const override { return time_.seconds(); }
    Range accessibleRange() const override {
        return {0, strip_.player().pictures().duration().seconds(), keyStep.seconds()};
    }
    QString accessibleValueText() const override { return preciseTime(time_.seconds()); }
    void setAccessibleValue(double seconds) override { strip_.moveTo(grip_, CMTime::fromSeconds(seconds)); }

 protected:
    void paintEvent(QPaintEvent*) override {
        if (!hasFocus()) return;
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        overlay::paintFocus(painter, rect());
    }
    void keyPressEvent(QKeyEvent* event) override {
        const bool bySecond = event->modifiers().testFlag(Qt::ShiftModifier);
        if (event->key() == Qt::Key_Left) return strip_.moveTo(grip_, moved(false, bySecond));
        if (event->key() == Qt::Key_Right) return strip_.moveTo(grip_, moved(true, bySecond));
        event->ignore();
    }

 private:
    static constexpr double ring = 3;
    inline static const CMTime keyStep{1, 10};  ///< of sound, which has no pictures
    inline static const CMTime second{1, 1};
    /// Less than any picture lasts.
    inline static const CMTime moment{1, 10'000};

    /// The cut before or after this end.
    CMTime moved(bool forwards, bool bySecond) const {
        const PictureTable& pictures = strip_.player().pictures();
        if (bySecond || pictures.times().empty()) {
            const CMTime step = bySecond ? second : keyStep;
            return forwards ? time_ + step : time_ - step;
        }
        return forwards ? pictures.pictureEnd(time_) : pictures.pictureAt(time_ - moment);
    }

    TrimStrip& strip_;
    const Grip grip_;
    CMTime time_ = CMTime::zero();
};

TrimStrip::TrimStrip(PlayerModel& player, StripPictures& content, QWidget* parent)
    : RecordingStrip(player, content, parent) {
    setAccessibleRole(*this, QAccessible::Grouping);
    setAccessibleName(localizedText("Trim"));
    ends_ = {new End(*this, Grip::start, localizedText("Start of the part to keep")),
             new End(*this, Grip::end, localizedText("End of the part to keep"))};
    setVisible(player.trim->has_value());
    subscriptions_.push_back(player.observe([this] {
        placeEnds(*this->player().trim);
        update();
    }));
    subscriptions_.push_back(player.trim.observe([this](const auto& coming) {
        setVisible(coming.has_value());
        placeEnds(coming);
        update();
    }));
}

void TrimStrip::placeEnds(const std::optional<TrimRange>& trim) {
    if (!trim) return;
    for (End* const each : ends_)
        each->follow(trim->range());
}

void TrimStrip::resizeEvent(QResizeEvent*) {
    placeEnds(*player().trim);
}

TrimStrip::Grip TrimStrip::gripAt(double x) const {
    if (!*player().trim) return Grip::none;
    constexpr double reach = 4;
    const CMTimeRange range = (*player().trim)->range();
    const double start = xOf(range.start);
    const double end = xOf(range.end);
    if (x >= start - handleWidth - reach && x <= start + reach) return Grip::start;
    if (x >= end - reach && x <= end + handleWidth + reach) return Grip::end;
    return Grip::position;
}

/// The picture at the end that is dragged is shown, so that one sees what is kept.
void TrimStrip::moveTo(Grip grip, CMTime time) {
    switch (grip) {
        case Grip::start:
            player().setTrimStart(time);
            return player().seek((*player().trim)->range().start);
        case Grip::end:
            player().setTrimEnd(time);
            return player().seek(player().pictures().stepped((*player().trim)->range().end, -1));
        case Grip::position:
            return player().seek(time);
        case Grip::none:
            return;
    }
}

void TrimStrip::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return event->ignore();
    player().pause();
    grip_ = gripAt(event->position().x());
    moveTo(grip_, timeAt(event->position().x()));
}

void TrimStrip::mouseMoveEvent(QMouseEvent* event) {
    const double x = event->position().x();
    if (grip_ != Grip::none) return moveTo(grip_, timeAt(x));
    const Grip under = gripAt(x);
    setCursor(under == Grip::start || under == Grip::end ? Qt::SizeHorCursor : Qt::PointingHandCursor);
}

void TrimStrip::mouseReleaseEvent(QMouseEvent*) {
    grip_ = Grip::none;
}

/// Above the handles, or beside each other where the handles are close.
void TrimStrip::paintTimes(QPainter& painter, const CMTimeRange& range) const {
    constexpr double gap = 12;
    const QString start = preciseTime(range.start.seconds());
    const QString end = preciseTime(range.end.seconds());
    const double startWidth = painter.fontMetrics().horizontalAdvance(start);
    const double endWidth = painter.fontMetrics().horizontalAdvance(end);
    double startLeft = xOf(range.start) - handleWidth;
    double endLeft = xOf(range.end) + handleWidth - endWidth;
    const double missing = startLeft + startWidth + gap - endLeft;
    if (missing > 0) {
        startLeft =
            std::clamp(startLeft - missing / 2, margin, width() - margin - startWidth - gap - endWidth);
        endLeft = startLeft + startWidth + gap;
    }
    painter.drawText(QRectF(startLeft, 0, startWidth + 1, labelHeight), Qt::AlignVCenter, start);
    painter.drawText(QRectF(endLeft, 0, endWidth + 1, labelHeight), Qt::AlignVCenter, end);
}

void TrimStrip::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    paintContent(painter);
    if (!*player().trim) return;
    const QRectF area = track();
    const CMTimeRange range = (*player().trim)->range();
    const double start = xOf(range.start);
    const double end = xOf(range.end);
    const QColor left = overlay::black(0.6);
    painter.fillRect(QRectF(area.left(), area.top(), start - area.left(), area.height()), left);
    painter.fillRect(QRectF(end, area.top(), area.right() - end, area.height()), left);
    const QRectF inner(start, area.top(), end - start, area.height());
    QPainterPath frame;
    frame.addRoundedRect(inner.adjusted(-handleWidth, -frameWidth, handleWidth, frameWidth), corner, corner);
    QPainterPath hole;
    hole.addRect(inner);
    painter.fillPath(frame.subtracted(hole), overlay::yellow);
    painter.setPen(QPen(overlay::black(0.55), 2, Qt::SolidLine, Qt::RoundCap));
    for (const double x : {start - handleWidth / 2, end + handleWidth / 2})
        painter.drawLine(QPointF(x, area.center().y() - 8), QPointF(x, area.center().y() + 8));
    paintPosition(painter);
    painter.setFont(overlay::font(12, QFont::Normal, font()));
    painter.setPen(overlay::control::text);
    paintTimes(painter, range);
}

}  // namespace lumicrate::views
