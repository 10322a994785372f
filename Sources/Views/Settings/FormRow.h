// Rows of a form: what a control is for, the control, and what went wrong with it.
#pragma once

#include "Lumicrate/Settings/SettingsModel.h"
#include "Platform/NSUserDefaults.h"
#include "Support/Published.h"

#include <QWidget>
#include <string>

class QComboBox;

namespace lumicrate::views {

class Switch;
class TintedLabel;

class FormRow final : public QWidget {
 public:
    /// Takes the control, and names it for those who cannot see the row. `caption` may be empty.
    FormRow(const std::string& label, const std::string& caption, QWidget* control);

    /// A line below; an empty text takes it away.
    void complain(const std::string& text);
    /// Takes the complaint away as soon as something can be stored again.
    void complainUntilStored(const NSUserDefaults& defaults);

 private:
    TintedLabel* complaint_;
    Subscription stored_;
};

/// A row that is bound to a Boolean preference.
FormRow* switchRow(const SwitchSetting& setting, NSUserDefaults& defaults);
/// A row that is bound to a preference with a menu. Other choices can be given to its box with
/// `bindRowChoices`.
FormRow* choiceRow(const ChoiceSetting& setting, NSUserDefaults& defaults, QComboBox& box);
void bindRowChoices(FormRow& row, QComboBox& box, const ChoiceSetting& setting, NSUserDefaults& defaults);

}  // namespace lumicrate::views
