#include "Views/Settings/VideoPage.h"

#include "Views/Settings/FormRow.h"
#include "Views/Widgets/Card.h"
#include "Views/Widgets/QtText.h"

#include <QComboBox>

namespace lumicrate::views {

VideoPage::VideoPage(SettingsModel& model)
    : SettingsPage(qtText(SettingsModel::title(SettingsModel::Page::video))) {
    Card& file = addCard();
    for (const ChoiceSetting& setting : {SettingsModel::quality(), SettingsModel::framesPerSecond(),
                                         SettingsModel::encodingQuality(), SettingsModel::format()})
        file.addRow(choiceRow(setting, model.defaults(), *new QComboBox));
    Card& pointer = addCard();
    pointer.addRow(switchRow(SettingsModel::showCursor(), model.defaults()));
    pointer.addRow(switchRow(SettingsModel::highlightClicks(), model.defaults()));
}

}  // namespace lumicrate::views
