#include "Views/Overlays/Selection/BarPlate.h"

#include "Views/Overlays/Selection/PlateParts.h"
#include "Views/Widgets/Theme.h"

#include <QCoreApplication>
#include <QEvent>
#include <QHBoxLayout>
#include <QPainter>

namespace lumicrate::views {

namespace {

constexpr double rimOpacity = 0.13;
constexpr double edgeOpacity = 0.3;

class Divider final : public QWidget {
 public:
    explicit Divider(QWidget* parent) : QWidget(parent) {
        setFixedSize(2 * (plate::groupGap - plate::controlGap) + 1, measure::symbol);
    }

 protected:
    void paintEvent(QPaintEvent*) override {
        QPainter(this).fillRect(QRect(width() / 2, 0, 1, height()), overlay::white(0.15));
    }
};

}  // namespace

BarPlate::BarPlate(QWidget* parent) : QWidget(parent), row_(new QHBoxLayout(this)) {
    row_->setContentsMargins(plate::padding, plate::padding, plate::padding, plate::padding);
    row_->setSpacing(plate::controlGap);
    setFont(plate::font(font()));
    // The overlay beneath has a cursor of its own, and would start a drag.
    setCursor(Qt::ArrowCursor);
    setAttribute(Qt::WA_NoMousePropagation);
}

QWidget* BarPlate::addDivider() {
    auto* const divider = new Divider(this);
    row_->addWidget(divider);
    return divider;
}

BarPlate* BarPlate::of(const QWidget& control) {
    for (QWidget* each = control.parentWidget(); each != nullptr; each = each->parentWidget()) {
        if (auto* const bar = dynamic_cast<BarPlate*>(each)) return bar;
    }
    return nullptr;
}

void BarPlate::giveKeysBack() {
    if (parentWidget()) parentWidget()->setFocus();
}

bool BarPlate::event(QEvent* event) {
    // A hidden widget is not asked for its size by anybody; but the overlay places the bar before it shows
    // it.
    if (event->type() == QEvent::LayoutRequest && isHidden() && parentWidget())
        QCoreApplication::postEvent(parentWidget(), new QEvent(QEvent::LayoutRequest));
    return QWidget::event(event);
}

void BarPlate::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF all = rect();
    plate::paintGround(painter, all, overlay::ground, plate::corner);
    painter.setBrush(Qt::NoBrush);
    // The dark line sets the bar off from a bright picture, the light one from a dark picture.
    const auto line = [&](double inset, const QColor& color) {
        painter.setPen(QPen(color, 1));
        painter.drawRoundedRect(all.adjusted(inset, inset, -inset, -inset), plate::corner - inset,
                                plate::corner - inset);
    };
    line(0.5, overlay::black(edgeOpacity));
    line(1.5, overlay::white(rimOpacity));
}

}  // namespace lumicrate::views
