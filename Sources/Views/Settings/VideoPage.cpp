#include "Views/Settings/VideoPage.h"

#include "Views/QtText.h"
#include "Views/Settings/FormRow.h"
#include "Views/Windows/Card.h"

#include <QComboBox>

namespace lumicrate::views {

VideoPage::VideoPage(SettingsView& model)
    : SettingsPage(qtText(SettingsView::title(SettingsView::Page::video))) {
    Card& file = addCard();
    for (const ChoiceSetting& setting : {SettingsView::quality(), SettingsView::framesPerSecond(),
                                         SettingsView::encodingQuality(), SettingsView::format()})
        file.addRow(choiceRow(setting, model.defaults(), *new QComboBox));
    Card& pointer = addCard();
    pointer.addRow(switchRow(SettingsView::showCursor(), model.defaults()));
    pointer.addRow(switchRow(SettingsView::highlightClicks(), model.defaults()));
}

}  // namespace lumicrate::views
