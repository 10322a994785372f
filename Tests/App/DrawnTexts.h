// SPDX-License-Identifier: GPL-3.0-or-later
// DrawnTexts: the texts that a window paints, whichever way its widgets do it.
#pragma once

#include <QPaintDevice>
#include <QPaintEngine>
#include <QScrollArea>
#include <QWidget>
#include <typeinfo>
#include <vector>

namespace lumicrate::test {

struct DrawnText {
    QString text;
    QString widget;          ///< the class of the widget
    bool isClipped = false;  ///< a part lies outside of what the widget can paint, or is left out
};

/// Paints nothing, and takes note of all texts.
class DrawnTexts final : public QPaintEngine, public QPaintDevice {
 public:
    /// Of a visible window and all its children.
    static std::vector<DrawnText> of(QWidget& window) {
        DrawnTexts noted(window);
        window.render(&noted);
        return std::move(noted.texts_);
    }

    bool begin(QPaintDevice*) override { return true; }
    bool end() override { return true; }
    void updateState(const QPaintEngineState&) override {}
    void drawPixmap(const QRectF&, const QPixmap&, const QRectF&) override {}
    void drawImage(const QRectF&, const QImage&, const QRectF&, Qt::ImageConversionFlags) override {}
    void drawPath(const QPainterPath&) override {}
    void drawPolygon(const QPointF*, int, PolygonDrawMode) override {}
    Type type() const override { return User; }
    QPaintEngine* paintEngine() const override { return const_cast<DrawnTexts*>(this); }

    void drawTextItem(const QPointF& at, const QTextItem& item) override {
        constexpr double tolerance = 1.5;
        // Of the height only what letters need, and without the space at the end of a line, which hangs over
        // the left edge for Latin letters in lines from right to left.
        const auto* const widget = dynamic_cast<const QWidget*>(painter()->device());
        const bool isMirrored = widget && widget->isRightToLeft();
        const double space =
            isMirrored || item.text().endsWith(u' ') ? QFontMetricsF(item.font()).horizontalAdvance(u' ') : 0;
        const QRectF extent(at.x() + (isMirrored ? space : 0), at.y() - item.ascent() * 0.7,
                            item.width() - space, item.ascent() * 0.7);
        const QRectF drawn = state->transform().mapRect(extent);
        QRectF room = systemClip().isEmpty() ? QRectF(QPoint(), size_) : QRectF(systemClip().boundingRect());
        if (painter()->hasClipping())
            room &= state->transform().mapRect(QRectF(painter()->clipBoundingRect()));
        // What is scrolled out of sight is no fault.
        for (const QWidget* each = widget; each; each = each->parentWidget()) {
            if (qobject_cast<const QAbstractScrollArea*>(each)) room.adjust(0, -1e4, 0, 1e4);
        }
        const bool isInside =
            room.adjusted(-tolerance, -tolerance, tolerance, tolerance).contains(drawn) || drawn.isEmpty();
        // Names may be shortened where the tool tip has all of them.
        const bool isShortened = item.text().endsWith(u'…') && item.text().contains(u'[') && widget &&
                                 !widget->toolTip().contains(item.text().chopped(1));
        texts_.push_back({item.text(), widget ? QLatin1String(typeid(*widget).name()) : QString(),
                          !isInside || isShortened});
    }

 protected:
    int metric(PaintDeviceMetric metric) const override {
        return metric == PdmWidth    ? size_.width()
               : metric == PdmHeight ? size_.height()
                                     : font_.metric(metric);
    }

 private:
    struct Metrics : QWidget {
        using QWidget::metric;
    };
    explicit DrawnTexts(const QWidget& window) : QPaintEngine(AllFeatures), size_(window.size()) {}

    QSize size_;
    Metrics font_;  ///< whose resolution is the screen's
    std::vector<DrawnText> texts_;
};

}  // namespace lumicrate::test
