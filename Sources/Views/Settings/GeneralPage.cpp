#include "Views/Settings/GeneralPage.h"

#include "Views/Settings/FormRow.h"
#include "Views/Settings/LoginRow.h"
#include "Views/Shell/MessageParts.h"
#include "Views/Widgets/Card.h"
#include "Views/Widgets/QtText.h"

#include <QPushButton>

namespace lumicrate::views {

GeneralPage::GeneralPage(SettingsModel& model)
    : SettingsPage(qtText(SettingsModel::title(SettingsModel::Page::general))), model_(model) {
    Card& recording = addCard();
    recording.addRow(switchRow(SettingsModel::countdown(), model.defaults()));
    recording.addRow(switchRow(SettingsModel::hideSelf(), model.defaults()));
    recording.addRow(folderRow());
    addCard().addRow(new LoginRow(model.loginItem));
}

QWidget* GeneralPage::folderRow() {
    auto* open = roomyButton(localizedText("Open Folder"));
    open->setAccessibleName(localizedText("Open the folder of recordings"));
    auto* row = new FormRow(localized("Recordings are kept in"), model_.recordingsFolder(), open);
    connect(open, &QPushButton::clicked, this, [this, row] { row->complain(model_.openRecordingsFolder()); });
    return row;
}

}  // namespace lumicrate::views
