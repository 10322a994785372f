// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Preview/ZoomStrip.h"

#include "Views/Overlays/OverlayStyle.h"
#include "Views/Widgets/Accessibility.h"
#include "Views/Widgets/QtText.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <algorithm>
#include <string>

namespace lumicrate::views {

namespace {

constexpr double reach = 5;  ///< around an end, in points
constexpr double keyStep = 0.1;

QString scaleText(double scale) {
    return QString::number(scale) + QStringLiteral("×");
}

}  // namespace

/// A block's place for the keyboard and assistive technology. The strip paints the block and takes the
/// pointer.
class ZoomStrip::Handle final : public QWidget, public AccessibleValue {
 public:
    Handle(ZoomStrip& strip, std::size_t number) : QWidget(&strip), strip_(strip), number_(number) {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setFocusPolicy(Qt::TabFocus);
        setAccessibleName(qtText(localized("Zoom {}", {std::to_string(number + 1)})));
    }

    void follow(const ZoomBlock& block) {
        const bool isChanged = block != block_;
        block_ = block;
        setGeometry(strip_.rectOf(block).adjusted(-ring, -ring, ring, ring).toAlignedRect());
        if (isChanged) notifyValueChanged(*this);
    }

    double accessibleValue() const override { return block_.start; }
    Range accessibleRange() const override {
        return {0, strip_.player().pictures().duration().seconds(), keyStep};
    }
    QString accessibleValueText() const override {
        return preciseTime(block_.start) + QStringLiteral(" – ") + preciseTime(block_.end) +
               QStringLiteral(", ") + scaleText(block_.scale);
    }
    void setAccessibleValue(double seconds) override { strip_.model_.moveTo(number_, seconds); }

 protected:
    void paintEvent(QPaintEvent*) override {
        if (!hasFocus()) return;
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        overlay::paintFocus(painter, rect());
    }
    void focusInEvent(QFocusEvent* event) override {
        strip_.model_.select(number_);
        QWidget::focusInEvent(event);
    }
    void keyPressEvent(QKeyEvent* event) override {
        const double step = event->modifiers().testFlag(Qt::ShiftModifier) ? 1 : keyStep;
        switch (event->key()) {
            case Qt::Key_Left:
                return move(-step, event->modifiers().testFlag(Qt::ControlModifier));
            case Qt::Key_Right:
                return move(step, event->modifiers().testFlag(Qt::ControlModifier));
            case Qt::Key_Up:
                return strip_.model_.stepScale(number_, 1);
            case Qt::Key_Down:
                return strip_.model_.stepScale(number_, -1);
            default:
                event->ignore();
        }
    }

 private:
    static constexpr double ring = 3;

    void move(double step, bool isEnd) {
        if (isEnd) return strip_.model_.setEnd(number_, block_.end + step);
        strip_.model_.moveTo(number_, block_.start + step);
    }

    ZoomStrip& strip_;
    const std::size_t number_;
    ZoomBlock block_;
};

ZoomStrip::ZoomStrip(ZoomBlocks& model, PlayerModel& player, StripPictures& content, QWidget* parent)
    : RecordingStrip(player, content, parent), model_(model) {
    setAccessibleRole(*this, QAccessible::Grouping);
    setAccessibleName(localizedText("Zoom"));
    subscriptions_.push_back(player.observe([this] { update(); }));
    subscriptions_.push_back(model.state.observe([this](const auto& coming) { show(coming); }));
    show(*model.state);
}

void ZoomStrip::show(const std::optional<ZoomBlocks::State>& state) {
    setVisible(state.has_value());
    const std::size_t count = state ? state->blocks.size() : 0;
    while (handles_.size() > count) {
        // Its own key may have removed the block.
        handles_.back()->hide();
        handles_.back()->deleteLater();
        handles_.pop_back();
    }
    while (handles_.size() < count) {
        handles_.push_back(new Handle(*this, handles_.size()));
        handles_.back()->show();
    }
    if (state) placeHandles(state->blocks);
    update();
}

void ZoomStrip::placeHandles(const std::vector<ZoomBlock>& blocks) {
    for (std::size_t i = 0; i < std::min(handles_.size(), blocks.size()); ++i)
        handles_[i]->follow(blocks[i]);
}

const std::vector<ZoomBlock>& ZoomStrip::blocks() const {
    static const std::vector<ZoomBlock> none;
    return model_.isEditing() ? (*model_.state)->blocks : none;
}

QRectF ZoomStrip::rectOf(const ZoomBlock& block) const {
    const double left = xOf(CMTime::fromSeconds(block.start));
    const double right = xOf(CMTime::fromSeconds(block.end));
    return {left, track().top(), right - left, track().height()};
}

/// The ends of the selected block come first, so that they can be taken where blocks touch.
std::optional<ZoomStrip::Grip> ZoomStrip::gripAt(double x) const {
    const std::size_t selected = model_.isEditing() ? (*model_.state)->selected.value_or(0) : 0;
    const double time = timeAt(x).seconds();
    for (std::size_t i = 0; i < blocks().size(); ++i) {
        const std::size_t number = (i + selected) % blocks().size();
        const ZoomBlock& block = blocks()[number];
        const QRectF place = rectOf(block);
        if (x < place.left() - reach || x > place.right() + reach) continue;
        // Some of a short block remains to drag it by.
        const double inside = std::min(reach, place.width() / 4);
        if (x < place.left() + inside) return Grip{number, Part::start, time - block.start};
        if (x > place.right() - inside) return Grip{number, Part::end, time - block.end};
        return Grip{number, Part::body, time - block.start};
    }
    return std::nullopt;
}

void ZoomStrip::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return event->ignore();
    player().pause();
    grip_ = gripAt(event->position().x());
    if (!grip_) {
        model_.select(std::nullopt);
        return player().seek(timeAt(event->position().x()));
    }
    model_.select(grip_->block);
    handles_[grip_->block]->setFocus();
    const ZoomBlock& block = blocks()[grip_->block];
    player().seek(CMTime::fromSeconds(std::min(block.start + ZoomPlan::easeTime, block.end)));
}

void ZoomStrip::mouseDoubleClickEvent(QMouseEvent* event) {
    const double x = event->position().x();
    if (event->button() != Qt::LeftButton || gripAt(x)) return;
    model_.add(timeAt(x).seconds());
    if (const auto added = (*model_.state)->selected) handles_[*added]->setFocus();
}

void ZoomStrip::mouseMoveEvent(QMouseEvent* event) {
    const double x = event->position().x();
    if (grip_) return drag(x);
    const std::optional<Grip> under = gripAt(x);
    const bool isEnd = under && under->part != Part::body;
    setCursor(isEnd ? Qt::SizeHorCursor : under ? Qt::OpenHandCursor : Qt::PointingHandCursor);
}

void ZoomStrip::drag(double x) {
    const double time = timeAt(x).seconds() - grip_->offset;
    switch (grip_->part) {
        case Part::body:
            return model_.moveTo(grip_->block, time);
        case Part::start:
            return model_.setStart(grip_->block, time);
        case Part::end:
            return model_.setEnd(grip_->block, time);
    }
}

void ZoomStrip::mouseReleaseEvent(QMouseEvent*) {
    grip_.reset();
}

void ZoomStrip::resizeEvent(QResizeEvent*) {
    placeHandles(blocks());
}

void ZoomStrip::paintBlock(QPainter& painter, const ZoomBlock& block, bool isSelected) const {
    constexpr double gripHeight = 16;
    const QRectF place = rectOf(block).adjusted(1, 1, -1, -1);
    QColor fill = overlay::yellow;
    fill.setAlphaF(isSelected ? 0.42F : 0.24F);
    painter.setPen(QPen(overlay::yellow, isSelected ? 2.5 : 1.5));
    painter.setBrush(fill);
    painter.drawRoundedRect(place, corner, corner);
    if (isSelected) {
        painter.setPen(QPen(overlay::yellow, 3, Qt::SolidLine, Qt::RoundCap));
        for (const double x : {place.left() + 5, place.right() - 5})
            painter.drawLine(QPointF(x, place.center().y() - gripHeight / 2),
                             QPointF(x, place.center().y() + gripHeight / 2));
    }
    const QString text = scaleText(block.scale);
    QRectF plate(0, 0, painter.fontMetrics().horizontalAdvance(text) + 10,
                 painter.fontMetrics().height() + 2);
    if (plate.width() > place.width() - 4) return;
    plate.moveCenter(place.center());
    painter.setPen(Qt::NoPen);
    painter.setBrush(overlay::black(0.62));
    painter.drawRoundedRect(plate, 4, 4);
    painter.setPen(overlay::control::text);
    painter.drawText(plate, Qt::AlignCenter, text);
}

/// Above the block, within the strip.
void ZoomStrip::paintTimes(QPainter& painter, const ZoomBlock& block) const {
    const QString text = preciseTime(block.start) + QStringLiteral(" – ") + preciseTime(block.end);
    const double textWidth = painter.fontMetrics().horizontalAdvance(text);
    const double left = std::clamp(rectOf(block).center().x() - textWidth / 2, margin,
                                   std::max(margin, width() - margin - textWidth));
    painter.setPen(overlay::control::text);
    painter.drawText(QRectF(left, 0, textWidth + 1, labelHeight), Qt::AlignVCenter, text);
}

void ZoomStrip::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    paintContent(painter);
    // Blocks stand out from pictures of any colour.
    painter.fillRect(track(), overlay::black(0.35));
    painter.setFont(overlay::font(12, QFont::Normal, font()));
    if (!model_.isEditing()) return;
    const std::optional<std::size_t> selected = (*model_.state)->selected;
    for (std::size_t i = 0; i < blocks().size(); ++i)
        paintBlock(painter, blocks()[i], i == selected);
    paintPosition(painter);
    if (selected) paintTimes(painter, blocks()[*selected]);
}

}  // namespace lumicrate::views
