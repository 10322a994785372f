#include "Views/Settings/AudioPage.h"

#include "Views/QtText.h"
#include "Views/Settings/FormRow.h"
#include "Views/Windows/Card.h"

#include <QComboBox>

namespace lumicrate::views {

AudioPage::AudioPage(SettingsView& model)
    : SettingsPage(qtText(SettingsView::title(SettingsView::Page::audio))) {
    Card& sources = addCard();
    sources.addRow(switchRow(SettingsView::captureSystemAudio(), model.defaults()));
    sources.addRow(switchRow(SettingsView::captureMicrophone(), model.defaults()));
    auto* box = new QComboBox;
    FormRow* row = choiceRow(model.microphone(), model.defaults(), *box);
    sources.addRow(row);
    microphoneChanges_ = model.microphones.observe([&model, row, box](const auto& choices) {
        ChoiceSetting setting = model.microphone();
        setting.choices = choices;
        // Later, for it may be the box itself whose change has changed the choices.
        const auto bind = [&model, row, box, setting] {
            bindRowChoices(*row, *box, setting, model.defaults());
        };
        QMetaObject::invokeMethod(box, bind, Qt::QueuedConnection);
    });
    addCard().addRow(switchRow(SettingsView::mixAudio(), model.defaults()));
}

}  // namespace lumicrate::views
