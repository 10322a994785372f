// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/MainWindow/RecorderControlsView.h"

#include "Views/Audio/LevelMeter.h"
#include "Views/Widgets/Menus.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Symbols.h"
#include "Views/Widgets/Theme.h"
#include "Views/Widgets/TintedLabel.h"

#include <QHBoxLayout>
#include <QMenu>
#include <QPainter>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

namespace lumicrate::views {

namespace {

FlatButton::Tone toneOf(RecorderControls::Phase phase) {
    switch (phase) {
        case RecorderControls::Phase::ready:
            return FlatButton::Tone::inviting;
        case RecorderControls::Phase::recording:
            return FlatButton::Tone::active;
        case RecorderControls::Phase::waiting:
            break;
    }
    return FlatButton::Tone::neutral;
}

}  // namespace

RecorderControlsView::RecorderControlsView(RecorderControls& controls, NSUserDefaults& defaults,
                                           const ErrorSink& showError, QWidget* parent)
    : QWidget(parent), controls_(controls) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(measure::gap);
    addToggles(*column, defaults, showError);
    column->addSpacing(measure::gap / 2);
    addButtons(*column);
    addLevel(*column);
    subscriptions_.push_back(
        controls.content.observe([this](const RecorderControls::Content& coming) { show(coming); }));
    subscriptions_.push_back(controls.level.observe([this](float coming) { level_->setLevel(coming); }));
    show(*controls.content);
}

void RecorderControlsView::addToggles(QVBoxLayout& column, NSUserDefaults& defaults,
                                      const ErrorSink& showError) {
    auto* row = new QHBoxLayout;
    row->setSpacing(measure::gap - 2);
    for (const RecorderControls::Toggle& toggle : controls_.toggles()) {
        auto* button = new FlatButton(FlatButton::Role::tile, this);
        button->setText(qtText(toggle.label));
        button->setToolTip(qtText(toggle.help));
        button->setAccessibleName(qtText(toggle.label));
        button->setAccessibleDescription(qtText(toggle.help));
        const auto showState = [button, toggle] {
            button->setSymbol(button->isChecked() ? toggle.symbol : toggle.offSymbol);
        };
        if (toggle.available)
            bindBool(*button, defaults, std::string(toggle.key), showError);
        else
            button->setCheckable(true);
        // Subscribed after the binding, which updates the button with its signals blocked.
        subscriptions_.push_back(defaults.observe(showState));
        connect(button, &QPushButton::toggled, button, showState);
        showState();
        QWidget* cell = toggle.key == preference::captureMicrophone ? withMicrophoneMenu(*button) : button;
        row->addWidget(cell, 1);
        chips_.push_back({toggle, cell, button});
    }
    subscriptions_.push_back(defaults.observe([this] { enableToggles(); }));
    column.addLayout(row);
}

QWidget* RecorderControlsView::withMicrophoneMenu(FlatButton& chip) {
    auto* cell = new QWidget(this);
    auto* layout = new QHBoxLayout(cell);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(&chip, 1);
    auto* opener = new FlatButton(FlatButton::Role::chevron, cell);
    opener->setHelp(localized("Choose a microphone"));
    auto* menu = new QMenu(opener);
    connect(opener, &QPushButton::clicked, menu, [this, opener, menu] {
        fillMenu(*menu, controls_.microphoneMenu());
        menu->popup(opener->mapToGlobal(QPoint(0, opener->height() + 2)));
    });
    layout->addWidget(opener);
    return cell;
}

void RecorderControlsView::addButtons(QVBoxLayout& column) {
    auto* row = new QHBoxLayout;
    row->setSpacing(measure::gap);
    record_ = new FlatButton(FlatButton::Role::prominent, this);
    connect(record_, &QPushButton::clicked, this, [this] { controls_.press(); });
    row->addWidget(record_, 1);
    pause_ = new FlatButton(FlatButton::Role::prominent, this);
    pause_->setTone(FlatButton::Tone::neutral);
    pause_->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    connect(pause_, &QPushButton::clicked, this, [this] { controls_.togglePause(); });
    row->addWidget(pause_);
    column.addLayout(row);
    hint_ = new TintedLabel(&ThemeColors::secondary, this);
    hint_->setAlignment(Qt::AlignCenter);
    hint_->setWordWrap(true);
    column.addWidget(hint_);
}

void RecorderControlsView::addLevel(QVBoxLayout& column) {
    levelRow_ = new QWidget(this);
    auto* row = new QHBoxLayout(levelRow_);
    row->setContentsMargins(measure::gap / 2, 0, measure::gap / 2, 0);
    row->setSpacing(measure::gap);
    auto* label = new TintedLabel(&ThemeColors::secondary, levelRow_);
    label->setText(localizedText("Microphone"));
    row->addWidget(label);
    level_ = new LevelMeter(LevelMeter::Look::bar, levelRow_);
    level_->setAccessibleName(localizedText("Microphone level"));
    row->addWidget(level_, 1);
    column.addWidget(levelRow_);
}

void RecorderControlsView::show(const RecorderControls::Content& content) {
    record_->setText(qtText(content.title));
    record_->setSymbol(content.symbol);
    record_->setDetail(qtText(content.time));
    record_->setTone(toneOf(content.phase));
    record_->setProgress(content.progress);
    record_->setEnabled(content.enabled);
    // Without the time, which a screen reader would repeat every second.
    record_->setAccessibleName(qtText(content.title));
    record_->setAccessibleDescription(qtText(content.hint));
    pause_->setVisible(content.pauses);
    pause_->setSymbol(content.pauseSymbol);
    pause_->setHelp(content.pauseTitle);
    hint_->setText(qtText(content.hint));
    hint_->setVisible(!content.hint.empty());
    levelRow_->setVisible(content.showsLevel);
    level_->setLive(content.showsLevel);
    for (const Chip& chip : chips_) {
        const auto& shown = content.toggles;
        chip.cell->setVisible(std::find(shown.begin(), shown.end(), chip.toggle.key) != shown.end());
    }
    togglesEnabled_ = content.togglesEnabled;
    enableToggles();
}

void RecorderControlsView::enableToggles() {
    for (const Chip& chip : chips_) {
        const auto parent =
            std::ranges::find(chips_, chip.toggle.parent, [](const Chip& each) { return each.toggle.key; });
        chip.cell->setEnabled(togglesEnabled_ && chip.toggle.available &&
                              (parent == chips_.end() || parent->button->isChecked()));
    }
}

}  // namespace lumicrate::views
