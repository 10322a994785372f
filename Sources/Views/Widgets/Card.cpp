// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Widgets/Card.h"

#include "Views/Widgets/Theme.h"

#include <QPainter>
#include <QVBoxLayout>

namespace lumicrate::views {

Card::Card(QWidget* parent) : QWidget(parent), rows_(new QVBoxLayout(this)) {
    rows_->setContentsMargins(measure::margin, measure::gap / 2, measure::margin, measure::gap / 2);
    rows_->setSpacing(1);
}

void Card::addRow(QWidget* row) {
    rows_->addWidget(row);
}

void Card::paintEvent(QPaintEvent*) {
    const ThemeColors colors = ThemeColors::of(*this);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(colors.separator, 1));
    painter.setBrush(colors.card);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), measure::corner, measure::corner);
    for (int i = 1; i < rows_->count(); ++i) {
        const QRectF row = rows_->itemAt(i)->geometry();
        painter.drawLine(QPointF(row.left(), row.top() - 0.5), QPointF(row.right(), row.top() - 0.5));
    }
}

}  // namespace lumicrate::views
