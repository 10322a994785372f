// SPDX-License-Identifier: GPL-3.0-or-later
// SettingsPage: one page of the settings window: cards with rows, which scroll.
#pragma once

#include "Lumicrate/Settings/SettingsModel.h"
#include "Support/Published.h"

#include <QScrollArea>

class QVBoxLayout;

namespace lumicrate::views {

class Card;
class FormRow;

class SettingsPage final : public QScrollArea {
 public:
    /// Builds a page of the settings. `model` must outlive it.
    SettingsPage(SettingsModel& model, SettingsModel::Page page);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

 private:
    void addGeneral();
    void addVideo();
    void addWebcam();
    void addAudio();
    void addShortcuts();

    void add(QWidget* widget);
    Card& addCard();
    /// A row with a menu whose choices change. `choices` must outlive the page.
    FormRow* changingRow(ChoiceSetting setting, const Published<ChoiceSetting::Choices>& choices);
    /// Adds a card with one row for each setting.
    Card& addSwitches(std::initializer_list<SwitchSetting> settings);

    SettingsModel& model_;
    QVBoxLayout* content_;
    Subscription changes_;
    Subscription guideChanges_;
};

}  // namespace lumicrate::views
