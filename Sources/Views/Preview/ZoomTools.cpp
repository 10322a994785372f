// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Preview/ZoomTools.h"

#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Theme.h"
#include "Views/Widgets/TintedLabel.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QPushButton>

namespace lumicrate::views {

ZoomTools::ZoomTools(PreviewModel& model, QWidget* parent)
    : QWidget(parent), model_(model), scale_(new QComboBox(this)), save_(nullptr) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(measure::margin, 0, measure::gap, 0);
    row->setSpacing(measure::gap);
    auto* hint = new TintedLabel(&ThemeColors::secondary, this);
    hint->setText(localizedText("Drag the zooms and their ends. A double click adds one."));
    hint->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    row->addWidget(hint, 1);
    scale_->setAccessibleName(localizedText("Scale of the selected zoom"));
    scale_->setToolTip(scale_->accessibleName());
    for (const double scale : ZoomBlocks::scales)
        scale_->addItem(QString::number(scale) + QStringLiteral("×"), scale);
    connect(scale_, &QComboBox::activated, this, [this](int index) {
        const auto& state = *model_.zoom.state;
        if (state && state->selected)
            model_.zoom.setScale(*state->selected, scale_->itemData(index).toDouble());
    });
    row->addWidget(scale_);
    const auto add = [&](const QString& text, auto act) {
        auto* button = new QPushButton(text, this);
        button->setFocusPolicy(Qt::TabFocus);
        // Return presses the focused button. Elsewhere it is a key of the window, which saves.
        button->setAutoDefault(true);
        connect(button, &QPushButton::clicked, this, act);
        row->addWidget(button);
        return button;
    };
    add(localizedText("Add Zoom"), [this] { model_.zoom.add(model_.playerView.time().seconds()); });
    add(localizedText("Done"), [this] { model_.zoom.end(); });
    save_ = add(localizedText("Save Zoomed Copy"), [this] { model_.saveZoomedCopy(); });
    save_->setDefault(true);
    subscriptions_.push_back(model.zoom.state.observe([this](const auto& coming) { show(coming); }));
    show(*model.zoom.state);
}

void ZoomTools::show(const std::optional<ZoomBlocks::State>& state) {
    const bool isChosen = state && state->selected;
    scale_->setEnabled(isChosen);
    const double newScale = ZoomBlock().scale;
    scale_->setCurrentIndex(scale_->findData(isChosen ? state->blocks[*state->selected].scale : newScale));
    save_->setEnabled(state && !state->blocks.empty());
}

}  // namespace lumicrate::views
