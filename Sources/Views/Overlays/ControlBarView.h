// ControlBarView: the control bar as a dark rounded shape with its buttons.
#pragma once

#include "Lumicrate/Overlays/ControlBarModel.h"
#include "Support/Published.h"
#include "Views/Overlays/MicrophoneLevelIcon.h"
#include "Views/Overlays/OverlayWidget.h"

#include <functional>
#include <optional>
#include <string>

namespace lumicrate::views {

class BarButton;

/// Mirrors its model and hands it the clicks. What is no button moves the bar.
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
    void showTip(const BarButton* of, bool shown);
    QRectF tipRect() const;

    MicrophoneLevelIcon level_;
    Elapsed* elapsed_;
    QWidget* divider_;
    BarButton* microphone_;
    BarButton* pause_;
    BarButton* stop_;
    std::optional<bool> showsPaused_;
    /// Of the button whose tip is shown.
    const BarButton* tipped_ = nullptr;
    Subscription subscription_;
};

}  // namespace lumicrate::views
