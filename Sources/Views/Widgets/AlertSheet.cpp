// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Widgets/AlertSheet.h"

#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Symbols.h"
#include "Views/Widgets/Theme.h"
#include "Views/Widgets/TintedLabel.h"

#include <QCheckBox>
#include <QDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <utility>

namespace lumicrate::views {

namespace {

constexpr int iconSide = 48;
constexpr int textWidth = 320;

QCheckBox* makeCheckBox(const NSAlert::CheckBox& box) {
    auto* check = new QCheckBox(qtText(box.title));
    check->setToolTip(qtText(box.toolTip));
    check->setAccessibleDescription(qtText(box.toolTip));
    check->setChecked(box.isOn);
    return check;
}

}  // namespace

QDialog* showAlertSheet(QWidget* window, const NSAlert& alert,
                        std::function<void(NSAlertResponse)> answered) {
    auto* sheet = new QDialog(window);
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    sheet->setWindowModality(Qt::WindowModal);
    sheet->setWindowTitle(qtText(alert.messageText));
    auto* row = new QHBoxLayout(sheet);
    row->setContentsMargins(measure::margin, measure::margin, measure::margin, measure::margin);
    row->setSpacing(measure::margin);
    row->setSizeConstraint(QLayout::SetFixedSize);
    auto* icon = new QLabel;
    icon->setPixmap(applicationIcon().pixmap(iconSide, iconSide));
    row->addWidget(icon, 0, Qt::AlignTop);
    auto* column = new QVBoxLayout;
    row->addLayout(column);
    auto* message = new QLabel(qtText(alert.messageText));
    // The texts may come from elsewhere, and must not be taken for HTML.
    message->setTextFormat(Qt::PlainText);
    QFont bold = message->font();
    bold.setWeight(QFont::DemiBold);
    message->setFont(bold);
    message->setMinimumWidth(textWidth);
    column->addWidget(message);
    auto* information = new TintedLabel(&ThemeColors::secondary, qtText(alert.informativeText));
    information->setTextFormat(Qt::PlainText);
    column->addWidget(information);
    QCheckBox* check = alert.accessory ? makeCheckBox(*alert.accessory) : nullptr;
    if (check) {
        column->addSpacing(measure::gap);
        column->addWidget(check);
    }
    column->addSpacing(measure::gap);
    // The default button is the rightmost one, as everywhere on the desktop.
    auto* buttons = new QHBoxLayout;
    buttons->setDirection(QBoxLayout::RightToLeft);
    buttons->setSpacing(measure::gap);
    for (std::size_t i = 0; i < alert.buttons.size(); ++i) {
        auto* button = new QPushButton(qtText(alert.buttons[i]));
        button->setDefault(i == 0);
        button->setAutoDefault(i == 0);
        QObject::connect(button, &QPushButton::clicked, sheet,
                         [sheet, i] { sheet->done(static_cast<int>(i) + 1); });
        buttons->addWidget(button);
    }
    buttons->addStretch(1);
    column->addLayout(buttons);
    const std::size_t last = alert.buttons.size() - 1;
    QObject::connect(sheet, &QDialog::finished, sheet,
                     [check, last, answered = std::move(answered)](int result) {
                         // Esc and the close button give 0.
                         const std::size_t button = result > 0 ? static_cast<std::size_t>(result) - 1 : last;
                         answered({button, check && check->isChecked()});
                     });
    sheet->open();
    return sheet;
}

}  // namespace lumicrate::views
