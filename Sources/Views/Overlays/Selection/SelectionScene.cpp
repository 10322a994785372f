#include "Views/Overlays/Selection/SelectionScene.h"

#include "Views/Overlays/Selection/SelectionPainter.h"
#include "Views/Widgets/QtText.h"

#include <algorithm>
#include <utility>

namespace lumicrate::views {

namespace {

QRegion regionOf(const std::optional<QRect>& rect) {
    return rect ? QRegion(*rect) : QRegion();
}

std::vector<LabelPlate> labelsOf(const SelectionAppearance& seen, const ScreenPixels& screen) {
    std::vector<QRect> taken;
    for (const auto& bar : {seen.toolbar, seen.pickBar})
        if (bar) taken.push_back(screen.rectOf(*bar));
    const std::pair<const std::optional<SelectionLabel>&, LabelPlate::Kind> byWeight[] = {
        {seen.sizeLabel, LabelPlate::Kind::size},
        {seen.highlightLabel, LabelPlate::Kind::target},
        {seen.hint, LabelPlate::Kind::hint}};
    std::vector<LabelPlate> labels;
    for (const auto& [label, kind] : byWeight) {
        if (!label) continue;
        LabelPlate placed =
            LabelPlate::placed(kind, qtText(label->text), screen.positionOf(label->center), screen);
        const bool isCovered = std::any_of(taken.begin(), taken.end(), [&placed](const QRect& each) {
            return each.intersects(placed.plate);
        });
        if (isCovered) continue;
        taken.push_back(placed.plate);
        labels.push_back(std::move(placed));
    }
    return labels;
}

/// What is in one of the lists alone.
QRegion changedLabels(const std::vector<LabelPlate>& before, const std::vector<LabelPlate>& after) {
    QRegion changed;
    const auto addMissing = [&changed](const auto& these, const auto& those) {
        for (const LabelPlate& each : these)
            if (std::find(those.begin(), those.end(), each) == those.end()) changed += each.plate;
    };
    addMissing(before, after);
    addMissing(after, before);
    return changed;
}

}  // namespace

SelectionScene layOut(const SelectionAppearance& seen, const ScreenPixels& screen,
                      const SelectionPainter& painter) {
    SelectionScene scene;
    if (seen.selection) {
        scene.selection = screen.rectOf(*seen.selection);
        for (const Handle each : seen.handles)
            scene.handles.push_back(screen.positionOf(pointOf(each, *seen.selection)).toPoint());
    }
    if (seen.highlighted) scene.highlight = screen.rectOf(seen.highlighted->rect);
    scene.labels = labelsOf(seen, screen);
    if (seen.magnified && painter.canMagnify()) {
        const QPoint pixel = screen.pixelOf(*seen.magnified);
        scene.magnified = {pixel, painter.magnifierFrame(pixel, screen.all().size())};
    }
    return scene;
}

QRegion changedPixels(const SelectionScene& before, const SelectionScene& after,
                      const SelectionPainter& painter) {
    // The dimmed parts are all but the selections, and differ where these do.
    QRegion changed = regionOf(before.selection) ^ regionOf(after.selection);
    if (before.selection != after.selection) {
        for (const auto& each : {before.selection, after.selection})
            if (each) changed += painter.outlineRegion(*each);
    }
    if (before.handles != after.handles) {
        for (const auto* handles : {&before.handles, &after.handles})
            for (const QPoint& each : *handles)
                changed += painter.handleFrame(each);
    }
    if (before.highlight != after.highlight) {
        changed += regionOf(before.highlight) ^ regionOf(after.highlight);
        for (const auto& each : {before.highlight, after.highlight})
            if (each) changed += painter.highlightFrame(*each);
    }
    changed += changedLabels(before.labels, after.labels);
    if (before.magnified != after.magnified) {
        for (const auto& each : {before.magnified, after.magnified})
            if (each) changed += each->frame;
    }
    return changed;
}

}  // namespace lumicrate::views
