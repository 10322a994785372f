#include "Views/Settings/LoginRow.h"

#include "Views/Settings/FormRow.h"
#include "Views/Widgets/Switch.h"

#include <QVBoxLayout>
#include <string>

namespace lumicrate::views {

LoginRow::LoginRow(LoginItem& item) {
    auto* control = new Switch;
    auto* row = new FormRow(item.label(), {}, control);
    auto* whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->addWidget(row);
    control->setChecked(*item.enabled);
    changes_ = item.enabled.observe([control](bool on) { control->setChecked(on); });
    complaints_ = item.complaint.observe([row](const std::string& text) { row->complain(text); });
    connect(control, &Switch::clicked, this, [&item](bool on) { item.set(on); });
}

}  // namespace lumicrate::views
