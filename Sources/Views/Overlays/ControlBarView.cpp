// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/ControlBarView.h"

#include "Views/Overlays/BarButton.h"
#include "Views/Overlays/OverlayStyle.h"
#include "Views/Widgets/Accessibility.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Theme.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QHBoxLayout>
#include <QPainter>
#include <QScreen>
#include <algorithm>
#include <functional>
#include <utility>

namespace lumicrate::views {

namespace {

constexpr QMargins padding(14, 6, 10, 6);
constexpr int elapsedWidth = 66;
constexpr int elapsedSize = 15;
constexpr int tipSize = 12;
constexpr double tipPadding = 8;
constexpr double tipHeight = 24;
constexpr double tipGap = 6;
/// Margins for the shadow and the tip.
constexpr QMargins room(24, 34, 24, 34);
constexpr double corner = 14;
constexpr double tipCorner = 6;
constexpr double shadowDepth = 20;
constexpr double stopSide = 13;
constexpr double stopCorner = 2.5;

/// Paints many faint layers, which add up to a soft edge: dense near the bar and sparse further out.
void paintShadow(QPainter& painter, const QRectF& around) {
    constexpr int layers = 16;
    constexpr double layerOpacity = 0.014;
    constexpr double drop = 3;
    painter.setPen(Qt::NoPen);
    painter.setBrush(overlay::black(layerOpacity));
    for (int layer = 1; layer <= layers; ++layer) {
        const double part = double(layer) / layers;
        const double depth = shadowDepth * part * part;
        painter.drawRoundedRect(around.adjusted(-depth, drop - depth, depth, drop + depth), corner + depth,
                                corner + depth);
    }
}

void paintStop(QPainter& painter, const QRectF& square) {
    QRectF body(0, 0, stopSide, stopSide);
    body.moveCenter(square.center());
    painter.setPen(Qt::NoPen);
    painter.setBrush(overlay::red);
    painter.drawRoundedRect(body, stopCorner, stopCorner);
}

}  // namespace

/// The elapsed time, in a fixed-width font and a widget of fixed width.
class ControlBarView::Elapsed final : public QWidget {
 public:
    explicit Elapsed(QWidget* parent) : QWidget(parent) {
        setFixedWidth(elapsedWidth);
        setAccessibleRole(*this, QAccessible::StaticText);
        QFont digits = QFontDatabase::systemFont(QFontDatabase::FixedFont);
        digits.setPixelSize(elapsedSize);
        digits.setWeight(QFont::Medium);
        setFont(digits);
    }
    void setText(const QString& text) {
        if (text == text_) return;
        text_ = text;
        setAccessibleName(localizedText("Elapsed time") + u' ' + text);
        update();
    }

 protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        // From ten hours on there is one digit too many: use a smaller font.
        QFont font = this->font();
        const double width = QFontMetricsF(font).horizontalAdvance(text_);
        if (width > elapsedWidth) font.setPixelSize(static_cast<int>(elapsedSize * elapsedWidth / width));
        painter.setFont(font);
        painter.setPen(Qt::white);
        painter.drawText(rect(), Qt::AlignLeft | Qt::AlignVCenter, text_);
    }

 private:
    QString text_;
};

ControlBarView::ControlBarView(ControlBarModel& model)
    : level_([this] { microphone_->update(); }), elapsed_(new Elapsed(this)) {
    setAccessibleRole(*this, QAccessible::ToolBar);
    setAccessibleName(localizedText("Recording controls"));
    auto* const row = new QHBoxLayout(this);
    row->setContentsMargins(overhang() + padding);
    row->setSpacing(measure::gap);
    row->addWidget(elapsed_);
    divider_ = new QWidget(this);
    divider_->setFixedSize(1, measure::symbol);
    row->addWidget(divider_);
    microphone_ = addButton("microphone", [&model] { model.toggleMicrophoneMute(); });
    microphone_->setIconPainter(
        [this](QPainter& painter, const QRectF& square) { level_.paint(painter, square); });
    pause_ = addButton("pause", [&model] { model.togglePause(); });
    cover_ = addButton("cover", [&model] { model.cover(); });
    cover_->setSymbol("eye.slash");
    stop_ = addButton("stop", [&model] { model.stop(); });
    stop_->setIconPainter(paintStop);
    subscription_ = model.content.observe([this](const ControlBarModel::Content& content) { show(content); });
    show(*model.content);
}

BarButton* ControlBarView::addButton(const char* name, std::function<void()> action) {
    auto* const button = new BarButton(BarButton::Look::icon, this);
    button->setObjectName(QLatin1String(name));
    button->setOnTip([this, button](bool shown) { showTip(button, shown); });
    // Queued, because the action may destroy the bar and with it the button whose event this is.
    connect(
        button, &QAbstractButton::clicked, this, [action = std::move(action)] { action(); },
        Qt::QueuedConnection);
    layout()->addWidget(button);
    return button;
}

void ControlBarView::show(const ControlBarModel::Content& content) {
    const QString tip = tipped_ ? tipped_->toolTip() : QString();
    elapsed_->setText(qtText(content.elapsed));
    microphone_->setVisible(content.showsMicrophone);
    microphone_->setEnabled(content.canMute);
    microphone_->setHelp(content.microphoneHelp);
    level_.setMuted(content.muted);
    level_.setLevel(content.level);
    pause_->setEnabled(content.canPause);
    pause_->setHelp(content.pauseHelp);
    pause_->setSymbol(content.paused ? "play.fill" : "pause.fill");
    cover_->setVisible(content.showsCover);
    cover_->setEnabled(content.canCover);
    cover_->setHelp(content.coverHelp);
    stop_->setEnabled(content.canStop);
    stop_->setHelp(content.stopHelp);
    if (tipped_ && tipped_->toolTip() != tip) shapeChanged();
}

QMargins ControlBarView::overhang() const {
    return room;
}

QPainterPath ControlBarView::silhouette() const {
    QPainterPath path;
    path.addRoundedRect(frameInside(), corner, corner);
    if (tipped_) path.addRoundedRect(tipRect(), tipCorner, tipCorner);
    return path;
}

void ControlBarView::showTip(const BarButton* button, bool shown) {
    if (!shown && tipped_ != button) return;
    const BarButton* const now = shown ? button : nullptr;
    if (std::exchange(tipped_, now) != now) shapeChanged();
}

/// Above the bar, or below it if there is no room on the screen above.
QRectF ControlBarView::tipRect() const {
    const QFontMetricsF metrics(overlay::font(tipSize, font().weight(), font()));
    const double wide = metrics.horizontalAdvance(tipped_->toolTip()) + 2 * tipPadding;
    const double left =
        std::clamp(tipped_->geometry().center().x() + 0.5 - wide / 2, 1.0, std::max(1.0, width() - wide - 1));
    const QRect bar = frameInside();
    const bool hasRoom = mapToGlobal(QPoint(0, 0)).y() >= screen()->geometry().top();
    const double top = hasRoom ? bar.top() - tipGap - tipHeight : bar.bottom() + 1 + tipGap;
    return {left, top, wide, tipHeight};
}

void ControlBarView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QRectF bar = frameInside();
    painter.setRenderHint(QPainter::Antialiasing, isComposited());
    if (isComposited()) paintShadow(painter, bar);
    overlay::paintPlate(painter, bar, corner, isComposited());
    painter.fillRect(divider_->geometry(), overlay::divider);
    if (!tipped_) return;
    overlay::paintPlate(painter, tipRect(), tipCorner, isComposited());
    painter.setFont(overlay::font(tipSize, font().weight(), font()));
    painter.setPen(Qt::white);
    painter.drawText(tipRect(), Qt::AlignCenter, tipped_->toolTip());
}

}  // namespace lumicrate::views
