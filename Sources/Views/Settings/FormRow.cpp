// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Settings/FormRow.h"

#include "Views/Widgets/DefaultsBinding.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Switch.h"
#include "Views/Widgets/Theme.h"
#include "Views/Widgets/TintedLabel.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace lumicrate::views {

FormRow::FormRow(const std::string& label, const std::string& caption, QWidget* control)
    : error_(new TintedLabel(&ThemeColors::warning)) {
    auto* lines = new QVBoxLayout(this);
    lines->setContentsMargins(0, measure::gap, 0, measure::gap);
    lines->setSpacing(measure::gap / 2);
    auto* row = new QHBoxLayout;
    row->setSpacing(measure::margin);
    lines->addLayout(row);

    auto* texts = new QVBoxLayout;
    texts->setSpacing(2);
    texts->addStretch();
    auto* name = new QLabel(qtText(label));
    name->setBuddy(control);
    texts->addWidget(name);
    if (!caption.empty()) texts->addWidget(new TintedLabel(&ThemeColors::secondary, qtText(caption)));
    texts->addStretch();
    row->addLayout(texts, 1);
    row->addWidget(control, 0, Qt::AlignVCenter);
    if (control->accessibleName().isEmpty()) control->setAccessibleName(qtText(label));
    if (control->accessibleDescription().isEmpty()) control->setAccessibleDescription(qtText(caption));

    error_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    lines->addWidget(error_);
    error_->hide();
}

void FormRow::showError(const std::string& text) {
    error_->showMessage(qtText(text));
}

void FormRow::clearErrorOnStore(const NSUserDefaults& defaults) {
    keep(defaults.observe([this] { showError({}); }));
}

FormRow* switchRow(const SwitchSetting& setting, NSUserDefaults& defaults) {
    auto* control = new Switch;
    auto* row = new FormRow(setting.label, setting.caption, control);
    row->clearErrorOnStore(defaults);
    bindBool(*control, defaults, setting.key, [row](const std::string& text) { row->showError(text); });
    return row;
}

FormRow* choiceRow(const ChoiceSetting& setting, NSUserDefaults& defaults, QComboBox& box) {
    auto* row = new FormRow(setting.label, setting.caption, &box);
    row->clearErrorOnStore(defaults);
    bindRowChoices(*row, box, setting, defaults);
    return row;
}

void bindRowChoices(FormRow& row, QComboBox& box, const ChoiceSetting& setting, NSUserDefaults& defaults) {
    bindChoice(box, defaults, setting.key, setting.choices, setting.fallback,
               [&row](const std::string& text) { row.showError(text); });
}

FormRow* loginRow(LoginItem& item) {
    auto* control = new Switch;
    auto* row = new FormRow(item.label(), {}, control);
    control->setChecked(*item.enabled);
    row->keep(item.enabled.observe([control](bool on) { control->setChecked(on); }));
    row->keep(item.error.observe([row](const std::string& text) { row->showError(text); }));
    QObject::connect(control, &Switch::clicked, row, [&item](bool on) { item.set(on); });
    return row;
}

}  // namespace lumicrate::views
