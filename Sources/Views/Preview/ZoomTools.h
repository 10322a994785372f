// SPDX-License-Identifier: GPL-3.0-or-later
// ZoomTools: the row of tools below a preview while zooms are edited.
#pragma once

#include "Lumicrate/Preview/PreviewModel.h"
#include "Support/Published.h"

#include <QWidget>
#include <optional>
#include <vector>

class QComboBox;
class QPushButton;

namespace lumicrate::views {

/// What to do, the scale of the selected zoom, and buttons for adding one, leaving and saving.
class ZoomTools final : public QWidget {
 public:
    /// `model` must outlive it.
    ZoomTools(PreviewModel& model, QWidget* parent);

 private:
    void show(const std::optional<ZoomBlocks::State>& state);

    PreviewModel& model_;
    QComboBox* scale_;
    QPushButton* save_;
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate::views
