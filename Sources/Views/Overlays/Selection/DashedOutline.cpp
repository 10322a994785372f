#include "Views/Overlays/Selection/DashedOutline.h"

#include <QImage>
#include <QPainter>
#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace lumicrate::views {

namespace {

constexpr double lineGrowth = 0.5;
constexpr double lineWidth = 1.5;
constexpr double dash = 6;
constexpr double period = 10;

struct Span {
    double from;
    double to;
};

/// One of the four, clockwise: from the outer edge at its first corner to the inner edge at its last, where
/// the next one begins.
struct Side {
    bool isHorizontal;
    bool isBackwards;
    Span along;
    Span across;
    double phase;  ///< the length of the line up to the first corner
};

QRect pixels(const Side& side) {
    const auto low = [](const Span& span) { return static_cast<int>(std::floor(span.from)); };
    const auto high = [](const Span& span) { return static_cast<int>(std::ceil(span.to)); };
    const QRect lying(low(side.along), low(side.across), high(side.along) - low(side.along),
                      high(side.across) - low(side.across));
    return side.isHorizontal ? lying : QRect(lying.y(), lying.x(), lying.height(), lying.width());
}

std::array<Side, 4> sides(const QRect& around, double scale) {
    const double grown = lineGrowth * scale;
    const double half = lineWidth * scale / 2;
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

/// How much of the line up to there is dashes.
double dashed(double length, double scale) {
    const double whole = std::floor(length / (period * scale));
    return whole * dash * scale + std::min(length - whole * period * scale, dash * scale);
}

/// How much of each pixel from `first` on the dashes cover along the side, from 0 to 1.
std::vector<double> alongCover(const Side& side, int first, int count, double scale) {
    const double half = lineWidth * scale / 2;
    // Where the line has its corner.
    const double begin = side.isBackwards ? side.along.to - half : side.along.from + half;
    const bool startsInDash = std::fmod(side.phase, period * scale) < dash * scale;
    // The part that lies in dashes, between two places on the line. What comes before the corner is as the
    // corner is.
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

/// The same of the line's width.
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

}  // namespace lumicrate::views
