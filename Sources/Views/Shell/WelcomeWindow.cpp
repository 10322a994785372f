// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Shell/WelcomeWindow.h"

#include "Views/Settings/FormRow.h"
#include "Views/Shell/MessageParts.h"
#include "Views/Widgets/Card.h"
#include "Views/Widgets/QtText.h"

#include <QCloseEvent>
#include <QPushButton>
#include <QVBoxLayout>

namespace lumicrate::views {

WelcomeWindow::WelcomeWindow(std::unique_ptr<Welcome> model) : model_(std::move(model)) {
    prepareWindow(*this, localizedText("Welcome to Lumicrate"));
    QVBoxLayout* lines = messageLayout(*this, 62);
    lines->addWidget(iconLabel(72));
    auto* title = titleLabel(localizedText("Welcome to Lumicrate"), 1.6);
    title->setAlignment(Qt::AlignCenter);
    lines->addWidget(title);
    auto* card = new Card;
    for (const Welcome::Point& point : model_->points())
        card->addRow(symbolPoint(point.symbol, point.title, point.text));
    lines->addWidget(card);
    auto* choices = new Card;
    choices->addRow(loginRow(model_->loginItem));
    lines->addWidget(choices);

    auto* begin = roomyButton(localizedText("Get Started"));
    begin->setDefault(true);
    begin->setAutoDefault(true);
    connect(begin, &QPushButton::clicked, this, &QWidget::close);
    lines->addWidget(begin, 0, Qt::AlignRight);
    begin->setFocus();
}

WelcomeWindow::~WelcomeWindow() = default;

void WelcomeWindow::closeEvent(QCloseEvent* event) {
    model_->finish();
    QWidget::closeEvent(event);
}

}  // namespace lumicrate::views
