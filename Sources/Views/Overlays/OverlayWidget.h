// SPDX-License-Identifier: GPL-3.0-or-later
// OverlayWidget: base of the contents of overlay panels. A content is painted in one of two ways:
// translucent, if there is a compositing manager, else opaque, with the window cut out along the content's
// silhouette.
#pragma once

#include <QMargins>
#include <QPainterPath>
#include <QWidget>
#include <functional>
#include <optional>
#include <utility>

namespace lumicrate::views {

class OverlayWidget : public QWidget {
 public:
    /// The margins around the panel's frame in which a shadow or a tip is painted. They are part of the
    /// widget, but the pointer passes through them.
    virtual QMargins overhang() const { return {}; }
    /// The visible part without a compositing manager; the whole widget by default. Exactly these pixels must
    /// then be painted, opaquely.
    virtual QPainterPath silhouette() const {
        QPainterPath whole;
        whole.addRect(rect());
        return whole;
    }
    /// With a compositing manager, the part in which anything is ever painted; none for the whole widget.
    virtual std::optional<QPainterPath> paintedArea() const { return std::nullopt; }

    /// Where the pointer is handled, unless the panel ignores it. Outside, it reaches the windows below.
    virtual QPainterPath touchArea() const {
        QPainterPath frame;
        frame.addRect(frameInside());
        return frame;
    }

    QRect frameInside() const { return rect().marginsRemoved(overhang()); }
    bool isComposited() const { return composited_; }
    void setComposited(bool composited) {
        composited_ = composited;
        update();
    }
    /// Called whenever the silhouette or the touch area has changed.
    void setOnShapeChanged(std::function<void()> callback) { onShapeChanged_ = std::move(callback); }

 protected:
    void shapeChanged() {
        if (onShapeChanged_) onShapeChanged_();
        update();
    }

 private:
    bool composited_ = true;
    std::function<void()> onShapeChanged_;
};

}  // namespace lumicrate::views
