#include "Views/Settings/ShortcutsPage.h"

#include "Views/QtText.h"
#include "Views/Settings/FormRow.h"
#include "Views/Settings/ShortcutFieldView.h"
#include "Views/Widgets/TintedLabel.h"
#include "Views/Windows/Card.h"

namespace lumicrate::views {

ShortcutsPage::ShortcutsPage(SettingsView& model)
    : SettingsPage(qtText(SettingsView::title(SettingsView::Page::shortcuts))) {
    Card& card = addCard();
    for (const auto& field : model.shortcutFields.all())
        card.addRow(new FormRow(label(field->action()), {}, new ShortcutFieldView(*field)));
    TintedLabel& unavailable = addWarning();
    unavailable.showMessage(qtText(*model.unavailableText));
    unavailableChanges_ = model.unavailableText.observe(
        [&unavailable](const std::string& text) { unavailable.showMessage(qtText(text)); });
    addNote(qtText(SettingsView::shortcutLegend()));
}

}  // namespace lumicrate::views
