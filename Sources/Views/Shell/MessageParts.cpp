#include "Views/Shell/MessageParts.h"

#include "Views/Widgets/QtText.h"
#include "Views/Widgets/SymbolLabel.h"
#include "Views/Widgets/Symbols.h"
#include "Views/Widgets/Theme.h"
#include "Views/Widgets/TintedLabel.h"

#include <QHBoxLayout>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWidget>

namespace lumicrate::views {

QLabel* iconLabel(int side) {
    auto* label = new QLabel;
    label->setPixmap(applicationIcon().pixmap(QSize(side, side), label->devicePixelRatioF()));
    label->setAlignment(Qt::AlignCenter);
    return label;
}

QLabel* titleLabel(const QString& text, double size) {
    auto* label = new QLabel(text);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * size);
    font.setBold(true);
    label->setFont(font);
    label->setWordWrap(true);
    return label;
}

QWidget* symbolPoint(std::string_view symbol, const std::string& title, const std::string& text) {
    auto* point = new QWidget;
    auto* row = new QHBoxLayout(point);
    row->setContentsMargins(0, measure::gap, 0, measure::gap);
    row->setSpacing(measure::margin);
    row->addWidget(new SymbolLabel(symbol, &ThemeColors::accent, measure::symbol * 3 / 2), 0, Qt::AlignTop);
    auto* lines = new QVBoxLayout;
    lines->setSpacing(2);
    lines->addWidget(titleLabel(qtText(title), 1));
    auto* body = new TintedLabel(&ThemeColors::secondary, qtText(text));
    body->setTextInteractionFlags(Qt::TextSelectableByMouse);
    lines->addWidget(body);
    lines->addStretch();
    row->addLayout(lines, 1);
    return point;
}

QPushButton* roomyButton(const QString& text, const QIcon& icon) {
    auto* button = new QPushButton(icon, text);
    button->setMinimumWidth(button->sizeHint().width() + 2 * measure::gap);
    return button;
}

QVBoxLayout* messageLayout(QWidget& window, int characters) {
    auto* layout = new QVBoxLayout(&window);
    layout->setContentsMargins(measure::margin * 3 / 2, measure::margin * 3 / 2, measure::margin * 3 / 2,
                               measure::margin * 3 / 2);
    layout->setSpacing(measure::margin);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    layout->addStrut(window.fontMetrics().averageCharWidth() * characters);
    return layout;
}

}  // namespace lumicrate::views
