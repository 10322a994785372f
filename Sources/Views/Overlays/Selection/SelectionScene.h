// SelectionScene: all that is painted of a selection, laid out in the pixels of its screen.
#pragma once

#include "Lumicrate/Overlays/Selection/SelectionModel.h"
#include "Views/Overlays/Selection/LabelPlate.h"
#include "Views/Overlays/Selection/ScreenPixels.h"

#include <QPoint>
#include <QRect>
#include <QRegion>
#include <optional>
#include <vector>

namespace lumicrate::views {

class SelectionPainter;

/// Rectangles in pixels.
struct SelectionScene {
    struct Magnified {
        QPoint pixel;
        QRect frame;
        bool operator==(const Magnified&) const = default;
    };

    std::optional<QRect> selection;  ///< not dimmed; the outline goes around it
    std::vector<QPoint> handles;     ///< their middles
    std::optional<QRect> highlight;
    std::vector<LabelPlate> labels;  ///< the first one lies lowest
    std::optional<Magnified> magnified;

    bool operator==(const SelectionScene&) const = default;
};

/// Where everything of an appearance is. A label is left out where it would be covered.
SelectionScene layOut(const SelectionAppearance& seen, const ScreenPixels& screen,
                      const SelectionPainter& painter);
/// The pixels that can look different.
QRegion changedPixels(const SelectionScene& before, const SelectionScene& after,
                      const SelectionPainter& painter);

}  // namespace lumicrate::views
