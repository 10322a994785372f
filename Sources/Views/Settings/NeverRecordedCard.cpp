// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Settings/NeverRecordedCard.h"

#include "Support/Text.h"
#include "Views/Shell/MessageParts.h"
#include "Views/Widgets/QtText.h"

#include <QPushButton>

namespace lumicrate::views {

NeverRecordedCard::NeverRecordedCard(NeverRecordedList& list) : list_(list) {
    auto* choose = roomyButton(localizedText("Choose Window…"));
    choose->setAccessibleName(localizedText("Choose a window of an application that is never recorded"));
    choose->setEnabled(list_.canPick());
    QObject::connect(choose, &QPushButton::clicked, this, [this] { list_.pick(); });
    auto* row = new FormRow(NeverRecordedList::label(), list_.caption(), choose);
    row->keep(list_.error.observe([row](const std::string& text) { row->showError(text); }));
    addRow(row);
    showClasses();
    // Queued: the change may come from a button in one of the rows.
    changes_ = list_.classes.observe([this](const auto&) {
        QMetaObject::invokeMethod(
            this, [this] { showClasses(); }, Qt::QueuedConnection);
    });
}

void NeverRecordedCard::showClasses() {
    for (QWidget* each : rows_)
        delete each;
    rows_.clear();
    for (const std::string& windowClass : *list_.classes) {
        auto* remove = roomyButton(localizedText("Remove"));
        remove->setAccessibleName(qtText(localized("Remove {}", {windowClass})));
        QObject::connect(remove, &QPushButton::clicked, this,
                         [this, windowClass] { list_.remove(windowClass); });
        rows_.push_back(new FormRow(windowClass, {}, remove));
        addRow(rows_.back());
    }
    update();
}

}  // namespace lumicrate::views
