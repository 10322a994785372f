// SPDX-License-Identifier: GPL-3.0-or-later
// ControlBarView: the control bar, a dark rounded plate with the elapsed time and the buttons.
#pragma once

#include "Lumicrate/Overlays/ControlBarController.h"
#include "Support/Published.h"
#include "Views/Overlays/MicrophoneLevelIcon.h"
#include "Views/Overlays/OverlayWidget.h"

#include <functional>

namespace lumicrate::views {

class BarButton;

/// Mirrors its model and passes clicks to it. Dragging anything but a button moves the bar.
class ControlBarView final : public OverlayWidget {
 public:
    explicit ControlBarView(ControlBarModel& model);

    QMargins overhang() const override;
    QPainterPath silhouette() const override;

 protected:
    void paintEvent(QPaintEvent* event) override;

 private:
    class Elapsed;

    BarButton* addButton(const char* name, std::function<void()> action);
    void show(const ControlBarModel::Content& content);
    void showTip(const BarButton* button, bool shown);
    QRectF tipRect() const;

    MicrophoneLevelIcon level_;
    Elapsed* elapsed_;
    QWidget* divider_;
    BarButton* microphone_;
    BarButton* pause_;
    BarButton* cover_;
    BarButton* stop_;
    const BarButton* tipped_ = nullptr;  ///< the button whose tip is shown
    Subscription subscription_;
};

}  // namespace lumicrate::views
