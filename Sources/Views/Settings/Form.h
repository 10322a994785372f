// SPDX-License-Identifier: GPL-3.0-or-later
// Form: what forms are made of: FormRow, and Card, which holds rows.
#pragma once

#include "Lumicrate/Settings/SettingsModel.h"
#include "Platform/NSUserDefaults.h"
#include "Support/Published.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/TintedLabel.h"

#include <QWidget>
#include <string>
#include <utility>
#include <vector>

class QComboBox;
class QVBoxLayout;

namespace lumicrate::views {

class TintedLabel;

/// A raised surface with separated rows.
class Card : public QWidget {
 public:
    Card();

    /// Adds a row at the bottom, with a separator line above it.
    void addRow(QWidget* row);

 protected:
    void paintEvent(QPaintEvent* event) override;

 private:
    QVBoxLayout* rows_;
};

/// A label, a caption, a control, and an error message below.
class FormRow final : public QWidget {
 public:
    /// Owns the control, and gives it the label and caption as accessible name and description. `caption` may
    /// be empty.
    FormRow(const std::string& label, const std::string& caption, QWidget* control);

    /// Replaces a caption that is not empty.
    void showCaption(const std::string& text) { caption_->setText(qtText(text)); }
    /// Shows a line below the row; an empty text removes it.
    void showError(const std::string& text);
    /// Removes the error as soon as a preference is stored again.
    void clearErrorOnStore(const NSUserDefaults& defaults);
    /// Keeps a subscription as long as the row exists.
    void keep(Subscription subscription) { subscriptions_.push_back(std::move(subscription)); }

 private:
    TintedLabel* caption_ = nullptr;  ///< none if it is empty
    TintedLabel* error_;
    std::vector<Subscription> subscriptions_;
};

/// A row bound to a Boolean preference.
FormRow* switchRow(const SwitchSetting& setting, NSUserDefaults& defaults);
/// A row bound to a preference with a menu. `bindRowChoices` replaces the choices.
FormRow* choiceRow(const ChoiceSetting& setting, NSUserDefaults& defaults, QComboBox& box);
void bindRowChoices(FormRow& row, QComboBox& box, const ChoiceSetting& setting, NSUserDefaults& defaults);
/// A row bound to a preference that is typed. It is stored when Return is pressed or another control gets the
/// focus, and only if it is valid.
FormRow* textRow(const TextSetting& setting, NSUserDefaults& defaults);
/// The row that starts the program at login. `item` must outlive it.
FormRow* loginRow(LoginItem& item);

}  // namespace lumicrate::views
