// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/Selection/SelectionPainter.h"

#include "Views/Overlays/OverlayStyle.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Symbols.h"
#include "Views/Widgets/Theme.h"

#include <QFontMetricsF>
#include <QPainter>
#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

namespace lumicrate::views {

namespace {

constexpr double dimming = 0.45;
constexpr double outlineDistance = 0.5;  ///< of the centre line from the selection
constexpr double outlineWidth = 1.5;
constexpr double dashLength = 6;
constexpr double dashPeriod = 10;
constexpr double handleSide = 9;
constexpr double handleCorner = 2;
constexpr double handleLine = 1.5;
constexpr double highlightOpacity = 0.12;
constexpr double highlightLine = 3;
constexpr double coverLineOpacity = 0.4;
constexpr double coverPadding = 8;
constexpr double coverSymbol = 16;
/// Shown inside a selection if there is neither a still picture nor a compositing manager.
const QColor blank(96, 98, 106);

/// Converts to the format of the window, so that painting only copies.
QImage prepared(QImage still) {
    still.convertTo(QImage::Format_ARGB32_Premultiplied);
    still.setDevicePixelRatio(1);
    return still;
}

/// All handles look the same, so one is painted in advance, centred in its picture.
QImage handlePicture(double scale) {
    const int reach = static_cast<int>(std::ceil((handleSide + handleLine) / 2 * scale));
    QImage picture(2 * reach, 2 * reach, QImage::Format_ARGB32_Premultiplied);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.translate(reach, reach);
    painter.scale(scale, scale);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(overlay::blue, handleLine));
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(QRectF(-handleSide / 2, -handleSide / 2, handleSide, handleSide), handleCorner,
                            handleCorner);
    return picture;
}

void fill(QPainter& painter, const QRegion& region, const QColor& color) {
    for (const QRect& each : region)
        painter.fillRect(each, color);
}

struct Span {
    double from;
    double to;
};

/// One of the four sides, clockwise: from the outer edge at its first corner to the inner edge at its last
/// corner, where the next side begins.
struct Side {
    bool isHorizontal;
    bool isBackwards;
    Span along;
    Span across;
    double phase;  ///< length of the outline up to the first corner
};

QRect pixels(const Side& side) {
    const auto low = [](const Span& span) { return static_cast<int>(std::floor(span.from)); };
    const auto high = [](const Span& span) { return static_cast<int>(std::ceil(span.to)); };
    const QRect lying(low(side.along), low(side.across), high(side.along) - low(side.along),
                      high(side.across) - low(side.across));
    return side.isHorizontal ? lying : QRect(lying.y(), lying.x(), lying.height(), lying.width());
}

std::array<Side, 4> sides(const QRect& around, double scale) {
    const double grown = outlineDistance * scale;
    const double half = outlineWidth * scale / 2;
    const double left = around.x() - grown;
    const double top = around.y() - grown;
    const double right = around.x() + around.width() + grown;
    const double bottom = around.y() + around.height() + grown;
    const double width = right - left;
    const double height = bottom - top;
    return {{{true, false, {left - half, right - half}, {top - half, top + half}, 0},
             {false, false, {top - half, bottom - half}, {right - half, right + half}, width},
             {true, true, {left + half, right + half}, {bottom - half, bottom + half}, width + height},
             {false, true, {top + half, bottom + half}, {left - half, left + half}, 2 * width + height}}};
}

/// The total length of dashes within the first `length` pixels of the outline.
double dashed(double length, double scale) {
    const double whole = std::floor(length / (dashPeriod * scale));
    return whole * dashLength * scale + std::min(length - whole * dashPeriod * scale, dashLength * scale);
}

/// The share of each pixel from `first` on that dashes cover along the side, 0 to 1.
std::vector<double> alongCover(const Side& side, int first, int count, double scale) {
    const double half = outlineWidth * scale / 2;
    // The corner of the outline's centre line.
    const double begin = side.isBackwards ? side.along.to - half : side.along.from + half;
    const bool startsInDash = std::fmod(side.phase, dashPeriod * scale) < dashLength * scale;
    // The length of dashes between two positions relative to the corner. Positions before the corner continue
    // the corner's own dash or gap.
    const auto dashesBetween = [&](double from, double to) {
        double covered = 0;
        if (to > 0)
            covered = dashed(side.phase + to, scale) - dashed(side.phase + std::max(from, 0.0), scale);
        if (from < 0 && startsInDash) covered += std::min(to, 0.0) - from;
        return covered;
    };
    std::vector<double> cover;
    cover.reserve(static_cast<std::size_t>(count));
    for (int pixel = first; pixel < first + count; ++pixel) {
        const double from = std::max<double>(pixel, side.along.from);
        const double to = std::max(from, std::min<double>(pixel + 1, side.along.to));
        cover.push_back(side.isBackwards ? dashesBetween(begin - to, begin - from)
                                         : dashesBetween(from - begin, to - begin));
    }
    return cover;
}

/// The share of each pixel that the line covers across the side.
std::vector<double> acrossCover(const Side& side, int first, int count) {
    std::vector<double> cover;
    for (int pixel = first; pixel < first + count; ++pixel) {
        const double from = std::max<double>(pixel, side.across.from);
        cover.push_back(std::max(0.0, std::min<double>(pixel + 1, side.across.to) - from));
    }
    return cover;
}

QImage strip(const Side& side, const QRect& part, double scale) {
    const auto columns = side.isHorizontal ? alongCover(side, part.x(), part.width(), scale)
                                           : acrossCover(side, part.x(), part.width());
    const auto rows = side.isHorizontal ? acrossCover(side, part.y(), part.height())
                                        : alongCover(side, part.y(), part.height(), scale);
    QImage image(part.size(), QImage::Format_ARGB32_Premultiplied);
    auto* line = image.bits();
    for (const double row : rows) {
        auto* pixel = reinterpret_cast<QRgb*>(line);
        for (const double column : columns) {
            const int alpha = static_cast<int>(255 * row * column + 0.5);
            *pixel++ = qRgba(alpha, alpha, alpha, alpha);
        }
        line += image.bytesPerLine();
    }
    return image;
}

}  // namespace

QRegion DashedOutline::region(const QRect& around) const {
    QRegion all;
    for (const Side& each : sides(around, scale_))
        all += pixels(each);
    return all;
}

void DashedOutline::paint(QPainter& painter, const QRect& around, const QRegion& clip) const {
    for (const Side& each : sides(around, scale_)) {
        const QRect part = (clip & pixels(each)).boundingRect();
        if (!part.isEmpty()) painter.drawImage(part.topLeft(), strip(each, part, scale_));
    }
}

SelectionPainter::SelectionPainter(QImage still, double scale)
    : still_(prepared(std::move(still))),
      scale_(scale),
      outline_(scale),
      magnifier_(scale),
      handle_(handlePicture(scale)) {}

QRect SelectionPainter::handleFrame(const QPoint& center) const {
    return {center - handle_.rect().center() - QPoint(1, 1), handle_.size()};
}

QRegion SelectionPainter::highlightFrame(const QRect& target) const {
    const int line = static_cast<int>(std::lround(highlightLine * scale_));
    return QRegion(target) - target.adjusted(line, line, -line, -line);
}

void SelectionPainter::paint(QPainter& painter, const SelectionScene& scene, const QRegion& clip,
                             bool composited) const {
    paintBackground(painter, scene, clip, composited);
    for (const SelectionScene::Cover& each : scene.covers)
        if (clip.intersects(each.frame)) paintCover(painter, each);
    if (scene.highlight) paintHighlight(painter, *scene.highlight, clip);
    if (scene.selection) outline_.paint(painter, *scene.selection, clip);
    for (const QPoint& each : scene.handles) {
        const QRect frame = handleFrame(each);
        if (clip.intersects(frame)) painter.drawImage(frame.topLeft(), handle_);
    }
    for (const SceneLabel& each : scene.labels)
        if (clip.intersects(each.plate)) each.paint(painter, scale_);
    if (scene.magnified && clip.intersects(scene.magnified->frame))
        magnifier_.paint(painter, scene.magnified->frame, scene.magnified->pixel, still_);
}

void SelectionPainter::paintBackground(QPainter& painter, const SelectionScene& scene, const QRegion& clip,
                                       bool composited) const {
    const QRegion bright = scene.selection ? clip & *scene.selection : QRegion();
    const QRegion dimmed = clip - bright;
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    if (composited) {
        fill(painter, bright, Qt::transparent);
        fill(painter, dimmed, overlay::black(dimming));
        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
        return;
    }
    paintScreen(painter, bright);
    paintScreen(painter, dimmed);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    fill(painter, dimmed, overlay::black(dimming));
}

/// As in the recording, with a line along its edges that sets it off, and what it is.
void SelectionPainter::paintCover(QPainter& painter, const SelectionScene::Cover& cover) const {
    painter.save();
    painter.setClipRect(cover.frame, Qt::IntersectClip);
    painter.fillRect(cover.frame, overlay::coverGround);
    painter.translate(cover.frame.topLeft());
    painter.scale(scale_, scale_);
    const QRectF body(QPointF(), QSizeF(cover.frame.size()) / scale_);
    const double line = cover.isChosen ? 2 : 1;
    painter.setPen(QPen(cover.isChosen ? overlay::blue : overlay::white(coverLineOpacity), line));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(body.adjusted(line / 2, line / 2, -line / 2, -line / 2));
    painter.setRenderHint(QPainter::Antialiasing);
    const QFont font = overlay::font(overlay::control::textSize);
    const QFontMetricsF metrics(font);
    const QString text = localizedText("Covered in the recording");
    const double width = metrics.horizontalAdvance(text);
    if (body.width() >= width + 2 * coverPadding && body.height() >= metrics.height() + coverPadding) {
        painter.setFont(font);
        painter.setPen(overlay::control::faintText);
        painter.drawText(body, Qt::AlignCenter | Qt::TextSingleLine, text);
    } else if (std::min(body.width(), body.height()) >= coverSymbol + coverPadding) {
        QRectF square(0, 0, coverSymbol, coverSymbol);
        square.moveCenter(body.center());
        paintSymbol(painter, square, "eye.slash", overlay::control::faintText);
    }
    painter.restore();
}

void SelectionPainter::paintScreen(QPainter& painter, const QRegion& part) const {
    for (const QRect& each : part) {
        if (!still_.rect().contains(each)) painter.fillRect(each, blank);
        const QRect known = each & still_.rect();
        if (!known.isEmpty()) painter.drawImage(known.topLeft(), still_, known);
    }
}

void SelectionPainter::paintHighlight(QPainter& painter, const QRect& target, const QRegion& clip) const {
    const QRegion line = highlightFrame(target);
    fill(painter, (clip & target) - line, faded(overlay::blue, highlightOpacity));
    fill(painter, clip & line, overlay::blue);
}

}  // namespace lumicrate::views
