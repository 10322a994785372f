// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Shell/PermissionWindow.h"

#include "Views/Shell/MessageParts.h"
#include "Views/Widgets/Card.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Symbols.h"
#include "Views/Widgets/Theme.h"
#include "Views/Widgets/TintedLabel.h"

#include <QHBoxLayout>
#include <QPushButton>
#include <QVBoxLayout>

namespace lumicrate::views {

PermissionWindow::PermissionWindow(Permissions& model) : model_(model), place_(new QVBoxLayout) {
    prepareWindow(*this, localizedText("Lumicrate"));
    QVBoxLayout* lines = messageLayout(*this, 74);
    lines->addWidget(titleLabel(qtText(Permissions::headline()), 1.3));
    lines->addLayout(place_);
    showMissing(*model.missing);

    auto* bottom = new QHBoxLayout;
    auto* outcome = new TintedLabel(&ThemeColors::secondary, qtText(*model.outcome));
    auto* close = roomyButton(localizedText("Close"));
    auto* again = roomyButton(localizedText("Try Again"));
    again->setDefault(true);
    again->setAutoDefault(true);
    bottom->addWidget(outcome, 1);
    bottom->addWidget(close);
    bottom->addWidget(again);
    lines->addLayout(bottom);
    again->setFocus();

    connect(close, &QPushButton::clicked, this, &QWidget::close);
    connect(again, &QPushButton::clicked, this, [this] { model_.checkAgain(); });
    missingChanges_ = model.missing.observe([this](const auto& missing) { showMissing(missing); });
    outcomeChanges_ =
        model.outcome.observe([outcome](const std::string& text) { outcome->setText(qtText(text)); });
}

void PermissionWindow::showMissing(const std::vector<Permissions::Missing>& missing) {
    if (missing.empty()) {
        close();
        return;
    }
    delete card_;
    auto* card = new Card;
    for (const Permissions::Missing& item : missing)
        card->addRow(row(item));
    place_->addWidget(card);
    card_ = card;
}

QWidget* PermissionWindow::row(const Permissions::Missing& missing) {
    QWidget* point = symbolPoint(missing.symbol, missing.title, missing.advice);
    if (missing.command.empty()) return point;
    auto* both = new QWidget;
    auto* lines = new QVBoxLayout(both);
    lines->setContentsMargins(0, 0, 0, measure::gap);
    lines->setSpacing(0);
    lines->addWidget(point);
    QWidget* command = copyableCommand(qtText(missing.command));
    // Aligned with the text above.
    lines->addWidget(command);
    command->setContentsMargins(measure::symbol * 3 / 2 + measure::margin, 0, 0, 0);
    return both;
}

}  // namespace lumicrate::views
