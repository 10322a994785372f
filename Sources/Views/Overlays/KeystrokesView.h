// SPDX-License-Identifier: GPL-3.0-or-later
// KeystrokesView: the pressed keys, each in a dark capsule.
#pragma once

#include "Lumicrate/Overlays/KeystrokeDisplay.h"
#include "Support/Published.h"
#include "Views/Overlays/OverlayWidget.h"

#include <QFont>
#include <QRectF>
#include <QString>
#include <vector>

namespace lumicrate::views {

/// The capsules are at the side of the panel that the model's place names. If they are too wide for it, the
/// oldest are left out, and the text of a single one is shortened. Without a compositing manager the row
/// cannot fade; it keeps its opacity until it disappears.
class KeystrokesView final : public OverlayWidget {
 public:
    explicit KeystrokesView(const Keystrokes& model);

    QPainterPath silhouette() const override;
    std::optional<QPainterPath> paintedArea() const override;

 protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

 private:
    struct Capsule {
        QRectF frame;
        QString text;
        QString count;  ///< "× 3", or empty
    };

    void change(const KeystrokeRow& row);
    void layOut();
    Capsule capsuleFor(const Keystroke& key) const;
    void paintCapsule(QPainter& painter, const Capsule& capsule) const;

    const Keystrokes& model_;
    KeystrokeRow row_;
    QFont font_;
    std::vector<Capsule> capsules_;
    Subscription subscription_;
};

}  // namespace lumicrate::views
