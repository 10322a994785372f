// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/Selection/SelectionScene.h"

#include "Views/Overlays/OverlayStyle.h"
#include "Views/Overlays/Selection/SelectionPainter.h"
#include "Views/Widgets/QtText.h"

#include <QFont>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <utility>

namespace lumicrate::views {

namespace {

constexpr double paddingX = 12;
constexpr double paddingY = 6;
constexpr double corner = 8;
constexpr double margin = 8;  ///< from the edges of the screen
constexpr int textSize = 13;
constexpr int targetSize = 15;

QFont fontOf(SceneLabel::Kind kind) {
    // Fixed-width digits do not jump while they change.
    QFont font =
        kind == SceneLabel::Kind::size ? QFontDatabase::systemFont(QFontDatabase::FixedFont) : QFont();
    font.setPixelSize(kind == SceneLabel::Kind::target ? targetSize : textSize);
    font.setWeight(kind == SceneLabel::Kind::hint ? QFont::Normal : QFont::Medium);
    return font;
}

/// A target's text ends with its size, which must stay readable.
Qt::TextElideMode elisionOf(SceneLabel::Kind kind) {
    return kind == SceneLabel::Kind::target ? Qt::ElideMiddle : Qt::ElideRight;
}

/// A window title may contain any characters; it is shown on one line.
QString onOneLine(QString text) {
    for (QChar& each : text) {
        if (each.category() == QChar::Other_Control || each.isSpace()) each = u' ';
    }
    return text;
}

int clamped(int value, int low, int high) {
    return std::max(low, std::min(value, high));
}

QRegion regionOf(const std::optional<QRect>& rect) {
    return rect ? QRegion(*rect) : QRegion();
}

std::vector<SceneLabel> labelsOf(const SelectionAppearance& seen, const ScreenPixels& screen) {
    std::vector<QRect> taken;
    for (const auto& bar : {seen.toolbar, seen.pickBar})
        if (bar) taken.push_back(screen.rectOf(*bar));
    const std::pair<const std::optional<SelectionLabel>&, SceneLabel::Kind> byImportance[] = {
        {seen.sizeLabel, SceneLabel::Kind::size},
        {seen.highlightLabel, SceneLabel::Kind::target},
        {seen.hint, SceneLabel::Kind::hint}};
    std::vector<SceneLabel> labels;
    for (const auto& [label, kind] : byImportance) {
        if (!label) continue;
        SceneLabel placed =
            SceneLabel::placed(kind, qtText(label->text), screen.positionOf(label->center), screen);
        const bool isCovered = std::any_of(taken.begin(), taken.end(), [&placed](const QRect& each) {
            return each.intersects(placed.plate);
        });
        if (isCovered) continue;
        taken.push_back(placed.plate);
        labels.push_back(std::move(placed));
    }
    return labels;
}

QRect frameOf(const SceneLabel& label) {
    return label.plate;
}

QRect frameOf(const SelectionScene::Cover& cover) {
    return cover.frame;
}

/// The labels or covers that only one of the lists has.
template <class Part>
QRegion changedParts(const std::vector<Part>& before, const std::vector<Part>& after) {
    QRegion changed;
    const auto addMissing = [&changed](const auto& these, const auto& those) {
        for (const Part& each : these)
            if (std::find(those.begin(), those.end(), each) == those.end()) changed += frameOf(each);
    };
    addMissing(before, after);
    addMissing(after, before);
    return changed;
}

}  // namespace

SceneLabel SceneLabel::placed(Kind kind, const QString& text, const QPointF& center,
                              const ScreenPixels& screen) {
    const QFontMetricsF metrics(fontOf(kind));
    const QRect all = screen.all();
    const double room = all.width() / screen.scale() - 2 * (margin + paddingX);
    const QString seen = metrics.elidedText(onOneLine(text), elisionOf(kind), room);
    const double width = std::ceil(metrics.horizontalAdvance(seen)) + 2 * paddingX;
    const double height = std::ceil(metrics.height()) + 2 * paddingY;
    QRect plate(0, 0, screen.length(width), screen.length(height));
    const QPointF half = QPointF(plate.width(), plate.height()) / 2;
    const QPoint wanted = (center - half).toPoint();
    const int inset = screen.length(margin);
    plate.moveTo(clamped(wanted.x(), inset, all.width() - plate.width() - inset),
                 clamped(wanted.y(), inset, all.height() - plate.height() - inset));
    return {kind, seen, plate};
}

void SceneLabel::paint(QPainter& painter, double scale) const {
    const QRectF body(QPointF(), QSizeF(plate.size()) / scale);
    painter.save();
    painter.translate(plate.topLeft());
    painter.scale(scale, scale);
    painter.setRenderHint(QPainter::Antialiasing);
    overlay::paintPlate(painter, body, corner, true);
    painter.setFont(fontOf(kind));
    painter.setPen(Qt::white);
    painter.drawText(body, Qt::AlignCenter | Qt::TextSingleLine | Qt::TextDontClip, text);
    painter.restore();
}

SelectionScene layOut(const SelectionAppearance& seen, const ScreenPixels& screen,
                      const SelectionPainter& painter) {
    SelectionScene scene;
    if (seen.selection) {
        scene.selection = screen.rectOf(*seen.selection);
        for (const Handle each : seen.handles)
            scene.handles.push_back(screen.positionOf(pointOf(each, *seen.selection)).toPoint());
    }
    for (const SelectionCover& cover : seen.covers) {
        scene.covers.push_back({screen.rectOf(cover.rect), cover.isChosen});
        if (!cover.isChosen) continue;
        for (const Handle each : seen.coverHandles)
            scene.handles.push_back(screen.positionOf(pointOf(each, cover.rect)).toPoint());
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
    // Everything outside of the selection is dimmed, so the dimming differs where the selections differ.
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
    changed += changedParts(before.covers, after.covers);
    changed += changedParts(before.labels, after.labels);
    if (before.magnified != after.magnified) {
        for (const auto& each : {before.magnified, after.magnified})
            if (each) changed += each->frame;
    }
    return changed;
}

}  // namespace lumicrate::views
