// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/Selection/SegmentedPicker.h"

#include "Views/Overlays/OverlayStyle.h"
#include "Views/Widgets/Accessibility.h"
#include "Views/Widgets/QtText.h"

#include <QAbstractButton>
#include <QFontMetrics>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QPainter>

namespace lumicrate::views {

namespace {

constexpr int inset = 2;
constexpr int segmentHeight = overlay::control::height - 2 * inset;
constexpr int segmentPadding = 10;
constexpr int segmentCorner = overlay::control::corner - inset;
constexpr double chosenOpacity = 0.24;

/// Rich text, so that a tool tip wraps it. Escaped: it contains a window's title.
QString wrapped(const std::string& text) {
    return QStringLiteral("<p>%1</p>").arg(qtText(text).toHtmlEscaped());
}

}  // namespace

class SegmentedPicker::Segment final : public QAbstractButton {
 public:
    Segment(const QString& label, QWidget* parent) : QAbstractButton(parent) {
        setText(label);
        setCheckable(true);
        setAutoExclusive(true);
        setFocusPolicy(Qt::NoFocus);
        connect(this, &QAbstractButton::toggled, this,
                [this](bool chosen) { setFocusPolicy(chosen ? Qt::TabFocus : Qt::NoFocus); });
        setAttribute(Qt::WA_Hover);
        setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    }
    QSize sizeHint() const override {
        // Room for the bolder font of the chosen segment.
        const QFontMetrics metrics(overlay::controlFont(font(), QFont::Medium));
        return {metrics.horizontalAdvance(text()) + 2 * segmentPadding, segmentHeight};
    }

 protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        if (isChecked()) {
            overlay::paintGround(painter, rect(), overlay::white(chosenOpacity), segmentCorner);
        } else if (isDown() || underMouse()) {
            overlay::paintGround(painter, rect(),
                                 isDown() ? overlay::control::pressed : overlay::control::hover,
                                 segmentCorner);
        }
        painter.setFont(overlay::controlFont(font(), isChecked() ? QFont::Medium : QFont::Normal));
        painter.setPen(isChecked() ? QColor(Qt::white) : overlay::white(0.7));
        painter.drawText(rect(), Qt::AlignCenter, text());
        if (hasFocus()) overlay::paintFocus(painter, rect(), overlay::control::focus, segmentCorner);
    }
    void keyPressEvent(QKeyEvent* event) override {
        switch (event->key()) {
            case Qt::Key_Space:
            case Qt::Key_Select:
            case Qt::Key_Left:
            case Qt::Key_Right:
                return QAbstractButton::keyPressEvent(event);
            default:
                event->ignore();
        }
    }
};

SegmentedPicker::SegmentedPicker(const QString& name, QWidget* parent) : QWidget(parent) {
    setAccessibleRole(*this, QAccessible::Grouping);
    setAccessibleName(name);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    auto* const row = new QHBoxLayout(this);
    row->setContentsMargins(inset, inset, inset, inset);
    row->setSpacing(inset);
}

void SegmentedPicker::addSegment(const QString& label) {
    const int index = static_cast<int>(segments_.size());
    auto* const segment = new Segment(label, this);
    segment->setAccessibleName(label);
    segments_.push_back(segment);
    layout()->addWidget(segment);
    connect(segment, &QAbstractButton::clicked, this, [this, index] {
        if (onChosen_) onChosen_(index);
    });
}

void SegmentedPicker::setHelp(int index, const std::string& help) {
    Segment& segment = *segments_[static_cast<std::size_t>(index)];
    segment.setToolTip(wrapped(help));
    segment.setAccessibleDescription(qtText(help));
}

void SegmentedPicker::setChosen(int index) {
    segments_[static_cast<std::size_t>(index)]->setChecked(true);
}

void SegmentedPicker::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    overlay::paintGround(painter, rect(), overlay::control::field);
}

}  // namespace lumicrate::views
