#include "Views/Overlays/Selection/PickBarView.h"

#include "Views/Overlays/Selection/PlateButton.h"
#include "Views/Widgets/QtText.h"

#include <QHBoxLayout>

namespace lumicrate::views {

PickBarView::PickBarView(AreaToolbarModel& model, bool offersFullScreen, QWidget* parent) : BarPlate(parent) {
    setAccessibleName(localizedText("Selection"));
    const auto addButton = [this](const char* name, const QString& label) {
        auto* const button = new PlateButton(PlateButton::Look::plain, this);
        button->setObjectName(QLatin1String(name));
        button->setText(label);
        button->setAccessibleName(label);
        button->setPressedByReturn(true);
        row().addWidget(button);
        return button;
    };
    // Not within the button's own event: what it does may be the end of the bar.
    if (offersFullScreen) {
        PlateButton* const full = addButton("fullScreen", localizedText("Full Screen"));
        full->setSymbol("rectangle.inset.filled");
        full->setToolTip(localizedText("Select the whole screen (F)"));
        connect(
            full, &QAbstractButton::clicked, this, [&model] { model.onFullScreen(); }, Qt::QueuedConnection);
        addDivider();
    }
    connect(
        addButton("cancel", localizedText("Cancel")), &QAbstractButton::clicked, this,
        [&model] { model.onCancel(); }, Qt::QueuedConnection);
}

}  // namespace lumicrate::views
