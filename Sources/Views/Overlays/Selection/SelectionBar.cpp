// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/Selection/SelectionBar.h"

#include "Views/Overlays/OverlayStyle.h"
#include "Views/Widgets/Accessibility.h"
#include "Views/Widgets/Theme.h"

#include <QCoreApplication>
#include <QEvent>
#include <QHBoxLayout>
#include <QPainter>

namespace lumicrate::views {

namespace {

constexpr double rimOpacity = 0.13;
constexpr double edgeOpacity = 0.3;
constexpr int groupGap = 9;  ///< on either side of a divider

class Divider final : public QWidget {
 public:
    explicit Divider(QWidget* parent) : QWidget(parent) {
        setFixedSize(2 * (groupGap - overlay::control::gap) + 1, measure::symbol);
    }

 protected:
    void paintEvent(QPaintEvent*) override {
        QPainter(this).fillRect(QRect(width() / 2, 0, 1, height()), overlay::divider);
    }
};

}  // namespace

SelectionBar::SelectionBar(QWidget* parent) : QWidget(parent), row_(new QHBoxLayout(this)) {
    constexpr int padding = overlay::control::barPadding;
    row_->setContentsMargins(padding, padding, padding, padding);
    row_->setSpacing(overlay::control::gap);
    setFont(overlay::controlFont(font()));
    setAccessibleRole(*this, QAccessible::ToolBar);
}

QWidget* SelectionBar::addDivider() {
    auto* const divider = new Divider(this);
    row_->addWidget(divider);
    return divider;
}

SelectionBar* SelectionBar::of(const QWidget& control) {
    for (QWidget* each = control.parentWidget(); each != nullptr; each = each->parentWidget()) {
        if (auto* const bar = dynamic_cast<SelectionBar*>(each)) return bar;
    }
    return nullptr;
}

void SelectionBar::returnFocus() {
    if (parentWidget()) parentWidget()->setFocus();
}

bool SelectionBar::event(QEvent* event) {
    // The toolkit drops layout requests of hidden widgets, but the overlay places the bar before showing it.
    if (event->type() == QEvent::LayoutRequest && isHidden() && parentWidget())
        QCoreApplication::postEvent(parentWidget(), new QEvent(QEvent::LayoutRequest));
    return QWidget::event(event);
}

void SelectionBar::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF all = rect();
    constexpr double corner = overlay::control::barCorner;
    overlay::paintGround(painter, all, overlay::ground, corner);
    painter.setBrush(Qt::NoBrush);
    // The dark line sets the bar off from a bright background, the light one from a dark background.
    const auto line = [&](double inset, const QColor& color) {
        painter.setPen(QPen(color, 1));
        painter.drawRoundedRect(all.adjusted(inset, inset, -inset, -inset), corner - inset, corner - inset);
    };
    line(0.5, overlay::black(edgeOpacity));
    line(1.5, overlay::white(rimOpacity));
}

}  // namespace lumicrate::views
