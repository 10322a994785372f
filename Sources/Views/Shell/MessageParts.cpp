// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Shell/MessageParts.h"

#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Symbols.h"
#include "Views/Widgets/Theme.h"
#include "Views/Widgets/TintedLabel.h"

#include <QClipboard>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QLineEdit>
#include <QPushButton>
#include <QShortcut>
#include <QVBoxLayout>
#include <QWidget>

namespace lumicrate::views {

void prepareWindow(QWidget& window, const QString& title) {
    window.setWindowTitle(title);
    window.setWindowIcon(applicationIcon());
    for (const QKeySequence& keys : {QKeySequence(Qt::Key_Escape), QKeySequence(Qt::CTRL | Qt::Key_W)})
        QObject::connect(new QShortcut(keys, &window), &QShortcut::activated, &window, &QWidget::close);
}

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

QWidget* copyableCommand(const QString& command) {
    auto* whole = new QWidget;
    auto* row = new QHBoxLayout(whole);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(measure::gap);
    auto* text = new QLineEdit(command);
    text->setReadOnly(true);
    text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    text->setAccessibleName(localizedText("Command"));
    text->setMinimumWidth(text->fontMetrics().horizontalAdvance(command) + 3 * measure::gap);
    row->addWidget(text, 1);
    auto* copy = new QPushButton(localizedText("Copy"));
    copy->setAccessibleName(localizedText("Copy the command"));
    QObject::connect(copy, &QPushButton::clicked, copy, [copy, command] {
        QGuiApplication::clipboard()->setText(command);
        copy->setText(localizedText("Copied"));
    });
    row->addWidget(copy);
    return whole;
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
