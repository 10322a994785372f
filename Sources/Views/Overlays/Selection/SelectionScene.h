// SPDX-License-Identifier: GPL-3.0-or-later
// SelectionScene: everything that is painted of a selection, laid out in the pixels of its screen.
#pragma once

#include "Lumicrate/Overlays/Selection/SelectionModel.h"
#include "Views/Overlays/Selection/ScreenPixels.h"

#include <QPoint>
#include <QRect>
#include <QRegion>
#include <QString>
#include <optional>
#include <vector>

class QPainter;

namespace lumicrate::views {

class SelectionPainter;

/// A text on a dark rounded plate, which is readable over any background.
struct SceneLabel {
    enum class Kind { target, size, hint };

    Kind kind = Kind::hint;
    QString text;  ///< shortened to fit on the screen
    QRect plate;   ///< pixels

    bool operator==(const SceneLabel&) const = default;

    /// Centred on a position in pixels, or as near to it as the screen's edges allow.
    static SceneLabel placed(Kind kind, const QString& text, const QPointF& center,
                             const ScreenPixels& screen);
    /// `painter` uses pixel coordinates; `scale` is the number of pixels per point.
    void paint(QPainter& painter, double scale) const;
};

/// All rectangles are in pixels.
struct SelectionScene {
    struct Magnified {
        QPoint pixel;
        QRect frame;
        bool operator==(const Magnified&) const = default;
    };

    struct Cover {
        QRect frame;
        bool isChosen = false;
        bool operator==(const Cover&) const = default;
    };

    std::optional<QRect> selection;  ///< not dimmed; the outline runs around it
    std::vector<Cover> covers;
    std::vector<QPoint> handles;  ///< their centres
    std::optional<QRect> highlight;
    std::vector<SceneLabel> labels;  ///< bottom to top
    std::optional<Magnified> magnified;

    bool operator==(const SelectionScene&) const = default;
};

/// Lays an appearance out. Leaves out a label that a bar or a more important label would cover.
SelectionScene layOut(const SelectionAppearance& seen, const ScreenPixels& screen,
                      const SelectionPainter& painter);
/// The pixels that may look different in the two scenes.
QRegion changedPixels(const SelectionScene& before, const SelectionScene& after,
                      const SelectionPainter& painter);

}  // namespace lumicrate::views
