#include "Views/Overlays/Selection/OptionToggle.h"

#include "Views/Overlays/OverlayColors.h"
#include "Views/Widgets/QtText.h"

namespace lumicrate::views {

namespace {

constexpr double offOpacity = 0.42;

}  // namespace

OptionToggle::OptionToggle(RecordOptionsBar& bar, const RecordOptionsBar::Toggle& toggle, QWidget* parent)
    : PlateButton(Look::plain, parent) {
    setCheckable(true);
    setObjectName(qtText(toggle.key));
    setAccessibleName(qtText(toggle.name));
    connect(this, &QAbstractButton::clicked, this, [&bar, key = toggle.key] { bar.toggle(key); });
    setToggle(toggle);
}

void OptionToggle::setToggle(const RecordOptionsBar::Toggle& toggle) {
    setSymbol(toggle.symbol);
    setToolTip(qtText(toggle.help));
    setChecked(toggle.isOn);
}

QColor OptionToggle::symbolColor() const {
    return isChecked() ? QColor(Qt::white) : overlay::white(offOpacity);
}

}  // namespace lumicrate::views
