// OverlayWidget: the content of an overlay's panel, which is drawn in two ways: translucent where a
// compositing manager puts it over the screen, else opaque and cut out along its silhouette.
#pragma once

#include <QMargins>
#include <QPainterPath>
#include <QRegion>
#include <QWidget>
#include <functional>
#include <optional>
#include <utility>

namespace lumicrate::views {

class OverlayWidget : public QWidget {
 public:
    /// What is painted around the panel's frame and takes no pointer: a shadow, a tip. It is part of the
    /// widget.
    virtual QMargins overhang() const { return {}; }
    /// All that there is to be seen without a compositing manager; opaque, and the same pixels, none besides,
    /// are to be painted then.
    virtual QPainterPath silhouette() const = 0;
    /// With a compositing manager: the part in which anything is ever painted; all of it, where there is
    /// none.
    virtual std::optional<QPainterPath> outline() const { return std::nullopt; }

    QRect frameInside() const { return rect().marginsRemoved(overhang()); }
    bool isComposited() const { return composited_; }
    void setComposited(bool composited) {
        composited_ = composited;
        update();
    }
    /// Called whenever the silhouette is another one.
    void setOnReshaped(std::function<void()> reshaped) { reshaped_ = std::move(reshaped); }

 protected:
    void reshaped() {
        if (reshaped_) reshaped_();
        update();
    }

 private:
    bool composited_ = true;
    std::function<void()> reshaped_;
};

}  // namespace lumicrate::views
