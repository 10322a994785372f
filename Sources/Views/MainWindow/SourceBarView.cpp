// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/MainWindow/SourceBarView.h"

#include "Views/MainWindow/WindowPickerPopup.h"
#include "Views/Widgets/Menus.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Theme.h"
#include "Views/Widgets/TintedLabel.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QMenu>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace lumicrate::views {

namespace {

QString describe(const SourceBar::Window& window) {
    if (window.application.empty()) return qtText(window.title);
    return qtText(window.application) + QStringLiteral(" — ") + qtText(window.title);
}

}  // namespace

SourceBarView::SourceBarView(SourceBar& sources, WindowPicker& picker, QWidget* parent)
    : QWidget(parent), sources_(sources) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(measure::gap);
    addModes(*column);
    addDetails(*column, picker);
    subscription_ = sources.content.observe([this](const SourceBar::Content& coming) { show(coming); });
    show(*sources.content);
}

void SourceBarView::addModes(QVBoxLayout& column) {
    auto* row = new QHBoxLayout;
    row->setSpacing(measure::gap - 2);
    auto* group = new QButtonGroup(this);
    for (const SourceBar::Mode& mode : SourceBar::modes()) {
        auto* button = new FlatButton(FlatButton::Role::tile, this);
        button->setText(qtText(mode.label));
        button->setSymbol(mode.symbol);
        button->setCheckable(true);
        // The group makes it exclusive; this makes it a radio button for assistive technology.
        button->setAutoExclusive(true);
        button->setAccessibleName(qtText(mode.label));
        group->addButton(button);
        row->addWidget(button, 1);
        modes_.emplace_back(mode.mode, button);
        // Not clicked(): the arrow keys check a button without clicking it.
        connect(button, &QPushButton::toggled, this, [this, chosen = mode.mode](bool on) {
            if (on) sources_.setMode(chosen);
        });
    }
    column.addLayout(row);
}

void SourceBarView::addDetails(QVBoxLayout& column, WindowPicker& picker) {
    window_ = new FlatButton(FlatButton::Role::field, this);
    window_->setSymbol("macwindow");
    popup_ = new WindowPickerPopup(sources_, picker, this);
    connect(window_, &QPushButton::clicked, this, [this] { popup_->openBelow(*window_); });

    display_ = new FlatButton(FlatButton::Role::field, this);
    display_->setSymbol("display");
    displayMenu_ = new QMenu(this);
    connect(display_, &QPushButton::clicked, this, [this] { openDisplays(); });

    note_ = new TintedLabel(&ThemeColors::secondary, this);
    note_->setAlignment(Qt::AlignCenter);
    note_->setMinimumHeight(window_->sizeHint().height());

    note_->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
    connect(note_, &QLabel::linkActivated, this, [this] { sources_.chooseAgain(); });

    for (QWidget* widget : std::initializer_list<QWidget*>{window_, display_, note_})
        column.addWidget(widget);
}

void SourceBarView::show(const SourceBar::Content& content) {
    setEnabled(content.enabled);
    for (const auto& [mode, button] : modes_) {
        const QSignalBlocker quiet(button);
        if (mode == content.mode) button->setChecked(true);
        button->updateGeometry();
    }
    window_->setVisible(content.picksWindow);
    const QString text = content.window ? describe(*content.window) : localizedText("Choose a Window…");
    window_->setText(text);
    window_->setToolTip(content.window ? text : QString());
    window_->setAccessibleName(content.window ? qtText(localized("Window: {}", {text.toStdString()})) : text);
    showDisplay(content);
}

void SourceBarView::openDisplays() {
    const SourceBar::Content& content = *sources_.content;
    std::vector<MenuItem> items;
    for (const SourceBar::Display& display : content.displays) {
        items.push_back(MenuItem::command(display.description(),
                                          [this, id = display.id] { sources_.chooseDisplay(id); }));
        items.back().checked = display.id == content.display;
    }
    fillMenu(*displayMenu_, items);
    displayMenu_->setMinimumWidth(display_->width());
    displayMenu_->popup(display_->mapToGlobal(QPoint(0, display_->height() + 2)));
}

void SourceBarView::showDisplay(const SourceBar::Content& content) {
    note_->setVisible(!content.note.empty());
    QString note = qtText(content.note);
    if (content.repeatsChoice)
        note += QStringLiteral(" <a href=\"again\">%1</a>").arg(localizedText("Choose Again"));
    note_->setText(note);
    display_->setVisible(content.picksDisplay);
    for (const SourceBar::Display& display : content.displays) {
        if (display.id != content.display) continue;
        display_->setText(qtText(display.description()));
        display_->setAccessibleName(qtText(localized("Screen: {}", {display_->text().toStdString()})));
    }
}

}  // namespace lumicrate::views
