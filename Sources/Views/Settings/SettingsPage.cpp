// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Settings/SettingsPage.h"

#include "Views/Settings/Form.h"
#include "Views/Settings/NeverRecordedCard.h"
#include "Views/Settings/ShortcutFieldView.h"
#include "Views/Shell/MessageParts.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Theme.h"
#include "Views/Widgets/TintedLabel.h"

#include <QComboBox>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QPushButton>
#include <QScrollBar>
#include <QVBoxLayout>
#include <algorithm>

namespace lumicrate::views {

namespace {

constexpr int commandWidth = 44;  ///< characters, with the button

/// Aligned with the text on the cards.
TintedLabel* indentedLabel(Tint tint, const QString& text = {}) {
    auto* label = new TintedLabel(tint, text);
    label->setContentsMargins(measure::margin, 0, measure::margin, 0);
    return label;
}

}  // namespace

SettingsPage::SettingsPage(SettingsModel& model, SettingsModel::Page page) : model_(model) {
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFocusPolicy(Qt::NoFocus);
    setAccessibleName(qtText(SettingsModel::title(page)));
    viewport()->setAutoFillBackground(false);

    auto* inside = new QWidget;
    content_ = new QVBoxLayout(inside);
    content_->setContentsMargins(measure::margin, measure::margin, measure::margin, measure::margin);
    content_->setSpacing(measure::margin);
    content_->addStretch(1);
    setWidget(inside);
    inside->setAutoFillBackground(false);

    switch (page) {
        case SettingsModel::Page::general:
            addGeneral();
            break;
        case SettingsModel::Page::video:
            addVideo();
            break;
        case SettingsModel::Page::webcam:
            addWebcam();
            break;
        case SettingsModel::Page::audio:
            addAudio();
            break;
        case SettingsModel::Page::shortcuts:
            addShortcuts();
            break;
    }
}

QSize SettingsPage::sizeHint() const {
    const int width = std::max(fontMetrics().averageCharWidth() * 76, minimumSizeHint().width());
    return {width, widget()->layout()->totalHeightForWidth(width)};
}

QSize SettingsPage::minimumSizeHint() const {
    // There is no horizontal scroll bar: what is too wide would be cut off.
    return {widget()->minimumSizeHint().width() + verticalScrollBar()->sizeHint().width(),
            QScrollArea::minimumSizeHint().height()};
}

void SettingsPage::addGeneral() {
    auto* open = roomyButton(localizedText("Open Folder"));
    open->setAccessibleName(localizedText("Open the folder of recordings"));
    auto* choose = roomyButton(localizedText("Choose…"));
    choose->setAccessibleName(localizedText("Choose the folder of recordings"));
    auto* buttons = new QWidget;
    auto* line = new QHBoxLayout(buttons);
    line->setContentsMargins(0, 0, 0, 0);
    line->addWidget(choose);
    line->addWidget(open);
    auto* folder = new FormRow(localized("Recordings are kept in"), *model_.recordingsFolder, buttons);
    folder->keep(model_.recordingsFolder.observe(
        [folder](const std::string& coming) { folder->showCaption(coming); }));
    connect(open, &QPushButton::clicked, this,
            [this, folder] { folder->showError(model_.openRecordingsFolder()); });
    connect(choose, &QPushButton::clicked, this, [this, folder] {
        const QString chosen =
            QFileDialog::getExistingDirectory(this, localizedText("Choose the folder of recordings"),
                                              QString::fromStdString(model_.recordingsURL().string()));
        if (!chosen.isEmpty()) folder->showError(model_.chooseRecordingsFolder(chosen.toStdString()));
    });
    addSwitches({SettingsModel::countdown(), SettingsModel::hideSelf(), SettingsModel::holdNotifications(),
                 SettingsModel::openPreview(), SettingsModel::notifyWhenSaved()})
        .addRow(folder);
    addCard().addRow(choiceRow(model_.replay(), model_.defaults(), *new QComboBox));
    add(new NeverRecordedCard(model_.neverRecorded));
    addCard().addRow(textRow(SettingsModel::afterSave(), model_.defaults()));
    Card& starting = addCard();
    starting.addRow(loginRow(model_.loginItem));
    if (const auto updates = model_.checkForUpdates())
        starting.addRow(switchRow(*updates, model_.defaults()));
}

void SettingsPage::addVideo() {
    Card& file = addCard();
    for (const ChoiceSetting& setting : {SettingsModel::quality(), SettingsModel::framesPerSecond(),
                                         SettingsModel::encodingQuality(), SettingsModel::format()})
        file.addRow(choiceRow(setting, model_.defaults(), *new QComboBox));
    file.addRow(switchRow(SettingsModel::constantFrameRate(), model_.defaults()));
    addSwitches({SettingsModel::showCursor(), model_.highlightClicks(), model_.recordsInputData()});
    const SwitchSetting showKeys = model_.showKeys();
    Card& keys = addSwitches({showKeys});
    if (!showKeys.available) return;
    for (const ChoiceSetting& setting : {SettingsModel::keysPlace(), SettingsModel::keysSize()})
        keys.addRow(choiceRow(setting, model_.defaults(), *new QComboBox));
    keys.addRow(switchRow(SettingsModel::showTypedText(), model_.defaults()));
}

void SettingsPage::addAudio() {
    addSwitches({SettingsModel::captureSystemAudio(), SettingsModel::onlyApplicationAudio(),
                 SettingsModel::captureMicrophone()})
        .addRow(changingRow(model_.microphone(), model_.microphones));
    addSwitches({SettingsModel::cleanVoice(), SettingsModel::normalizeVoice()});
    addSwitches({SettingsModel::mixAudio()});
}

void SettingsPage::addWebcam() {
    addSwitches({SettingsModel::webcamEnabled()}).addRow(changingRow(model_.camera(), model_.cameras));
    Card& look = addCard();
    look.addRow(choiceRow(SettingsModel::webcamShape(), model_.defaults(), *new QComboBox));
    look.addRow(changingRow(model_.webcamWidth(), model_.webcamWidths));
    look.addRow(choiceRow(SettingsModel::webcamBorder(), model_.defaults(), *new QComboBox));
    look.addRow(changingRow(model_.webcamBorderColor(), model_.webcamBorderColors));
    addSwitches({SettingsModel::webcamMirror(), SettingsModel::webcamMicLevel()});
}

FormRow* SettingsPage::changingRow(ChoiceSetting setting, const Published<ChoiceSetting::Choices>& choices) {
    auto* box = new QComboBox;
    FormRow* row = choiceRow(setting, model_.defaults(), *box);
    row->keep(choices.observe([this, row, box, setting](const auto& changed) {
        ChoiceSetting next = setting;
        next.choices = changed;
        // Queued: the change may come from the box itself.
        const auto bind = [this, row, box, next] { bindRowChoices(*row, *box, next, model_.defaults()); };
        QMetaObject::invokeMethod(box, bind, Qt::QueuedConnection);
    }));
    return row;
}

void SettingsPage::addShortcuts() {
    auto* above = indentedLabel(&ThemeColors::secondary);
    add(above);
    Card& fields = addCard();
    for (const auto& field : model_.shortcutFields.all())
        fields.addRow(new FormRow(label(field->action()), {}, new ShortcutFieldView(*field)));
    Card& commands = addCard();
    for (const ShortcutAction action : allCases<ShortcutAction>()) {
        QWidget* control = copyableCommand(QString::fromStdString(command(action)));
        control->setMinimumWidth(fontMetrics().averageCharWidth() * commandWidth);
        commands.addRow(new FormRow(label(action), {}, control));
    }
    auto* unavailable = indentedLabel(&ThemeColors::warning);
    add(unavailable);
    auto* below = indentedLabel(&ThemeColors::secondary);
    add(below);

    const auto showWarning = [unavailable](const std::string& text) {
        unavailable->showMessage(qtText(text));
    };
    const auto showGuide = [above, below, &fields, &commands](const SettingsModel::ShortcutGuide& guide) {
        fields.setVisible(!guide.usesCommands);
        commands.setVisible(guide.usesCommands);
        above->showMessage(guide.usesCommands ? qtText(guide.text) : QString());
        below->showMessage(guide.usesCommands ? QString() : qtText(guide.text));
    };
    showWarning(*model_.unavailableText);
    showGuide(*model_.shortcutGuide);
    changes_ = model_.unavailableText.observe(showWarning);
    guideChanges_ = model_.shortcutGuide.observe(showGuide);
}

void SettingsPage::add(QWidget* widget) {
    content_->insertWidget(content_->count() - 1, widget);
}

Card& SettingsPage::addCard() {
    auto* card = new Card;
    add(card);
    return *card;
}

Card& SettingsPage::addSwitches(std::initializer_list<SwitchSetting> settings) {
    Card& card = addCard();
    for (const SwitchSetting& setting : settings)
        card.addRow(switchRow(setting, model_.defaults()));
    return card;
}

}  // namespace lumicrate::views
