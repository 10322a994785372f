// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Widgets/Symbols.h"

#include "Views/Widgets/QtText.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPalette>
#include <QSvgRenderer>
#include <cmath>
#include <utility>

/// The macro requires the global namespace. Without it the linker drops the static library's resources.
static void keepDrawings() {
    Q_INIT_RESOURCE(Icons);
}

namespace lumicrate::views {

namespace {

QString fileOf(std::string_view name) {
    keepDrawings();
    return QStringLiteral(":/Icons/%1.svg").arg(qtText(name));
}

/// Renders an SVG file in its own colours, or as a stencil in one colour.
class SvgIconEngine final : public QIconEngine {
 public:
    enum class Tint { none, palette, color };

    SvgIconEngine(QString file, Tint tint, QColor color = {})
        : file_(std::move(file)), tint_(tint), color_(std::move(color)) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override {
        const double ratio = painter->device() ? painter->device()->devicePixelRatio() : 1;
        const QPixmap picture = rendered(QSizeF(rect.size()) * ratio, mode);
        painter->drawPixmap(rect, picture);
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State) override {
        return rendered(size, mode);
    }
    QIconEngine* clone() const override { return new SvgIconEngine(file_, tint_, color_); }

    QPixmap rendered(const QSizeF& size, QIcon::Mode mode) const {
        const int side = static_cast<int>(std::lround(std::min(size.width(), size.height())));
        QPixmap picture(size.toSize());
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        const QRectF square((picture.width() - side) / 2.0, (picture.height() - side) / 2.0, side, side);
        QSvgRenderer(file_).render(&painter, square);
        if (tint_ == Tint::none) return picture;
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(picture.rect(), tintFor(mode));
        return picture;
    }

 private:
    QColor tintFor(QIcon::Mode mode) const {
        const QPalette palette = QGuiApplication::palette();
        if (mode == QIcon::Disabled) return palette.color(QPalette::Disabled, QPalette::ButtonText);
        if (tint_ == Tint::color) return color_;
        return palette.color(mode == QIcon::Selected ? QPalette::HighlightedText : QPalette::ButtonText);
    }

    QString file_;
    Tint tint_;
    QColor color_;
};

}  // namespace

QIcon symbol(std::string_view name) {
    return QIcon(new SvgIconEngine(fileOf(name), SvgIconEngine::Tint::palette));
}

void paintSymbol(QPainter& painter, const QRectF& square, std::string_view name, const QColor& color) {
    const double ratio = painter.device()->devicePixelRatio();
    const SvgIconEngine engine(fileOf(name), SvgIconEngine::Tint::color, color);
    painter.drawPixmap(square, engine.rendered(square.size() * ratio, QIcon::Normal), {});
}

QIcon applicationIcon() {
    return QIcon(new SvgIconEngine(fileOf("lumicrate"), SvgIconEngine::Tint::none));
}

}  // namespace lumicrate::views
