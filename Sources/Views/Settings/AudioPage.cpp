#include "Views/Settings/AudioPage.h"

#include "Views/Settings/FormRow.h"
#include "Views/Widgets/Card.h"
#include "Views/Widgets/QtText.h"

#include <QComboBox>

namespace lumicrate::views {

AudioPage::AudioPage(SettingsModel& model)
    : SettingsPage(qtText(SettingsModel::title(SettingsModel::Page::audio))) {
    Card& sources = addCard();
    sources.addRow(switchRow(SettingsModel::captureSystemAudio(), model.defaults()));
    sources.addRow(switchRow(SettingsModel::captureMicrophone(), model.defaults()));
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
    addCard().addRow(switchRow(SettingsModel::mixAudio(), model.defaults()));
}

}  // namespace lumicrate::views
