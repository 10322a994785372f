#include "Views/MainWindow/AreaFields.h"

#include "Views/QtText.h"
#include "Views/Theme.h"
#include "Views/Widgets/TintedLabel.h"

#include <QHBoxLayout>
#include <QSignalBlocker>
#include <QSpinBox>
#include <algorithm>
#include <cmath>

namespace lumicrate::views {

namespace {

/// Further than any desktop reaches.
constexpr int farthest = 99'999;

struct Field {
    const char* label;
    const char* name;
};
constexpr std::array<Field, 4> all = {{{"X", "Left edge, in points"},
                                       {"Y", "Top edge, in points"},
                                       {"W", "Width, in points"},
                                       {"H", "Height, in points"}}};

}  // namespace

AreaFields::AreaFields(std::function<void(const Rect&)> chosen, QWidget* parent)
    : QWidget(parent), chosen_(std::move(chosen)) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(measure::gap / 2);
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (i > 0) layout->addSpacing(measure::gap / 2);
        auto* label = new TintedLabel(&ThemeColors::secondary, this);
        label->setText(tr(all[i].label));
        layout->addWidget(label);
        auto* field = new QSpinBox(this);
        field->setRange(i < 2 ? -farthest : 1, farthest);
        field->setKeyboardTracking(false);
        field->setButtonSymbols(QAbstractSpinBox::NoButtons);
        field->setAccelerated(true);
        field->setAccessibleName(tr(all[i].name));
        field->setToolTip(tr(all[i].name));
        field->setMinimumWidth(field->fontMetrics().horizontalAdvance(QStringLiteral("0000000")));
        field->setMinimumHeight(field->fontMetrics().height() + 2 * measure::gap);
        layout->addWidget(field, 1);
        fields_[i] = field;
        connect(field, &QSpinBox::valueChanged, this, [this] {
            chosen_({double(fields_[0]->value()), double(fields_[1]->value()), double(fields_[2]->value()),
                     double(fields_[3]->value())});
        });
    }
}

void AreaFields::setArea(const Rect& area) {
    const std::array<double, 4> values = {area.x, area.y, area.width, area.height};
    for (std::size_t i = 0; i < values.size(); ++i) {
        const QSignalBlocker quiet(fields_[i]);
        const double bounded = std::clamp(values[i], double{-farthest}, double{farthest});
        fields_[i]->setValue(static_cast<int>(std::lround(bounded)));
    }
}

}  // namespace lumicrate::views
