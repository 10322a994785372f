#include "Views/Settings/ShortcutsPage.h"

#include "Views/Settings/FormRow.h"
#include "Views/Settings/ShortcutFieldView.h"
#include "Views/Widgets/Card.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/TintedLabel.h"

namespace lumicrate::views {

ShortcutsPage::ShortcutsPage(SettingsModel& model)
    : SettingsPage(qtText(SettingsModel::title(SettingsModel::Page::shortcuts))) {
    Card& card = addCard();
    for (const auto& field : model.shortcutFields.all())
        card.addRow(new FormRow(label(field->action()), {}, new ShortcutFieldView(*field)));
    TintedLabel& unavailable = addWarning();
    unavailable.showMessage(qtText(*model.unavailableText));
    unavailableChanges_ = model.unavailableText.observe(
        [&unavailable](const std::string& text) { unavailable.showMessage(qtText(text)); });
    addNote(qtText(SettingsModel::shortcutLegend()));
}

}  // namespace lumicrate::views
